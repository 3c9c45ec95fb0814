// Messages that wait for somebody to take them, in the order in which they came. An answer was asked for,
// so all answers are kept. Events come unasked, for as long as their subscription stands, and whoever has
// not taken them may never do so: of events only the newest are kept.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "wire/message.h"

namespace rovk::wire {

// First in, first out, in one block that is used again and again.
template <typename Entry>
class Ring {
 public:
  bool empty() const { return count_ == 0; }
  std::size_t size() const { return count_; }
  const Entry& front() const { return slots_[first_]; }
  void push(const Entry& entry) {
    if (count_ == capacity_) grow();
    slots_[place(count_++)] = entry;
  }
  // Not of an empty one.
  void pop() {
    first_ = place(1);
    if (--count_ == 0 && capacity_ > most_kept) clear();
  }
  void clear() { *this = Ring(); }

 private:
  static constexpr std::size_t fewest = 16;
  static constexpr std::size_t most_kept = 256;  // a larger block goes when it is empty

  std::size_t place(std::size_t behind_first) const { return (first_ + behind_first) & (capacity_ - 1); }
  void grow();

  std::unique_ptr<Entry[]> slots_;
  std::size_t capacity_ = 0;  // none, or a power of two
  std::size_t first_ = 0;
  std::size_t count_ = 0;
};

template <typename Entry>
void Ring<Entry>::grow() {
  const std::size_t capacity = capacity_ == 0 ? fewest : 2 * capacity_;
  auto slots = std::make_unique_for_overwrite<Entry[]>(capacity);
  // It is full: from the first to the end of the block, then the rest.
  const Entry* const all = slots_.get();
  std::copy_n(all, first_, std::copy(all + first_, all + capacity_, slots.get()));
  slots_ = std::move(slots);
  capacity_ = capacity;
  first_ = 0;
}

class Queue {
 public:
  static constexpr std::size_t max_events = 4096;

  void push(const rovk_message& message);
  // Takes out the oldest message. False: there is none.
  bool take(rovk_message& message);
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
  Ring<Entry> events_;
  Ring<Entry> others_;
  uint64_t pushed_ = 0;
  uint64_t lost_ = 0;
};

inline void Queue::push(const rovk_message& message) {
  Ring<Entry>& entries = type(message) == ROVK_TYPE_EVENT ? events_ : others_;
  entries.push({++pushed_, message});
  if (events_.size() <= max_events) return;
  events_.pop();
  ++lost_;
}

inline bool Queue::take(rovk_message& message) {
  if (empty()) return false;
  const bool event_first = others_.empty() || (!events_.empty() && events_.front().number < others_.front().number);
  Ring<Entry>& entries = event_first ? events_ : others_;
  message = entries.front().message;
  entries.pop();
  return true;
}

inline void Queue::clear() {
  events_.clear();
  others_.clear();
}

}  // namespace rovk::wire
