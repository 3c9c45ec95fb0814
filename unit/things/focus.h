// What keeps a lens in focus: at places kept for day and night, or by itself, on request and after changes
// of warmth or filter.
#pragma once

#include "unit/things/lens.h"
#include "unit/things/settings.h"
#include "unit/things/timeline.h"

namespace rovk::unit::things {

class FocusControl {
 public:
  // `lens` null: there is nothing to focus. `warmth` is the lens's sensor, or null.
  FocusControl(Timeline& timeline, Settings& settings, Lens* lens, TemperatureSensor* warmth);

  // Looks for the sharpest place, whatever the mode.
  void run();

 private:
  void go_to_manual();
  void follow_filter();
  void follow_warmth();
  // When the warmth, left to itself, will be as far off as makes it refocus.
  void expect_warmth();

  Settings& settings_;
  Lens* lens_;
  TemperatureSensor* warmth_;
  int64_t focused_at_;  // warming at the last run, in degrees
  Timer crossing_;
};

}  // namespace rovk::unit::things
