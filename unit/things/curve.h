// Values that change by themselves, in closed form: asked for a time, they answer what is so then. Nothing
// here ticks. A movement with several legs is a Motor, in motor.h.
#pragma once

#include <optional>

#include "unit/clock.h"

namespace rovk::unit::things {

// Closes in on its goal, fast at first and ever slower, as heat and filters do: after one time constant
// 63 percent of the way are done.
class Lag {
 public:
  Lag(double value, Time constant) : from_(value), goal_(value), constant_(constant) {}

  double at(Time now) const;
  double goal() const { return goal_; }
  // Sets out for another goal from where it stands.
  void aim(Time now, double goal);
  // With another pace from now on, as when a fan starts to cool.
  void aim(Time now, double goal, Time constant);
  // Stands at a value and stays there.
  void jump(double value);
  // When it will pass the level. Empty: never, or it is past it already.
  std::optional<Time> crossing(Time now, double level) const;

 private:
  double from_;
  double goal_;
  Time constant_;
  Time since_{0};
};

// Runs straight to its goal at a constant rate and stays there, as a fan that spins up.
class Ramp {
 public:
  explicit Ramp(double value) : from_(value), goal_(value) {}

  double at(Time now) const;
  double goal() const { return goal_; }
  // `rate` is above 0, in units per second.
  void aim(Time now, double goal, double rate);
  void jump(double value);
  // When the goal is reached. Long past for a value that stands.
  Time arrival() const { return arrival_; }

 private:
  double from_;
  double goal_;
  Time since_{0};
  Time arrival_{Time::min()};
};

}  // namespace rovk::unit::things
