// The filter that lets the night in: moved by hand, or by itself when it has been dark or light for the
// time that was set.
#include <rovk/constants.h>

#include "unit/services/lens_parts.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr Register day_night_registers[] = {
    {"manual_mode_enable", "enable", 0, 1, 0},
    {"auto_day_to_night_transition_level", "value", ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_LIGHTER,
     ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_DARKER, ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_DEFAULT},
    {"auto_mode_detect_time", "time_seconds", 1, 60, 5},
    {"manual_filter_position_day", "day", 0, 1, 1},
};

// Below this light night falls, in millilux, by transition level.
constexpr int64_t night_below[] = {20000, 10000, 5000};
// Day wants this many times more, so that the change of the filter does not bring the old side back.
constexpr int64_t day_factor = 3;

class DayNight : public View {
 public:
  explicit DayNight(const Setup& setup) : View(setup, day_night_registers) {
    for (const char* command : {"set_manual_mode_enable", "set_auto_day_to_night_transition_level",
                                "set_auto_mode_detect_time", "set_manual_filter_position_day"}) {
      on(command, [this](Call& call) {
        registers().run(call, device(call));
        forget_plan();
        update();
      });
    }
  }

  void reset() override {
    View::reset();
    forget_plan();
    update();
  }

  void sense(Input input, unsigned, int64_t) override {
    if (input == Input::light) update();
  }

 private:
  void update() {
    Lens& lens = lens_of(host());
    if (registers().get("manual_mode_enable", "enable") != 0) {
      lens.set_day_filter(registers().get("manual_filter_position_day", "day") != 0);
      return;
    }
    const bool day = wanted_day(lens.day_filter());
    if (day == lens.day_filter()) {
      forget_plan();
      return;
    }
    if (planned_) return;
    planned_ = true;
    const auto wait = std::chrono::seconds(registers().get("auto_mode_detect_time", "time_seconds"));
    timer_ = host().at(host().now() + wait, [this, day] {
      planned_ = false;
      lens_of(host()).set_day_filter(day);
    });
  }

  bool wanted_day(bool day_now) {
    const int64_t light = world().get(Input::light);
    const int64_t level =
        night_below[static_cast<std::size_t>(registers().get("auto_day_to_night_transition_level", "value"))];
    return day_now ? light >= level : light > level * day_factor;
  }

  void forget_plan() {
    if (planned_) host().cancel(timer_);
    planned_ = false;
  }

  bool planned_ = false;
  TimerId timer_ = 0;
};

}  // namespace

std::unique_ptr<View> make_day_night_001d(const Setup& setup) { return std::make_unique<DayNight>(setup); }

}  // namespace rovk::unit
