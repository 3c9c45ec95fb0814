#include "trans/subscriptions.h"

#include <algorithm>

#include "trans/callbacks.h"
#include "trans/log.h"
#include "trans/payload.h"
#include "wire/message.h"

namespace rovk::trans {

void Subscriptions::reserve() {
  if (entries_.size() == entries_.capacity()) entries_.reserve(2 * entries_.size() + 4);
}

template <typename Which>
unsigned Subscriptions::remove_if(Which which) {
  unsigned count = 0;
  for (Subscription& entry : entries_) {
    if (entry.removed || !which(entry)) continue;
    entry.removed = true;
    ++count;
  }
  if (!delivering_) sweep();
  return count;
}

unsigned Subscriptions::remove(const catalogue::Event* event, uint16_t address, Function function) {
  return remove_if([=](const Subscription& entry) {
    return entry.event == event && entry.address == address && entry.callback.function == function;
  });
}

unsigned Subscriptions::remove(const catalogue::Event* event, uint16_t address, Function function, const void* user) {
  return remove_if([=](const Subscription& entry) {
    return entry.event == event && entry.address == address && entry.callback.function == function &&
           entry.user == user;
  });
}

void Subscriptions::remove_all() {
  remove_if([](const Subscription&) { return true; });
}

bool Subscriptions::any(uint16_t address) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [=](const Subscription& entry) { return !entry.removed && entry.address == address; });
}

bool Subscriptions::logs(const catalogue::Event* event, uint16_t address) const {
  return std::any_of(entries_.begin(), entries_.end(), [=](const Subscription& entry) {
    return !entry.removed && entry.event == event && entry.address == address && !entry.callback.function;
  });
}

unsigned Subscriptions::deliver(void* context, const rovk_message& message) {
  unsigned count = 0;
  const uint16_t address = wire::peripheral(message);
  const uint8_t id = wire::body(message);
  const std::size_t end = entries_.size();
  delivering_ = true;
  for (std::size_t place = 0; place < end; ++place) {
    // A copy: a callback may subscribe, which moves the list.
    const Subscription entry = entries_[place];
    if (entry.removed || entry.address != address || entry.event->id != id) continue;
    if (!entry.callback.function) {
      log_event(*entry.service, *entry.event, message);
      continue;
    }
    const Values values(entry.event->record, wire::payload(message));
    ++count;
    run_callback(entry.callback, context, address, nullptr, values.list(), entry.user);
  }
  delivering_ = false;
  sweep();
  return count;
}

void Subscriptions::sweep() {
  std::erase_if(entries_, [](const Subscription& entry) { return entry.removed; });
}

}  // namespace rovk::trans
