// What a unit does by itself: how it is put together, what it tells without being asked, how its peripherals reset
// and boot.
#include "unit/state.h"

#include <rovk/constants.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "unit/build.h"
#include "unit/compose.h"
#include "unit/inputs.h"
#include "unit/things/thermal.h"

namespace rovk::unit {
namespace {

// `type` of communication_failure: a reset has broken the command off.
constexpr int64_t broken_off = 2;

const catalogue::Event& common_event(uint8_t id) { return *catalogue::find_event(catalogue::common(), id); }

// From the end of a command to its answer.
Time answer_delay(const Options& options) {
  return options.latency + (options.virtual_clock ? Time{0} : options.processing);
}

}  // namespace

Unit::State::State(const Options& given, const UnitDescription& described)
    : options(given),
      description(described),
      agenda(given.virtual_clock),
      whole(description.surroundings),
      traffic(answer_delay(given), description.plan, agenda, peripherals, coverage, *this),
      persistence(whole, peripherals) {
  build(description, agenda, whole);
  bind_inputs(whole, outside);
  peripherals.fit(description, whole, *this, *this);
}

void Unit::State::raise(const View& view, const catalogue::Event& event, std::initializer_list<int64_t> values) {
  if (!powered) return;
  uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
  fill(payload, event.record, {values.begin(), values.size()});
  tell(view.service(), view.setup().address, event, payload);
}

void Unit::State::tell(const catalogue::Service& service, uint16_t address, const catalogue::Event& event,
                       const uint8_t* payload) {
  for (const uint16_t application : peripherals.router().hearers(address)) {
    rovk_message message = blank(application, address, 0, ROVK_TYPE_EVENT);
    wire::bytes(message)[ROVK_OFFSET_BODY] = event.id;
    std::copy_n(payload, ROVK_MESSAGE_PAYLOAD_SIZE, wire::bytes(message) + ROVK_OFFSET_PAYLOAD);
    coverage.event(service, event);
    traffic.event(application, message);
  }
}

void Unit::State::report(const View& view, std::string_view error, std::initializer_list<int64_t> detail) {
  const catalogue::Error* row = catalogue::find_error(view.service(), error);
  if (!row) row = catalogue::find_error(catalogue::common(), error);
  if (!row) throw std::logic_error("no error " + std::string(error));
  uint8_t data[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
  fill(data, row->detail, {detail.begin(), detail.size()});
  report(view.service(), view.setup().address, row->id, data);
}

void Unit::State::report(const catalogue::Service& service, uint16_t address, uint16_t error, const uint8_t* data) {
  if (!powered) return;
  uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
  catalogue::store(payload, 2, address);
  catalogue::store(payload + 2, 2, error);
  std::copy_n(data, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE, payload + 4);
  tell(service, address, common_event(ROVK_COMMON_EVENT_SPONTANEOUS_ERROR), payload);
}

void Unit::State::fail(const View& view, Fault fault) {
  Peripheral* const peripheral = peripherals.find(view.setup().address);
  if (!peripheral || peripheral->fault != 0) return;
  peripheral->fault = static_cast<uint16_t>(fault);
  report(view, "fault_exists", {peripheral->fault});
}

void Unit::State::reset_from_outside(uint16_t address, Rule::Direction met) {
  Peripheral* const peripheral = peripherals.find(address);
  if (!peripheral || !powered) return;
  // What a reset tells may meet with the rule that caused it, and time would never move on.
  if (met == Rule::Direction::event && peripheral->upset == now()) return;
  peripheral->upset = now();
  reset(*peripheral, static_cast<uint16_t>(ResetType::watchdog));
}

void Unit::State::switch_off(int64_t off_ms) {
  set_power(false);
  if (off_ms > 0) at(now() + off_ms * 1ms, [this] { set_power(true); });
}

void Unit::State::reset(Peripheral& peripheral, uint16_t type) {
  peripheral.break_off({ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, {broken_off}});
  peripheral.fault = 0;
  peripheral.view->reset();
  persistence.forget(peripheral);
  boot(peripheral, type, Time{0});
}

void Unit::State::boot(Peripheral& peripheral, uint16_t type, Time after) {
  const Time end = now() + after + std::chrono::milliseconds(peripheral.view->setup().description.boot_ms);
  peripheral.booting = end > now();
  if (!peripheral.booting) return booted(peripheral, type);
  peripheral.boot.set(end, [this, &peripheral, type] { booted(peripheral, type); });
}

void Unit::State::booted(Peripheral& peripheral, uint16_t type) {
  peripheral.booting = false;
  peripheral.boot.stop();
  raise(*peripheral.view, common_event(ROVK_COMMON_EVENT_RESET_OCCURRED), {type});
  if (const Fault standing = peripheral.view->standing_fault(); standing != Fault::none) {
    fail(*peripheral.view, standing);
  }
  std::vector<Peripheral::Origin> waiting;
  waiting.swap(peripheral.resetters);
  for (const Peripheral::Origin& origin : waiting) traffic.answer(origin.application, origin.reply, now());
}

void Unit::State::set_power(bool on) {
  if (powered == on) return;
  powered = on;
  persistence.forget_all();
  for (unsigned i = 0; i < whole.count<things::ThermalMass>(); ++i) whole.find<things::ThermalMass>(i)->power(on);
  for (const auto& peripheral : peripherals.all()) {
    peripheral->drop();
    peripheral->fault = 0;
    peripheral->view->reset();
    if (on) {
      boot(*peripheral, static_cast<uint16_t>(ResetType::power_on), std::chrono::milliseconds(description.boot_ms));
    }
  }
}

}  // namespace rovk::unit
