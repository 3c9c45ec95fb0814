#include "unit/things/day_night.h"

#include <algorithm>
#include <chrono>

namespace rovk::unit::things {

DayNight::DayNight(Timeline& timeline, Settings& settings, Lens* lens, Surroundings& surroundings)
    : timeline_(timeline), settings_(settings), lens_(lens), surroundings_(surroundings), detection_(timeline) {
  surroundings_.light_changed.add([this] { update(); });
  settings_.changed.add([this](Setting setting) {
    if (setting < Setting::night_manual || setting > Setting::night_filter) return;
    detection_.stop();
    update();
  });
}

void DayNight::put_filter(bool in_place) {
  settings_.set(Setting::manual_day, in_place);
  settings_.set(Setting::night_manual, 1);
  update();
}

void DayNight::reset() {
  detection_.stop();
  held_until_ = Time::min();
  if (lens_) lens_->filter().reset();
  update();
}

void DayNight::update() {
  if (settings_.on(Setting::night_manual)) {
    day_ = settings_.on(Setting::manual_day);
    return place(day_);
  }
  const bool day = wanted_day();
  if (day == day_) {
    detection_.stop();
    return place(settings_.get(day ? Setting::day_filter : Setting::night_filter) == 0);
  }
  if (detection_.running()) return;
  const Time seen = timeline_.now() + std::chrono::seconds(settings_.get(Setting::night_detect_seconds));
  detection_.set(std::max(seen, held_until_), [this, day] { set_day(day); });
}

void DayNight::set_day(bool day) {
  day_ = day;
  held_until_ = timeline_.now() + std::chrono::seconds(settings_.get(Setting::night_hold_seconds));
  update();
}

// Day wants more light than night leaves, so that the change of the filter does not bring the old side
// back. The unit's own light does not count, which would make day of a night that it lights.
bool DayNight::wanted_day() const {
  constexpr double factors[] = {2, 1, 0.5};  // by sensitivity: the lighter, the earlier night falls
  const double factor = factors[std::clamp<int64_t>(settings_.get(Setting::night_sensitivity), 0, 2)];
  const auto light = static_cast<double>(surroundings_.daylight_millilux());
  if (day_) return light >= factor * static_cast<double>(settings_.get(Setting::night_below_millilux));
  return light > factor * static_cast<double>(settings_.get(Setting::day_above_millilux));
}

void DayNight::place(bool in_place) {
  if (!lens_ || lens_->filter().target() == (in_place ? 0 : lens_->filter().build().high)) return;
  lens_->set_day_filter(in_place, settings_.get(Setting::filter_transition_ms));
}

}  // namespace rovk::unit::things
