#include "trans/discovery.h"

#include <rovk/constants.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "trans/commands.h"
#include "trans/context.h"
#include "trans/payload.h"
#include "trans/wire.h"

namespace rovk::trans {
namespace {

using catalogue::Command;
using Peripheral = Lookups::Peripheral;

// Results, one for each distinct value. Never freed: programs hold pointers to them.
struct Interned {
  std::mutex mutex;
  std::map<uint16_t, uint16_t> addresses;
  std::map<std::pair<uint16_t, uint8_t>, rovk_device_address> devices;
};

Interned& interned() {
  static Interned* const instance = new Interned;
  return *instance;
}

// Runs a command without callbacks and stores the values of its answer. False: it failed.
bool ask(Context& context, const catalogue::Service& service, const char* command_name, uint16_t address,
         const void* const* inputs, void* const* outputs) {
  const Command& command = *catalogue::find_command(service, command_name);
  rovk_message answer;
  if (transact(context, command, address, inputs, Mode::quiet, answer) != 0) return false;
  return store(command.answer, wire::payload(answer), outputs) == 0;
}

const catalogue::Service& router() {
  static const catalogue::Service& service = *catalogue::find_service_by_id(ROVK_ROUTER_0000_PERIPHERAL_ID);
  return service;
}

void learn_address(Lookups& lookups, uint16_t address) {
  const bool known = std::any_of(lookups.peripherals.begin(), lookups.peripherals.end(),
                                 [=](const Peripheral& peripheral) { return peripheral.address == address; });
  if (!known) lookups.peripherals.push_back({address, false, 0, 0, {}});
}

void learn_routes(Context& context) {
  Lookups& lookups = context.lookups;
  learn_address(lookups, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  uint16_t count = 0;
  void* const count_slot[] = {&count};
  if (!ask(context, router(), "get_count", ROVK_ROUTER_PERIPHERAL_ADDRESS, nullptr, count_slot)) return;
  // A router that was reset has forgotten the routes that were added.
  lookups.routes = std::min(lookups.routes, count);
  while (lookups.routes < count) {
    uint16_t address = 0;
    const void* const index[] = {&lookups.routes};
    void* const slots[] = {&address, nullptr};
    if (!ask(context, router(), "get_route", ROVK_ROUTER_PERIPHERAL_ADDRESS, index, slots)) return;
    learn_address(lookups, address);
    ++lookups.routes;
  }
}

void learn_info(Context& context, Peripheral& peripheral) {
  if (peripheral.asked) return;
  void* const slots[] = {&peripheral.id,           nullptr, nullptr, nullptr, nullptr, nullptr,
                         &peripheral.device_count, nullptr};
  peripheral.asked = ask(context, catalogue::common(), "get_peripheral_info", peripheral.address, nullptr, slots);
}

// The index of a device. Empty: the peripheral has no such device.
std::optional<uint8_t> device_index(Context& context, Peripheral& peripheral, uint32_t device_id) {
  for (unsigned i = 0; i < peripheral.device_count; ++i) {
    const auto index = static_cast<uint8_t>(i);
    if (i == peripheral.devices.size()) {
      uint32_t device = 0;
      const void* const input[] = {&index};
      void* const slot[] = {&device};
      if (!ask(context, catalogue::common(), "get_peripheral_device_id", peripheral.address, input, slot)) break;
      peripheral.devices.push_back(device);
    }
    if (peripheral.devices[i] == device_id) return index;
  }
  return std::nullopt;
}

// Gives the first peripheral that suits, in the order of the router; asks for new routes when none of
// those known does.
template <typename Suits>
const Peripheral* search(Context& context, uint16_t id, Suits suits) {
  std::size_t next = 0;
  for (const bool ask_router : {false, true}) {
    // Those that did not answer are passed over, and not asked twice in one search.
    if (ask_router) learn_routes(context);
    for (; next < context.lookups.peripherals.size(); ++next) {
      Peripheral& peripheral = context.lookups.peripherals[next];
      learn_info(context, peripheral);
      if (peripheral.asked && peripheral.id == id && suits(peripheral)) return &peripheral;
    }
  }
  return nullptr;
}

}  // namespace

uint16_t* find_peripheral(Context& context, uint16_t id) {
  const Peripheral* const found = search(context, id, [](const Peripheral&) { return true; });
  if (!found) return nullptr;
  const std::lock_guard lock(interned().mutex);
  return &interned().addresses.try_emplace(found->address, found->address).first->second;
}

rovk_device_address* find_device(Context& context, uint16_t id, uint32_t device_id) {
  std::optional<uint8_t> index;
  const Peripheral* const found = search(context, id, [&](Peripheral& peripheral) {
    index = device_index(context, peripheral, device_id);
    return index.has_value();
  });
  if (!found) return nullptr;
  const rovk_device_address address = {found->address, *index};
  const std::lock_guard lock(interned().mutex);
  return &interned().devices.try_emplace({found->address, *index}, address).first->second;
}

}  // namespace rovk::trans
