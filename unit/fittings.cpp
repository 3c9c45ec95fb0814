#include "unit/fittings.h"

#include <rovk/constants.h>

#include <algorithm>
#include <set>
#include <string>

namespace rovk::unit {
namespace {

constexpr unsigned first_address = 0x0100;
constexpr unsigned next_address = 0x1000;

std::string hex(uint16_t address) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "0x";
  for (int shift = 12; shift >= 0; shift -= 4) text += digits[address >> shift & 0xf];
  return text;
}

class Addresses {
 public:
  void take(uint16_t address, const std::string& service) {
    if (!taken_.insert(address).second) {
      throw DescriptionError("address " + hex(address) + " of " + service + " is taken");
    }
  }
  uint16_t next_free(const catalogue::Service& service) {
    for (unsigned address = first_address + static_cast<unsigned>(service.id); address <= UINT16_MAX;
         address += next_address) {
      if (taken_.insert(static_cast<uint16_t>(address)).second) return static_cast<uint16_t>(address);
    }
    throw DescriptionError(std::string("no address is left for ") + service.name);
  }

 private:
  std::set<uint16_t> taken_ = {ROVK_ROUTER_PERIPHERAL_ADDRESS};
};

const catalogue::Service& service_of(const PeripheralDescription& peripheral) {
  const catalogue::Service* service = catalogue::find_service(peripheral.service);
  if (!service) throw DescriptionError("there is no service " + peripheral.service);
  if (service->id <= ROVK_ROUTER_0000_PERIPHERAL_ID) {
    throw DescriptionError(peripheral.service + " is part of every unit and cannot be added");
  }
  return *service;
}

void check(const PeripheralDescription& peripheral) {
  if (peripheral.devices.empty() || peripheral.devices.size() > UINT8_MAX) {
    throw DescriptionError(peripheral.service + " wants 1 to 255 devices");
  }
  if (peripheral.aliases.size() > ROVK_MAX_ALIASES)
    throw DescriptionError(peripheral.service + " has too many aliases");
  if (peripheral.queue_depth == 0) throw DescriptionError(peripheral.service + " wants a queue_depth of 1 to 255");
}

}  // namespace

std::vector<Fitting> fittings(const UnitDescription& unit) {
  if (unit.boards.empty()) throw DescriptionError("a unit wants a board");
  std::vector<Fitting> all;
  Addresses addresses;
  for (std::size_t board = 0; board < unit.boards.size(); ++board) {
    for (const PeripheralDescription& peripheral : unit.boards[board].peripherals) {
      check(peripheral);
      const catalogue::Service& service = service_of(peripheral);
      Fitting fitting = {&service, 0, unit.boards[board].location, {}, board, &peripheral};
      for (const DeviceDescription& device : peripheral.devices) fitting.devices.push_back(device.id);
      if (service.id == ROVK_UNITTEST_FFFF_PERIPHERAL_ID) fitting.address = ROVK_UNITTEST_PERIPHERAL_ADDRESS;
      if (peripheral.address) fitting.address = *peripheral.address;
      if (fitting.address != 0) addresses.take(fitting.address, peripheral.service);
      for (const uint16_t alias : peripheral.aliases) addresses.take(alias, peripheral.service);
      all.push_back(std::move(fitting));
    }
  }
  for (Fitting& fitting : all) {
    if (fitting.address == 0) fitting.address = addresses.next_free(*fitting.service);
  }
  const catalogue::Service& router = *catalogue::find_service_by_id(ROVK_ROUTER_0000_PERIPHERAL_ID);
  all.push_back({&router,
                 ROVK_ROUTER_PERIPHERAL_ADDRESS,
                 ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD,
                 {ROVK_PERIPHERAL_DEVICE_ID_NONE},
                 0,
                 nullptr});
  std::sort(all.begin(), all.end(), [](const Fitting& a, const Fitting& b) { return a.address < b.address; });
  return all;
}

}  // namespace rovk::unit
