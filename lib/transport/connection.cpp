#include "transport/connection.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <unordered_map>
#include <utility>

namespace {

using rovk::transport::Hand;
using rovk::unit::Time;

// Never destroyed: a context may still be open while the process ends.
struct Owners {
  std::mutex mutex;
  std::unordered_map<void*, Hand> hands;
};

Owners& owners() {
  static Owners* const instance = new Owners;
  return *instance;
}

constexpr uint64_t at_once = 0;
constexpr uint64_t never = UINT64_MAX;

}  // namespace

rovk_transport::rovk_transport(std::shared_ptr<rovk::transport::SharedUnit> shared, void* owner)
    : shared_(std::move(shared)), owner_(owner) {
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->connections.push_back(this);
    application_ = shared_->unit.join();
    inbox_ = &shared_->unit.inbox(application_);
  }
  const std::lock_guard lock(owners().mutex);
  owners().hands[owner_] = {shared_, application_};
}

rovk_transport::~rovk_transport() {
  {
    const std::lock_guard lock(owners().mutex);
    owners().hands.erase(owner_);
  }
  for (const auto& [when, action] : actions_) action.run(action.pointer, 0);
  const std::lock_guard lock(shared_->mutex);
  std::erase(shared_->connections, this);
  shared_->watched.erase(application_);
  shared_->unit.leave(application_);
  shared_->changed();
  if (timer_ >= 0) close(timer_);
}

int32_t rovk_transport::descriptor(uint64_t wake_ns) {
  if (timer_ < 0) {
    timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer_ < 0) return -errno;
    shared_->watched[application_] = this;
  }
  wake_ns_ = wake_ns;
  arm();
  return timer_;
}

void rovk_transport::plan_action(Time when, rovk_unit_action action, void* pointer) {
  actions_.emplace(when, Action{action, pointer});
}

std::optional<Time> rovk_transport::next_action() const {
  return actions_.empty() ? std::nullopt : std::optional(actions_.begin()->first);
}

void rovk_transport::run_actions(std::unique_lock<std::mutex>& lock) {
  if (acting_) return;
  while (!doomed_ && !actions_.empty() && actions_.begin()->first <= shared_->unit.clock().now()) {
    const Action action = actions_.extract(actions_.begin()).mapped();
    acting_ = true;
    lock.unlock();
    action.run(action.pointer, 1);
    lock.lock();
    acting_ = false;
  }
}

uint64_t rovk_transport::due() {
  rovk::unit::Unit& unit = shared_->unit;
  const auto now = static_cast<uint64_t>(unit.clock().now().count());
  if (!inbox_->empty() || wake_ns_ <= now) return at_once;
  // A virtual clock does not come to a later time by itself.
  if (unit.clock().is_virtual()) return never;
  uint64_t when = wake_ns_;
  if (const auto next = unit.next_due()) when = std::min(when, static_cast<uint64_t>(next->count()));
  return when <= now ? at_once : when;
}

void rovk_transport::arm() {
  const uint64_t when = due();
  // Setting a timer makes it unreadable until it fires, so one that is right already is left alone.
  if (when == armed_ns_) return;
  armed_ns_ = when;
  itimerspec setting = {};
  if (when != never) {
    const auto now = static_cast<uint64_t>(shared_->unit.clock().now().count());
    const uint64_t wait = when > now ? when - now : 1;
    setting.it_value.tv_sec = static_cast<time_t>(wait / 1'000'000'000);
    setting.it_value.tv_nsec = static_cast<long>(wait % 1'000'000'000);
  }
  timerfd_settime(timer_, 0, &setting, nullptr);
}

namespace rovk::transport {

Hand find_hand(void* owner) {
  const std::lock_guard lock(owners().mutex);
  const auto found = owners().hands.find(owner);
  return found == owners().hands.end() ? Hand{} : found->second;
}

}  // namespace rovk::transport
