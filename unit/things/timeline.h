// Time as things see it: what the clock reads, and a way to be called when it reads something else.
// Things ask for a call only where something will happen; all else is worked out when it is asked for.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "unit/clock.h"

namespace rovk::unit {

using namespace std::chrono_literals;
using TimerId = uint64_t;

class Timeline {
 public:
  virtual ~Timeline() = default;
  virtual Time now() const = 0;
  // Runs `action` once when the clock reads `when`, after all that was planned for that time before.
  virtual TimerId at(Time when, std::function<void()> action) = 0;
  // Nothing for a timer that has run or was cancelled.
  virtual void cancel(TimerId timer) = 0;
};

// At most one planned action of its owner, which never outlives the owner.
class Timer {
 public:
  explicit Timer(Timeline& timeline) : timeline_(timeline) {}
  ~Timer() { stop(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  // Takes the place of what was planned before.
  void set(Time when, std::function<void()> action);
  void stop();
  bool running() const { return id_ != 0; }

 private:
  Timeline& timeline_;
  TimerId id_ = 0;  // 0: nothing is planned
};

}  // namespace rovk::unit
