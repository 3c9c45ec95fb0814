#include "trans/transaction.h"

#include <rovk/constants.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "catalogue/fields.h"
#include "wire/message.h"

namespace rovk::trans {
namespace {

constexpr unsigned number_bits = 24;
constexpr uint32_t number_mask = (1U << number_bits) - 1;
// Far below the numbers that there are, so that a late answer seldom meets a number in use again.
constexpr std::size_t max_pending = 1U << 20;

bool belongs(const rovk_message& answer, uint32_t uuid, uint16_t address) {
  return wire::uuid(answer) == uuid && wire::peripheral(answer) == address;
}

}  // namespace

bool Transactions::in_use(uint32_t number) const {
  for (const Wait* wait = innermost_; wait; wait = wait->outer) {
    if ((wait->uuid & number_mask) == number) return true;
  }
  return nodes_.contains(number);
}

std::optional<uint32_t> Transactions::next_uuid(uint8_t opcode) {
  if (nodes_.size() >= max_pending) return std::nullopt;
  do {
    last_number_ = (last_number_ + 1) & number_mask;
  } while (last_number_ == 0 || in_use(last_number_));
  return uint32_t{opcode} << number_bits | last_number_;
}

void Transactions::enter(Wait& wait) {
  wait.outer = innermost_;
  innermost_ = &wait;
}

void Transactions::leave(Wait& wait) { innermost_ = wait.outer; }

bool Transactions::answer_wait(const rovk_message& answer) {
  for (Wait* wait = innermost_; wait; wait = wait->outer) {
    if (wait->state != Wait::State::waiting || !belongs(answer, wait->uuid, wait->address)) continue;
    wait->answer = answer;
    wait->state = Wait::State::answered;
    return true;
  }
  return false;
}

void Transactions::close_waits() {
  for (Wait* wait = innermost_; wait; wait = wait->outer) {
    if (wait->state == Wait::State::waiting) wait->state = Wait::State::closed;
  }
}

void Transactions::add(const Pending& pending) {
  Node& node = nodes_.emplace(pending.uuid & number_mask, Node{pending, newest_, nullptr}).first->second;
  (newest_ ? newest_->after : oldest_) = &node;
  newest_ = &node;
}

std::optional<Pending> Transactions::take(uint32_t uuid) {
  const auto found = nodes_.find(uuid & number_mask);
  if (found == nodes_.end() || found->second.pending.uuid != uuid) return std::nullopt;
  const Node node = found->second;
  (node.before ? node.before->after : oldest_) = node.after;
  (node.after ? node.after->before : newest_) = node.before;
  nodes_.erase(found);
  return node.pending;
}

std::optional<Pending> Transactions::take_answered(const rovk_message& answer) {
  const uint32_t uuid = wire::uuid(answer);
  const auto found = nodes_.find(uuid & number_mask);
  if (found == nodes_.end() || !belongs(answer, found->second.pending.uuid, found->second.pending.address)) {
    return std::nullopt;
  }
  return take(uuid);
}

std::optional<Pending> Transactions::take_expired(uint64_t now_ns) {
  return first_deadline_ns() <= now_ns ? take_oldest() : std::nullopt;
}

std::optional<Pending> Transactions::take_oldest() { return oldest_ ? take(oldest_->pending.uuid) : std::nullopt; }

uint64_t Transactions::first_deadline_ns() const { return oldest_ ? oldest_->pending.deadline_ns : UINT64_MAX; }

int32_t status_of(const rovk_message& answer) {
  if (wire::body(answer) == ROVK_RESPONSE_PAYLOAD) return 0;
  const uint16_t id = wire::error_id(answer);
  return id == 0 ? -ENODATA : int32_t{id};
}

ErrorRecord error_of(const rovk_message& answer) {
  ErrorRecord record;
  std::copy_n(wire::payload(answer), record.size(), record.begin());
  return record;
}

ErrorRecord communication_failure(uint16_t address, uint16_t type) {
  ErrorRecord record = {};
  catalogue::store(record.data(), 2, address);
  catalogue::store(record.data() + 2, 2, ROVK_COMMON_ERROR_COMMUNICATION_FAILURE);
  catalogue::store(record.data() + 4, 2, type);
  return record;
}

}  // namespace rovk::trans
