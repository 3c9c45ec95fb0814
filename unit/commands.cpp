// How a command becomes an answer.
#include <rovk/constants.h>

#include <algorithm>
#include <memory>

#include "unit/compose.h"
#include "unit/services/common.h"
#include "unit/state.h"

namespace rovk::unit {
namespace {

// `type` of communication_failure: a route was added, and nobody answers at its end.
constexpr int64_t nobody_answers = 1;

void write_answer(rovk_message& reply, const Call& call) {
  std::copy(call.answer().begin(), call.answer().end(), wire::bytes(reply) + ROVK_OFFSET_PAYLOAD);
}

}  // namespace

void Unit::State::arrive(uint16_t application, const rovk_message& command) {
  if (powered && traffic.knows(application)) handle(application, command);
}

void Unit::State::check(const Peripheral& peripheral, const Call& call, bool is_common) const {
  const bool is_reset = is_common && call.command().opcode == ROVK_COMMON_COMMAND_RESET;
  const uint16_t holder = peripherals.router().holder(peripheral.address);
  if (holder != 0 && holder != call.application() && (!is_common || changes_peripheral(call.command()))) {
    call.refuse("reservation_exists", {holder});
  }
  if (peripheral.booting && !is_reset) call.refuse("busy");
  if (is_common) return;
  if (peripheral.fault != 0 && !peripheral.view->answers_with_fault(call.command())) {
    call.refuse("fault_exists", {peripheral.fault});
  }
  if (peripheral.late >= peripheral.view->setup().description.queue_depth) call.refuse("busy");
}

void Unit::State::write_refusal(rovk_message& reply, const catalogue::Service& service, const Refusal& refusal,
                                uint16_t answerer) {
  coverage.error(service, refusal.id);
  const catalogue::Error* error = catalogue::find_error(service, refusal.id);
  if (!error) error = catalogue::find_error(catalogue::common(), refusal.id);
  fill(write_error(reply, answerer, refusal.id), error ? error->detail : nullptr, refusal.detail);
}

void Unit::State::answer(const Job& job, const Refusal* refusal) {
  rovk_message reply = job.reply;
  const auto address = wire::peripheral(reply);
  const Peripheral& from = *peripherals.find(address);
  if (!refusal && persistence.has_begun()) {
    try {
      persistence.keep_memories(from);
    } catch (const Refusal& no_room) {
      return answer(job, &no_room);
    }
  }
  if (refusal) {
    // What is broken off cannot say so itself.
    const bool lost = refusal->id == ROVK_COMMON_ERROR_COMMUNICATION_FAILURE;
    write_refusal(reply, from.view->service(), *refusal, lost ? ROVK_ROUTER_PERIPHERAL_ADDRESS : address);
  } else {
    write_answer(reply, job.call);
  }
  traffic.answer(job.application, reply, now());
}

void Unit::State::handle(uint16_t application, const rovk_message& command) {
  const uint8_t* given = wire::bytes(command);
  const uint16_t address = wire::peripheral(command);
  const uint8_t opcode = wire::body(command);
  rovk_message reply = blank(application, address, wire::uuid(command), ROVK_TYPE_RESPONSE);
  Time duration{0};
  const catalogue::Service* service = &catalogue::common();
  uint16_t answerer = address;
  try {
    Peripheral* peripheral = peripherals.find(address);
    if (!peripheral) {
      answerer = ROVK_ROUTER_PERIPHERAL_ADDRESS;
      if (peripherals.router().leads_to(address)) {
        throw Refusal{ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, {nobody_answers}};
      }
      throw Refusal{ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL};
    }
    const bool is_common = opcode <= ROVK_COMMON_COMMAND_LAST;
    if (!is_common) service = &peripheral->view->service();
    const catalogue::Command* row = catalogue::find_command(*service, opcode);
    if (!row) throw Refusal{ROVK_COMMON_ERROR_UNKNOWN_COMMAND};
    coverage.command(*service, *row);
    Call call(*service, *row, {given + ROVK_OFFSET_PAYLOAD, ROVK_MESSAGE_PAYLOAD_SIZE}, application);
    check(*peripheral, call, is_common);
    if (is_common && opcode == ROVK_COMMON_COMMAND_RESET) {
      peripheral->resetters.push_back({application, reply});
      return reset(*peripheral, static_cast<uint16_t>(ResetType::commanded));
    }
    if (is_common) {
      run_common(*peripheral, call);
    } else if (peripheral->view->takes_time(*row)) {
      peripheral->view->check(call);
      return peripheral->accept(std::make_shared<Job>(*peripheral, call, application, reply));
    } else if (persistence.has_begun()) {
      persistence.run(*peripheral, call, given + ROVK_OFFSET_PAYLOAD);
    } else {
      peripheral->view->run(call);
    }
    write_answer(reply, call);
    duration = std::max(call.duration(), Time{0});
    if (duration > Time{0}) {
      ++peripheral->late;
      at(now() + duration, [peripheral] { --peripheral->late; });
    }
  } catch (const Refusal& refusal) {
    write_refusal(reply, *service, refusal, answerer);
  }
  traffic.answer(application, reply, now() + duration);
}

}  // namespace rovk::unit
