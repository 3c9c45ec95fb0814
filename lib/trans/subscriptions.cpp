#include "trans/subscriptions.h"

#include <algorithm>
#include <iterator>

#include "trans/callbacks.h"
#include "trans/log.h"
#include "trans/payload.h"
#include "wire/message.h"

namespace rovk::trans {

void Subscriptions::reserve(const Subscription& subscription) {
  List& list = lists_[key_of(subscription)];
  if (list.size() == list.capacity()) list.reserve(2 * list.size() + 4);
}

template <typename Which>
unsigned Subscriptions::remove_if(List& list, Which which) {
  unsigned count = 0;
  for (Subscription& entry : list) {
    if (entry.removed || !which(entry)) continue;
    entry.removed = to_sweep_ = true;
    ++count;
  }
  if (!delivering_) sweep();
  return count;
}

unsigned Subscriptions::remove(const catalogue::Event* event, uint16_t address, Function function) {
  const auto found = lists_.find(key_of(address, event->id));
  if (found == lists_.end()) return 0;
  return remove_if(found->second, [=](const Subscription& entry) {
    return entry.event == event && entry.callback.function == function;
  });
}

unsigned Subscriptions::remove(const catalogue::Event* event, uint16_t address, Function function, const void* user) {
  const auto found = lists_.find(key_of(address, event->id));
  if (found == lists_.end()) return 0;
  return remove_if(found->second, [=](const Subscription& entry) {
    return entry.event == event && entry.callback.function == function && entry.user == user;
  });
}

void Subscriptions::remove_all() {
  for (auto& [key, list] : lists_) {
    for (Subscription& entry : list) entry.removed = to_sweep_ = true;
  }
  if (!delivering_) sweep();
}

bool Subscriptions::any(uint16_t address) const {
  const auto is_live = [](const Subscription& entry) { return !entry.removed; };
  for (auto next = lists_.lower_bound(key_of(address, 0)); next != lists_.end(); ++next) {
    if (next->first > key_of(address, UINT8_MAX)) return false;
    if (std::any_of(next->second.begin(), next->second.end(), is_live)) return true;
  }
  return false;
}

bool Subscriptions::logs(const catalogue::Event* event, uint16_t address) const {
  const auto found = lists_.find(key_of(address, event->id));
  return found != lists_.end() &&
         std::any_of(found->second.begin(), found->second.end(), [=](const Subscription& entry) {
           return !entry.removed && entry.event == event && !entry.callback.function;
         });
}

unsigned Subscriptions::deliver(void* context, const rovk_message& message) {
  const uint16_t address = wire::peripheral(message);
  const auto found = lists_.find(key_of(address, wire::body(message)));
  if (found == lists_.end()) return 0;
  unsigned count = 0;
  const List& list = found->second;
  const std::size_t end = list.size();
  delivering_ = true;
  for (std::size_t place = 0; place < end; ++place) {
    // A copy: a callback may subscribe, which moves the entries.
    const Subscription entry = list[place];
    if (entry.removed) continue;
    if (!entry.callback.function) {
      log_event(*entry.service, *entry.event, message);
      continue;
    }
    const Values values(entry.event->record, wire::payload(message));
    ++count;
    run_callback(entry.callback, context, address, nullptr, values.list(), entry.user);
  }
  delivering_ = false;
  if (to_sweep_) sweep();
  return count;
}

void Subscriptions::sweep() {
  to_sweep_ = false;
  for (auto next = lists_.begin(); next != lists_.end();) {
    List& list = next->second;
    std::erase_if(list, [](const Subscription& entry) { return entry.removed; });
    next = list.empty() ? lists_.erase(next) : std::next(next);
  }
}

}  // namespace rovk::trans
