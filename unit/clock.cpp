#include "unit/clock.h"

#include <algorithm>

namespace rovk::unit {
namespace {

Time monotonic() { return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch()); }

}  // namespace

Clock::Clock(bool is_virtual) : is_virtual_(is_virtual), start_(is_virtual ? Time{0} : monotonic()) {}

Time Clock::now() const { return is_virtual_ ? now_ : monotonic() - start_; }

void Clock::move_to(Time when) {
  if (is_virtual_) now_ = std::max(now_, when);
}

}  // namespace rovk::unit
