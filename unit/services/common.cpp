#include "unit/services/common.h"

#include <rovk/constants.h>

#include "catalogue/fields.h"

namespace rovk::unit {
namespace {

constexpr rovk_version protocol_version = {ROVK_PROTOCOL_VERSION_MAJOR, ROVK_PROTOCOL_VERSION_MINOR};

// The bit of capabilities_mask next to ROVK_GPI_CAPABILITIES_QUEUED.
constexpr int capabilities_refuses_repeats = 2;

uint32_t device_id(const Peripheral& peripheral, const Call& call) {
  const auto& devices = peripheral.view->setup().devices;
  const auto index = static_cast<std::size_t>(call.number("index"));
  if (index >= devices.size()) call.refuse_input("index");
  return devices[index];
}

void tell_info(const Peripheral& peripheral, Call& call) {
  const Setup& setup = peripheral.view->setup();
  call.set("id", setup.service.id);
  call.set_version("api", setup.service.api);
  call.set_version("implementation", setup.description.implementation);
  call.set_version("protocol", protocol_version);
  const PeripheralDescription& description = setup.description;
  call.set("capabilities_mask", (description.queued ? ROVK_GPI_CAPABILITIES_QUEUED : 0) |
                                    (description.refuses_repeats ? capabilities_refuses_repeats : 0));
  call.set("queue_depth", description.queued ? description.queue_depth : 0);
  call.set("device_count", peripheral.view->devices());
  call.set("location", setup.location);
}

void tell_aliases(const std::vector<uint16_t>& aliases, Call& call) {
  uint8_t bytes[2 * ROVK_MAX_ALIASES] = {};
  for (std::size_t i = 0; i < aliases.size(); ++i) catalogue::store(bytes + 2 * i, 2, aliases[i]);
  call.set("count", static_cast<int64_t>(aliases.size()));
  call.set_bytes("alias", bytes);
}

// A peripheral with a fault does not pass, nor does one whose view finds something.
void test_itself(const Peripheral& peripheral, const Call& call) {
  const bool disruptive = call.within("disruptive", 0, 1) != 0;
  const bool passed = peripheral.fault == 0 && peripheral.view->standing_fault() == Fault::none;
  if (!passed || !peripheral.view->self_test(disruptive)) call.refuse("self_test_failed");
}

}  // namespace

void run_common(Peripheral& peripheral, Call& call) {
  switch (call.command().opcode) {
    case ROVK_COMMON_COMMAND_GET_PERIPHERAL_INFO:
      tell_info(peripheral, call);
      break;
    case ROVK_COMMON_COMMAND_CLEAR_FAULT:
      // A fault whose cause is still there is there again at once.
      peripheral.fault = static_cast<uint16_t>(peripheral.view->standing_fault());
      break;
    case ROVK_COMMON_COMMAND_GET_FAULT:
      call.set("id", peripheral.fault);
      break;
    case ROVK_COMMON_COMMAND_ECHO:
      call.set_bytes("payload_out", call.bytes("payload_in"));
      break;
    case ROVK_COMMON_COMMAND_GET_ALIASES:
      tell_aliases(peripheral.view->setup().description.aliases, call);
      break;
    case ROVK_COMMON_COMMAND_SELF_TEST:
      test_itself(peripheral, call);
      break;
    case ROVK_COMMON_COMMAND_GET_PERIPHERAL_DEVICE_ID:
      call.set("peripheral_device_id", device_id(peripheral, call));
      break;
    case ROVK_COMMON_COMMAND_NOP:
      device_id(peripheral, call);  // the index alone is checked
      break;
    case ROVK_COMMON_COMMAND_LAST:
      break;  // marks the end of the common opcodes and does nothing
    default:
      call.refuse("unknown_command");
  }
}

bool changes_peripheral(const catalogue::Command& common_command) {
  return common_command.opcode == ROVK_COMMON_COMMAND_RESET ||
         common_command.opcode == ROVK_COMMON_COMMAND_CLEAR_FAULT ||
         common_command.opcode == ROVK_COMMON_COMMAND_SELF_TEST;
}

}  // namespace rovk::unit
