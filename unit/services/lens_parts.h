// The mechanics of the lens, which many services show each in its own way: the focus and zoom motors
// with their home flags, the day filter, and where the picture is sharp. A movement is the same
// movement whoever asked for it, so its events come from all services that have one for it.
#pragma once

#include <functional>
#include <initializer_list>

#include "unit/services/view.h"
#include "unit/things/motor.h"

namespace rovk::unit {

// Which temperature the lens takes on: that of the sensor behind it.
inline constexpr unsigned lens_temperature = 1;

// A motor with what surrounds it: the ends of its way, its home flag, what blocks it, and who is told
// when it starts and stops.
class LensMotor {
 public:
  struct Build {
    int64_t high;    // the way runs from 0 to here, in steps
    int64_t home;    // where the edge of the home flag lies
    int64_t speed;   // steps per second, after power-on
    int blocked_by;  // index of Input::motor_blocked; -1: nothing can
  };
  static constexpr int64_t lowest_speed = 10;  // steps per second
  static constexpr int64_t highest_speed = 4000;

  LensMotor(Host& host, const Build& build, std::function<void(bool moving)> on_change);

  const Build& build() const { return build_; }
  int64_t position() const { return motor_.position(host_.now()); }
  int64_t target() const { return motor_.target(); }
  bool moving() const { return motor_.moving(host_.now()); }
  bool blocked() const;

  int64_t speed() const { return speed_; }
  void set_speed(int64_t speed) { speed_ = speed; }

  // The flag covers the way from 0 to home. A sensor that is off sees nothing.
  bool home_sensed() const { return home_sensor_ && position() <= build_.home; }
  bool home_sensor() const { return home_sensor_; }
  void enable_home_sensor(bool enable) { home_sensor_ = enable; }

  // Sets out for each stop in turn, all within the way. Gives back how long that takes: nothing when it
  // is there already or is blocked.
  Time travel(std::initializer_list<int64_t> stops, int64_t speed);
  // At the speed that was set.
  Time move(int64_t target) { return travel({target}, speed_); }
  // Halts where it stands, as when something gets in the way.
  void stop();

  void reset();

 private:
  void announce();

  Host& host_;
  Build build_;
  Motor motor_;
  int64_t speed_;
  bool home_sensor_ = true;
  bool announced_moving_ = false;
  TimerId timer_ = 0;
  bool timer_set_ = false;
  std::function<void(bool)> on_change_;
};

// The lenses of the unit: focus and zoom of the optical imager, focus of the thermal one, and the
// filter in front of the optical sensor.
class Lens {
 public:
  explicit Lens(Host& host);

  LensMotor& focus(bool thermal = false) { return thermal ? thermal_focus_ : focus_; }
  LensMotor& zoom() { return zoom_; }

  // Where the picture is sharp. The tube grows with temperature, and the thermal lens has its own.
  int64_t best_focus(bool thermal = false) const;
  // How much warmer the lens is than it was built for, in degrees Celsius.
  int64_t warming() const;
  // Hunts around the sharpest place and stays there. Gives back how long that takes.
  Time auto_focus(bool thermal = false);

  bool day_filter() const { return filter_.target() == 0; }
  // Moves the filter in front of the sensor, for the day, or away, for the night.
  void set_day_filter(bool day);

  // Something outside changed; only what blocks a motor matters here.
  void sense(Input input);

 private:
  void focus_changed(bool thermal, bool moving);
  void filter_changed(bool moving);

  Host& host_;
  LensMotor focus_;
  LensMotor zoom_;
  LensMotor thermal_focus_;
  LensMotor filter_;
};

// Told when the filter has come to rest.
class FilterFollower {
 public:
  virtual ~FilterFollower() = default;
  virtual void filter_stopped() = 0;
};

// The one set of lenses of a unit, whichever services it has.
Lens& lens_of(Host& host);

}  // namespace rovk::unit
