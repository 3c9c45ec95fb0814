// The one clock of a unit, which the time-outs of the transactions share. The real one follows
// CLOCK_MONOTONIC; a virtual one stands still until it is moved.
#pragma once

#include <chrono>

namespace rovk::unit {

using Time = std::chrono::nanoseconds;

class Clock {
 public:
  explicit Clock(bool is_virtual);
  // Time since the clock was made.
  Time now() const;
  bool is_virtual() const { return is_virtual_; }
  // Moves a virtual clock to `when`, never back. Nothing for the real one.
  void move_to(Time when);

 private:
  bool is_virtual_;
  Time start_;  // reading of CLOCK_MONOTONIC at the start, for the real clock
  Time now_{0};
};

}  // namespace rovk::unit
