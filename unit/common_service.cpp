#include "unit/common_service.h"

#include <rovk/constants.h>

namespace rovk::unit {
namespace {

constexpr rovk_version implementation_version = {1, 0};
constexpr rovk_version protocol_version = {ROVK_PROTOCOL_VERSION_MAJOR, ROVK_PROTOCOL_VERSION_MINOR};

uint32_t device_id(const Peripheral& peripheral, const Call& call) {
  const auto& devices = peripheral.model->setup().devices;
  const auto index = static_cast<std::size_t>(call.number("index"));
  if (index >= devices.size()) call.refuse_input("index");
  return devices[index];
}

void tell_info(const Peripheral& peripheral, Call& call) {
  const Setup& setup = peripheral.model->setup();
  call.set("id", setup.service.id);
  call.set_version("api", setup.service.api);
  call.set_version("implementation", implementation_version);
  call.set_version("protocol", protocol_version);
  call.set("capabilities_mask", ROVK_GPI_CAPABILITIES_QUEUED);
  call.set("queue_depth", peripheral.queue_depth());
  call.set("device_count", peripheral.model->devices());
  call.set("location", setup.location);
}

// A peripheral with a fault does not pass, nor does one whose model finds something.
void test_itself(const Peripheral& peripheral, const Call& call) {
  const bool disruptive = call.within("disruptive", 0, 1) != 0;
  if (peripheral.fault != 0 || !peripheral.model->self_test(disruptive)) call.refuse("self_test_failed");
}

}  // namespace

void run_common(Peripheral& peripheral, Call& call) {
  switch (call.command().opcode) {
    case ROVK_COMMON_COMMAND_GET_PERIPHERAL_INFO:
      tell_info(peripheral, call);
      break;
    case ROVK_COMMON_COMMAND_CLEAR_FAULT:
      peripheral.fault = 0;
      break;
    case ROVK_COMMON_COMMAND_GET_FAULT:
      call.set("id", peripheral.fault);
      break;
    case ROVK_COMMON_COMMAND_ECHO:
      call.set_bytes("payload_out", call.bytes("payload_in"));
      break;
    case ROVK_COMMON_COMMAND_GET_ALIASES:
      call.set("count", 0);  // every peripheral of this unit has one address
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
