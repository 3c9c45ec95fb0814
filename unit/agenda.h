// What is to happen in a unit, and when: timers of things and views as well as messages on their way to
// applications stand in one queue, ordered by due time and then by making. All of it happens on the caller's
// thread, in run_until().
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "unit/clock.h"
#include "unit/things/timeline.h"

namespace rovk::unit {

class Agenda final : public Timeline {
 public:
  explicit Agenda(bool virtual_clock) : clock_(virtual_clock) {}

  // The time of what happens at present; the clock may read more.
  Time now() const override { return present_; }
  TimerId at(Time when, std::function<void()> action) override;
  void cancel(TimerId timer) override;

  bool empty() const { return queue_.empty(); }
  std::optional<Time> next_due() const;  // empty: nothing is planned
  // Whether nothing is left to happen before the time moves on.
  bool is_settled() const { return queue_.empty() || queue_.begin()->first.first > present_; }

  // Does what is due up to `until`, each at its own time.
  void run_until(Time until) {
    while (!queue_.empty() && queue_.begin()->first.first <= until) run_first();
    move_to(until);
  }
  void run() { run_until(clock_.now()); }
  // What has become due at the present, as by what was just done.
  void settle() { run_until(present_); }

  Clock& clock() { return clock_; }

 private:
  using Due = std::pair<Time, TimerId>;  // when, and which was made first

  void run_first();
  void move_to(Time when) {
    present_ = std::max(present_, when);
    clock_.move_to(present_);
  }

  Clock clock_;
  Time present_{0};
  TimerId made_ = 0;
  std::map<Due, std::function<void()>> queue_;
  std::map<TimerId, Time> planned_;
};

}  // namespace rovk::unit
