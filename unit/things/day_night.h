// Who moves the filter of a lens: by hand, or by itself when it has been dark or light for long enough.
// All services that speak of day and night are views of this one.
#pragma once

#include "unit/things/lens.h"
#include "unit/things/settings.h"
#include "unit/things/surroundings.h"
#include "unit/things/timeline.h"

namespace rovk::unit::things {

class DayNight {
 public:
  // `lens` null: there is nothing to move.
  DayNight(Timeline& timeline, Settings& settings, Lens* lens, Surroundings& surroundings);

  // In front of the sensor, or on the way there.
  bool filter_in_place() const { return lens_ ? lens_->day_filter() : day_; }
  // By hand from now on.
  void put_filter(bool in_place);
  // Stops the filter on its way, then begins anew.
  void reset();

 private:
  void update();
  void set_day(bool day);
  bool wanted_day() const;
  void place(bool in_place);

  Timeline& timeline_;
  Settings& settings_;
  Lens* lens_;
  Surroundings& surroundings_;
  bool day_ = true;               // what the automatic mode has come to
  Time held_until_{Time::min()};  // until then it stays at that
  Timer detection_;
};

}  // namespace rovk::unit::things
