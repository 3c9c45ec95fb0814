// The filter that lets the night in. The older service moves it by hand and knows no other mode, so its
// set_state is the manual mode of the newer one.
#include "unit/services/driving.h"
#include "unit/services/imaging.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Setting;

// 0: day, the filter that blocks infrared is in place; 1: night.
constexpr int64_t state_night = 1;

constexpr Register day_night_settings[] = {
    shown("manual_mode_enable", "enable", Setting::night_manual),
    shown("auto_day_to_night_transition_level", "value", Setting::night_sensitivity),
    shown("auto_mode_detect_time", "time_seconds", Setting::night_detect_seconds),
    shown("manual_filter_position_day", "day", Setting::manual_day),
};

// Both drive the filters of the lenses in front of their imagers.
class Filters : public Driving<ImagerView> {
 public:
  Filters(const Setup& setup, std::span<const Register> settings) : Driving(setup, settings) {
    for (unsigned i = 0; i < devices(); ++i) {
      if (things::Lens* const lens = imager(i).lens()) drive(lens->filter());
    }
  }

  void reset() override {
    Driving::reset();
    for (unsigned i = 0; i < devices(); ++i) imager(i).day_night().reset();
  }
};

class DayNight0011 final : public Filters {
 public:
  explicit DayNight0011(const Setup& setup) : Filters(setup, {}) {
    on("set_state", [this](Call& call) {
      imager(call).day_night().put_filter(call.within("state", 0, 1) != state_night);
      if (standing_fault() != Fault::none) must_arrive(call, things::LensMotor::End::blocked);
    });
    on("get_state",
       [this](Call& call) { call.set("state", imager(call).day_night().filter_in_place() ? 0 : state_night); });
  }

  // What its state is about is a mode and a place.
  void reset() override {
    for (unsigned i = 0; i < devices(); ++i) {
      imager(i).settings().reset(Setting::manual_day);
      imager(i).settings().reset(Setting::night_manual);
    }
    Filters::reset();
  }
};

class DayNight001d final : public Filters {
 public:
  explicit DayNight001d(const Setup& setup) : Filters(setup, day_night_settings) {
    const catalogue::Event& change = event("movement_change");
    for (unsigned i = 0; i < devices(); ++i) {
      things::Lens* const lens = imager(i).lens();
      if (!lens) continue;
      lens->filter().movement_changed.add([this, i, &change](bool moving) {
        host().raise(*this, change, {i, moving});
      });
    }
  }
};

}  // namespace

std::unique_ptr<View> make_day_night_0011(const Setup& setup) { return std::make_unique<DayNight0011>(setup); }

std::unique_ptr<View> make_day_night_001d(const Setup& setup) { return std::make_unique<DayNight001d>(setup); }

}  // namespace rovk::unit
