// The focus of a lens as a function: by itself on request and after changes of temperature or filter, or
// at positions kept for day and night.
#include <rovk/constants.h>

#include <cstdlib>

#include "unit/services/lens_parts.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr int64_t percent_high = 100;
constexpr int64_t way = 2000;  // steps of either focus motor
// A lens that has grown by less than this is sharp enough.
constexpr int64_t refocus_degrees = 5;

constexpr Register focus_registers[] = {
    {"manual_mode_enable", "enable", 0, 1, 0},
    {"auto_temperature_refocus_enable", "enable", 0, 1, 0},
    {"auto_day_night_refocus_enable", "enable", 0, 1, 1},
    {"auto_focus_region", "start_x_percent", 0, 90, 25},
    {"auto_focus_region", "start_y_percent", 0, 90, 25},
    {"auto_focus_region", "stop_x_percent", 10, percent_high, 75},
    {"auto_focus_region", "stop_y_percent", 10, percent_high, 75},
    {"manual_focus_day_position", "position", 0, way, 1000},
    {"manual_focus_night_position", "position", 0, way, 1050},
};

class LensFocus : public View, public FilterFollower {
 public:
  explicit LensFocus(const Setup& setup) : View(setup, focus_registers), focused_at_(devices(), 0) {
    on("set_auto_focus_region", [this](Call& call) {
      for (const auto& [start, stop] :
           {std::pair{"start_x_percent", "stop_x_percent"}, std::pair{"start_y_percent", "stop_y_percent"}}) {
        if (call.number(stop) <= call.number(start)) call.refuse_input(stop);
      }
      registers().run(call, device(call));
    });
    on("do_auto_focus", [this](Call& call) { auto_focus(device(call)); });
    // What changes where the focus ought to be moves it there.
    for (const char* command :
         {"set_manual_mode_enable", "set_manual_focus_day_position", "set_manual_focus_night_position"}) {
      on(command, [this](Call& call) {
        registers().run(call, device(call));
        if (manual(device(call))) move_to_manual(device(call));
      });
    }
  }

  void sense(Input input, unsigned index, int64_t) override {
    if (input != Input::temperature || index != lens_temperature) return;
    const int64_t warming = lens_of(host()).warming();
    for (unsigned i = 0; i < devices(); ++i) {
      const bool follows = registers().get("auto_temperature_refocus_enable", "enable", i) != 0;
      if (follows && !manual(i) && std::abs(warming - focused_at_[i]) >= refocus_degrees) auto_focus(i);
    }
  }

  void filter_stopped() override {
    for (unsigned i = 0; i < devices(); ++i) {
      if (thermal(i)) continue;  // has no filter
      if (manual(i)) {
        move_to_manual(i);
      } else if (registers().get("auto_day_night_refocus_enable", "enable", i) != 0) {
        auto_focus(i);
      }
    }
  }

 private:
  bool manual(unsigned device) { return registers().get("manual_mode_enable", "enable", device) != 0; }
  bool thermal(unsigned device) const { return setup().devices[device] == ROVK_PERIPHERAL_DEVICE_ID_FOCUS_THERMAL; }

  void auto_focus(unsigned device) {
    Lens& lens = lens_of(host());
    focused_at_[device] = lens.warming();
    lens.auto_focus(thermal(device));
  }

  void move_to_manual(unsigned device) {
    Lens& lens = lens_of(host());
    const bool day = thermal(device) || lens.day_filter();
    const char* subject = day ? "manual_focus_day_position" : "manual_focus_night_position";
    lens.focus(thermal(device)).move(registers().get(subject, "position", device));
  }

  std::vector<int64_t> focused_at_;  // warming of the lens at the last focus run, in degrees
};

}  // namespace

std::unique_ptr<View> make_lens_focus_001f(const Setup& setup) { return std::make_unique<LensFocus>(setup); }

}  // namespace rovk::unit
