#include "unit/traffic.h"

#include <algorithm>
#include <utility>

#include "unit/compose.h"
#include "wire/message.h"

namespace rovk::unit {

uint16_t Traffic::join() {
  do {
    ++last_joined_;
  } while (last_joined_ == 0 || applications_.contains(last_joined_));
  applications_.try_emplace(last_joined_);
  return last_joined_;
}

bool Traffic::take(uint16_t application, rovk_message& message) {
  const auto found = applications_.find(application);
  return found != applications_.end() && found->second.inbox.take(message);
}

std::vector<uint16_t> Traffic::take_reached() {
  for (const uint16_t application : reached_) {
    const auto found = applications_.find(application);
    if (found != applications_.end()) found->second.told = false;
  }
  return std::exchange(reached_, {});
}

void Traffic::set_plan(const PlanDescription& plan) {
  plan_ = Plan(plan);
  silent_.clear();
}

bool Traffic::disturb(uint16_t application, const Disturbance& what, uint32_t count, uint32_t value) {
  const auto found = applications_.find(application);
  if (found == applications_.end()) return false;
  if (count > 0) found->second.disturbed.push_back({&what, count, value});
  return true;
}

void Traffic::answer(uint16_t application, const rovk_message& message, Time ended) {
  const auto found = applications_.find(application);
  if (found == applications_.end()) return;
  const Time when = ended + delay_;
  auto& pending = found->second.disturbed;
  if (pending.empty()) return dispatch(Direction::answer, application, message, when);
  const Disturbed now = pending.front();
  if (--pending.front().count == 0) pending.pop_front();
  rovk_message changed = message;
  Fate fate;
  now.what->befall(fate, wire::bytes(changed), now.value);
  if (fate.lost) return;
  if (fate.doubled) send(application, changed, when);
  dispatch(Direction::answer, application, changed, when + fate.late);
}

void Traffic::dispatch(Direction direction, uint16_t application, const rovk_message& message, Time when) {
  if (!is_disturbed()) return send(application, message, when);
  travel(direction, application, message, when);
}

bool Traffic::is_silent(uint16_t address) const {
  const auto found = silent_.find(address);
  return found != silent_.end() && agenda_.now() < found->second;
}

// Lets the plan judge a message, and carries out what it decides.
void Traffic::travel(Direction direction, uint16_t application, rovk_message message, Time when) {
  const auto address = wire::peripheral(message);
  const bool was_silent = is_silent(address);
  const Fate fate = plan_.judge(direction, peripherals_.service_at(address), message);
  if (fate.silent_ms) silent_[address] = std::max(silent_[address], agenda_.now() + *fate.silent_ms * 1ms);
  if (was_silent || fate.silent_ms) return;
  // At once, but not in the middle of what causes the message.
  if (fate.resets)
    agenda_.at(agenda_.now(), [this, address, direction] { station_.reset_from_outside(address, direction); });
  if (fate.switches_off) agenda_.at(agenda_.now(), [this, off = fate.off_ms] { station_.switch_off(off); });
  const bool is_command = direction == Direction::command;
  if (fate.lost || (!is_command && (fate.resets || fate.switches_off))) return;
  if (fate.refusal) {
    refuse(message, *fate.refusal);
    if (is_command) return send(application, message, when + delay_);
  }
  when += fate.late;
  auto& held = applications_.at(application).held;
  if (fate.swapped && !held.contains(direction)) {
    const uint64_t number = ++held_;
    held[direction] = {message, number};
    // Nothing may come behind which it could go.
    agenda_.at(when + fate.swap_ms * 1ms,
               [this, direction, application, number] { release(direction, application, number); });
    return;
  }
  pass(direction, application, message, when);
  if (fate.doubled) pass(direction, application, message, when);
  const auto before = held.find(direction);
  if (before != held.end()) {
    agenda_.at(when, [this, direction, application, number = before->second.number] {
      release(direction, application, number);
    });
  }
}

void Traffic::release(Direction direction, uint16_t application, uint64_t number) {
  const auto found = applications_.find(application);
  if (found == applications_.end()) return;
  const auto held = found->second.held.find(direction);
  if (held == found->second.held.end() || held->second.number != number) return;
  const rovk_message message = held->second.message;
  found->second.held.erase(held);
  pass(direction, application, message, agenda_.now());
}

// Turns a command or an answer into a refusal by a rule.
void Traffic::refuse(rovk_message& message, const Rule& rule) {
  const uint16_t address = wire::peripheral(message);
  message = blank(wire::application(message), address, wire::uuid(message), ROVK_TYPE_RESPONSE);
  std::copy(rule.detail.begin(), rule.detail.end(), write_error(message, address, rule.error));
  if (const auto* const service = peripherals_.service_at(address)) coverage_.error(*service, rule.error);
}

// Brings a message that has come through to where it goes.
void Traffic::pass(Direction direction, uint16_t application, const rovk_message& message, Time when) {
  if (direction != Direction::command) return send(application, message, when);
  if (when <= agenda_.now()) return station_.arrive(application, message);
  agenda_.at(when, [this, application, message] { station_.arrive(application, message); });
}

void Traffic::send(uint16_t application, const rovk_message& message, Time when) {
  // Due at once, and nothing is due before it: it need not wait in the queue.
  if (when <= agenda_.now() && agenda_.is_settled()) return deliver(application, message);
  agenda_.at(when, [this, application, message] { deliver(application, message); });
}

void Traffic::deliver(uint16_t application, const rovk_message& message) {
  const auto found = applications_.find(application);
  if (found == applications_.end()) return;
  found->second.inbox.push(message);
  if (!std::exchange(found->second.told, true)) reached_.push_back(application);
}

}  // namespace rovk::unit
