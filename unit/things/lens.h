// A lens: motors for focus and zoom, an iris and a filter, and where the picture is sharp. Every board
// with an imager has its own; a movement is the same movement whoever asked for it.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>

#include "unit/things/motor.h"
#include "unit/things/thermal.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

// A stepping motor on its way between two ends, with a home flag that covers the way from 0 to home.
class LensMotor {
 public:
  struct Build {
    int64_t high = 2'000;   // the way runs from 0 to here, in steps
    int64_t home = 400;     // edge of the home flag
    int64_t start = 400;    // where it stands when the unit is made
    int64_t speed = 2'000;  // steps per second, at power-on
    int64_t lowest_speed = 10;
    int64_t highest_speed = 4'000;
    int64_t load_milliwatts = 900;  // while it moves
  };
  // How a run came to its end.
  enum class End : uint8_t { arrived, blocked, superseded };
  using Ended = std::function<void(End)>;

  LensMotor(Timeline& timeline, const Build& build);

  const Build& build() const { return build_; }
  int64_t position() const { return motor_.position(timeline_.now()); }
  int64_t target() const { return motor_.target(); }
  bool moving() const { return motor_.moving(timeline_.now()); }
  int64_t speed() const { return speed_; }
  void set_speed(int64_t speed) { speed_ = speed; }
  bool home_sensor() const { return home_sensor_; }
  void enable_home_sensor(bool enable) { home_sensor_ = enable; }
  bool home_sensed() const { return home_sensor_ && position() <= build_.home; }

  // Sets out for each stop in turn, all within the way, and calls `ended` once: at the last stop, when it
  // is blocked on the way or already, or when another run takes its place.
  void travel(std::initializer_list<int64_t> stops, int64_t speed, Ended ended = {});
  void move(int64_t target, Ended ended = {}) { travel({target}, speed_, std::move(ended)); }
  void stop();
  // Stops it, at the speed of power-on and with the home sensor on; it stays where it stands.
  void reset();

  // Without power it stops, and does not move.
  void supply(bool alive);
  int64_t load_milliwatts() const { return moving() ? build_.load_milliwatts : 0; }
  // What holds it from outside.
  bool blocked() const { return blocked_; }
  // Stops it in mid-run, where it stands.
  void block(bool blocked);
  // It was to move and could not, and it still cannot.
  bool is_stuck() const { return is_stuck_; }
  // Signed, in steps per second.
  int64_t velocity() const { return motor_.velocity(timeline_.now()); }

  Watchers<bool> movement_changed;  // moving now
  Watchers<> stuck;                 // is stuck from now on: a fault of whoever drives it

 private:
  void announce();
  void finish(End end);
  void get_stuck();
  const Build build_;
  Timeline& timeline_;
  Motor motor_;
  int64_t speed_;
  bool home_sensor_ = true;
  bool blocked_ = false;
  bool is_stuck_ = false;
  bool alive_ = true;
  bool told_moving_ = false;
  Ended ended_;
  Timer arrival_;
};

class Lens {
 public:
  struct Build {
    bool thermal = false;  // sees warmth and no light
    LensMotor::Build focus;
    LensMotor::Build zoom = {.high = 2'900, .home = 300, .start = 0};        // ten steps for a tenth of magnification
    LensMotor::Build iris = {.high = 1'000, .home = 1'000, .start = 1'000};  // 0 closed, high wide open
    // 0 in front of the sensor, for the day; high away from it, for the night
    LensMotor::Build filter = {.high = 1'000, .home = 0, .start = 0, .highest_speed = 10'000};
    bool has_zoom = true;
    bool has_iris = true;
    bool has_filter = true;
    // Place of the sensor whose warmth it takes on, over all boards. Left out: always at the reference.
    std::optional<unsigned> warmth;
    double reference_degrees = 40;  // at which it is sharp in the middle of the focus way
    int64_t focus_steps_per_degree = 4;
    int64_t night_focus_steps = 60;  // how far the sharp place moves without the filter
    int64_t wide_decix = 10;         // magnification at the ends of the zoom way
    int64_t tele_decix = 300;
    double widest_degrees = 60;  // horizontal angle of view without magnification
  };
  Lens(Timeline& timeline, const Build& build, const TemperatureSensor* warmth);

  const Build& build() const { return build_; }
  LensMotor& focus() { return focus_; }
  LensMotor& zoom() { return zoom_; }
  LensMotor& iris() { return iris_; }
  LensMotor& filter() { return filter_; }

  int64_t decix() const;                    // magnification where the zoom stands now
  int64_t zoom_steps(int64_t decix) const;  // where the zoom stands for it
  int64_t steps_per_decix() const;
  double angle_of_view(int64_t decix) const;  // horizontal, in degrees
  // The part of the light that the iris lets through, 0 to 1.
  double aperture() const;
  // Where the filter is, or is on the way to; a lens without one lets all light through.
  bool day_filter() const { return build_.has_filter && filter_.target() == 0; }
  void set_day_filter(bool day, int64_t transition_ms, LensMotor::Ended ended = {});
  // How much warmer it is than it was built for, in degrees.
  int64_t warming() const;
  const TemperatureSensor* warmth() const { return warmth_; }
  // Where it is sharp with or without the filter: the tube grows with warmth, and the night is of another colour.
  int64_t sharp_at(bool day) const;
  int64_t best_focus() const { return sharp_at(!build_.has_filter || day_filter()); }
  // How far from sharp it stands now, in steps.
  int64_t blur() const { return focus_.position() - best_focus(); }
  // Hunts around the sharpest place and stays there.
  void auto_focus(LensMotor::Ended ended = {});

 private:
  const Build build_;
  const TemperatureSensor* warmth_;
  LensMotor focus_;
  LensMotor zoom_;
  LensMotor iris_;
  LensMotor filter_;
};

}  // namespace rovk::unit::things
