// Interpolation between the stops of a way.
#include "unit/things/motor.h"

#include <cstdlib>

namespace rovk::unit {

const Motor::Leg* Motor::leg(Time now) const {
  for (const Leg& candidate : legs_) {
    if (now < candidate.end) return &candidate;
  }
  return nullptr;
}

int64_t Motor::position(Time now) const {
  const Leg* current = leg(now);
  if (!current) return target();
  if (now <= current->start) return current->from;
  // Double carries any distance of an axis times any duration of a leg without overflow.
  const auto part = static_cast<double>((now - current->start).count()) /
                    static_cast<double>((current->end - current->start).count());
  return current->from + static_cast<int64_t>(static_cast<double>(current->to - current->from) * part);
}

int64_t Motor::velocity(Time now) const {
  const Leg* current = leg(now);
  if (!current) return 0;
  return current->to < current->from ? -current->speed : current->speed;
}

void Motor::travel(Time now, std::span<const int64_t> stops, int64_t speed) {
  stop(now);
  int64_t from = rest_;
  Time start = now;
  for (const int64_t to : stops) {
    if (to == from) continue;
    const auto seconds = static_cast<double>(std::abs(to - from)) / static_cast<double>(speed);
    const Time end = start + Time(static_cast<Time::rep>(seconds * 1e9));
    legs_.push_back({start, end, from, to, speed});
    from = to;
    start = end;
  }
}

}  // namespace rovk::unit
