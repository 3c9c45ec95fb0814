// Messages that wait for somebody to take them, in the order in which they came. An answer was asked for,
// so all answers are kept. Events come unasked, for as long as their subscription stands, and whoever has
// not taken them may never do so: of events only the newest are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "wire/message.h"

namespace rovk::wire {

class Queue {
 public:
  static constexpr std::size_t max_events = 4096;

  void push(const rovk_message& message);
  // The oldest message. Empty: there is none.
  std::optional<rovk_message> take();
  bool empty() const { return events_.empty() && others_.empty(); }
  std::size_t size() const { return events_.size() + others_.size(); }
  void clear();
  // How many events have given way to newer ones.
  uint64_t lost() const { return lost_; }

 private:
  struct Entry {
    uint64_t number;  // in order of arrival
    rovk_message message;
  };
  std::deque<Entry> events_;
  std::deque<Entry> others_;
  uint64_t pushed_ = 0;
  uint64_t lost_ = 0;
};

inline void Queue::push(const rovk_message& message) {
  std::deque<Entry>& entries = type(message) == ROVK_TYPE_EVENT ? events_ : others_;
  entries.push_back({++pushed_, message});
  if (events_.size() <= max_events) return;
  events_.pop_front();
  ++lost_;
}

inline std::optional<rovk_message> Queue::take() {
  if (empty()) return std::nullopt;
  const bool event_first = others_.empty() || (!events_.empty() && events_.front().number < others_.front().number);
  std::deque<Entry>& entries = event_first ? events_ : others_;
  const rovk_message message = entries.front().message;
  entries.pop_front();
  return message;
}

inline void Queue::clear() {
  events_.clear();
  others_.clear();
}

}  // namespace rovk::wire
