// The one clock of a unit, which the time-outs of the transactions share. The real one follows
// CLOCK_MONOTONIC; a virtual one stands still until it is moved.
#pragma once

#include <algorithm>
#include <chrono>

namespace rovk::unit {

using Time = std::chrono::nanoseconds;

class Clock {
 public:
  explicit Clock(bool is_virtual) : is_virtual_(is_virtual), start_(is_virtual ? Time{0} : monotonic()) {}
  // Time since the clock was made.
  Time now() const { return is_virtual_ ? now_ : monotonic() - start_; }
  bool is_virtual() const { return is_virtual_; }
  // Moves a virtual clock to `when`, never back. Nothing for the real one.
  void move_to(Time when) {
    if (is_virtual_) now_ = std::max(now_, when);
  }

 private:
  static Time monotonic() {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
  }

  bool is_virtual_;
  Time start_;  // reading of CLOCK_MONOTONIC at the start, for the real clock
  Time now_{0};
};

}  // namespace rovk::unit
