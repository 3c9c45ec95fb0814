// An axis that moves in time: motors of the lens, the iris, the filter, the pan and tilt head. Knows
// where it stands at a given time and nothing of clocks, timers or events.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "unit/clock.h"

namespace rovk::unit {

// What the movement fields of all events carry.
inline constexpr int64_t movement_stopped = 0;
inline constexpr int64_t movement_moving = 1;

class Motor {
 public:
  explicit Motor(int64_t position = 0) : rest_(position) {}

  int64_t position(Time now) const;
  bool moving(Time now) const { return now < arrival(); }
  // Signed, in units per second; 0 at rest.
  int64_t velocity(Time now) const;
  // Where the way ends. The present place when nothing moves.
  int64_t target() const { return legs_.empty() ? rest_ : legs_.back().to; }
  // When the way ends. Long past when nothing moves.
  Time arrival() const { return legs_.empty() ? Time::min() : legs_.back().end; }

  // Sets out for each of the stops in turn, from where it stands now. `speed` is above 0, in units per
  // second. A way that leads nowhere leaves the motor at rest.
  void travel(Time now, std::span<const int64_t> stops, int64_t speed);
  void move(Time now, int64_t target, int64_t speed) { travel(now, {&target, 1}, speed); }
  void stop(Time now) { *this = Motor(position(now)); }

 private:
  struct Leg {
    Time start;
    Time end;
    int64_t from;
    int64_t to;
    int64_t speed;
  };
  const Leg* leg(Time now) const;

  int64_t rest_;  // the place when there are no legs
  std::vector<Leg> legs_;
};

}  // namespace rovk::unit
