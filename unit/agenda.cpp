#include "unit/agenda.h"

namespace rovk::unit {

TimerId Agenda::at(Time when, std::function<void()> action) {
  const TimerId timer = ++made_;
  planned_.emplace(timer, when);
  queue_.emplace(Due{when, timer}, std::move(action));
  return timer;
}

void Agenda::cancel(TimerId timer) {
  const auto found = planned_.find(timer);
  if (found == planned_.end()) return;
  queue_.erase({found->second, timer});
  planned_.erase(found);
}

std::optional<Time> Agenda::next_due() const {
  if (queue_.empty()) return std::nullopt;
  return queue_.begin()->first.first;
}

void Agenda::run_first() {
  auto next = queue_.extract(queue_.begin());
  planned_.erase(next.key().second);
  move_to(next.key().first);
  next.mapped()();
}

}  // namespace rovk::unit
