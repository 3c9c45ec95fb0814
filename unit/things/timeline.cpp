#include "unit/things/timeline.h"

#include <utility>

namespace rovk::unit {

void Timer::set(Time when, std::function<void()> action) {
  stop();
  id_ = timeline_.at(when, [this, action = std::move(action)] {
    id_ = 0;
    action();
  });
}

void Timer::stop() {
  if (id_ != 0) timeline_.cancel(id_);
  id_ = 0;
}

}  // namespace rovk::unit
