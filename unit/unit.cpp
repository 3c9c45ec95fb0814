// What others may do to a unit. Whoever acts on it finds it as it is by now: what is due runs first, and what is
// caused at once has happened when the call returns.
#include "unit/unit.h"

#include <algorithm>

#include "unit/state.h"
#include "wire/message.h"

namespace rovk::unit {

Unit::Unit(const Options& options, const UnitDescription& description)
    : state_(std::make_unique<State>(options, description)) {}

Unit::~Unit() = default;

uint16_t Unit::join() { return state_->traffic.join(); }

void Unit::leave(uint16_t application) {
  state_->traffic.leave(application);
  state_->peripherals.router().forget(application);
}

void Unit::submit(uint16_t application, const rovk_message& message) {
  run();
  if (!state_->traffic.knows(application) || wire::type(message) != ROVK_TYPE_COMMAND) {
    ++state_->dropped;
    return;
  }
  Agenda& agenda = state_->agenda;
  if (agenda.clock().is_virtual()) agenda.run_until(agenda.now() + state_->options.processing);
  if (!state_->powered) return;  // nobody hears it
  if (!state_->traffic.is_disturbed()) {
    state_->handle(application, message);
  } else {
    state_->traffic.command(application, message);
  }
  agenda.settle();
}

uint64_t Unit::dropped() const { return state_->dropped; }

const wire::Queue& Unit::inbox(uint16_t application) const { return state_->traffic.inbox(application); }

bool Unit::take(uint16_t application, rovk_message& message) {
  // Nobody needs the time when nothing can be due.
  if (!state_->agenda.empty()) run();
  return state_->traffic.take(application, message);
}

std::vector<uint16_t> Unit::take_reached() { return state_->traffic.take_reached(); }

void Unit::run() { state_->agenda.run(); }

std::optional<Time> Unit::next_due() const { return state_->agenda.next_due(); }

void Unit::advance_to(Time when) {
  if (clock().is_virtual()) state_->agenda.run_until(std::max(when, clock().now()));
}

void Unit::stop_at(Time when) {
  state_->agenda.at(when, [] {});
}

Clock& Unit::clock() { return state_->agenda.clock(); }

World& Unit::world() { return state_->outside; }

const UnitDescription& Unit::description() const { return state_->description; }

things::Body& Unit::body() { return state_->whole; }

bool Unit::set_input(Input input, unsigned index, int64_t value) {
  run();
  if (!state_->outside.set(input, index, value)) return false;
  state_->agenda.settle();
  return true;
}

bool Unit::release_input(Input input, unsigned index) {
  run();
  if (!state_->outside.release(input, index)) return false;
  run();
  return true;
}

void Unit::set_power(bool on) {
  run();
  state_->set_power(on);
  run();
}

bool Unit::powered() const { return state_->powered; }

bool Unit::reset_peripheral(uint16_t address, uint16_t type) {
  run();
  Peripheral* peripheral = state_->peripherals.find(address);
  if (!peripheral) return false;
  state_->reset(*peripheral, type);
  run();
  return true;
}

bool Unit::set_fault(uint16_t address, uint16_t fault_id) {
  run();
  Peripheral* peripheral = state_->peripherals.find(address);
  if (!peripheral) return false;
  peripheral->fault = fault_id;
  return true;
}

bool Unit::spontaneous_error(uint16_t address, uint16_t error_id, const uint8_t* payload) {
  run();
  const catalogue::Service* const service = state_->peripherals.service_at(address);
  if (!service) return false;
  const uint8_t nothing[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
  state_->report(*service, address, error_id, payload ? payload : nothing);
  run();
  return true;
}

bool Unit::disturb(uint16_t application, std::string_view what, uint32_t count, uint32_t value) {
  const Disturbance* const disturbance = find_disturbance(what);
  return disturbance && state_->traffic.disturb(application, *disturbance, count, value);
}

void Unit::keep_state(const std::string& path) {
  run();
  state_->persistence.begin(path, state_->description);
  run();
}

void Unit::set_plan(const PlanDescription& plan) {
  run();
  state_->traffic.set_plan(plan);
}

const Plan& Unit::plan() const { return state_->traffic.plan(); }

const Coverage& Unit::coverage() const { return state_->coverage; }

}  // namespace rovk::unit
