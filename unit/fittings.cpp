#include "unit/fittings.h"

#include <rovk/constants.h>

#include <algorithm>
#include <map>
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

// Of a unit file, where the peripheral stands in it.
[[noreturn]] void fail(const PeripheralDescription& peripheral, const std::string& text) {
  fail_at({peripheral.where}, text);
}

class Addresses {
 public:
  // Told at the one that a file speaks of, where it speaks of one alone.
  void take(uint16_t address, const PeripheralDescription& peripheral) {
    const auto [row, is_new] = taken_.emplace(address, Owner{peripheral.service, peripheral.where});
    if (is_new) return;
    const bool told_here = !peripheral.where.empty() || row->second.where.empty();
    const Owner own = {peripheral.service, peripheral.where};
    const Owner& one = told_here ? own : row->second;
    const Owner& other = told_here ? row->second : own;
    fail_at({one.where}, "address " + hex(address) + " of " + one.service + " is taken by " + other.service +
                             (other.where.empty() ? "" : " at " + other.where));
  }
  uint16_t next_free(const catalogue::Service& service, const PeripheralDescription& peripheral) {
    for (unsigned address = first_address + static_cast<unsigned>(service.id); address <= UINT16_MAX;
         address += next_address) {
      if (taken_.emplace(static_cast<uint16_t>(address), Owner{service.name, ""}).second)
        return static_cast<uint16_t>(address);
    }
    fail(peripheral, std::string("no address is left for ") + service.name);
  }

 private:
  struct Owner {
    std::string service;
    std::string where;
  };
  std::map<uint16_t, Owner> taken_ = {{ROVK_ROUTER_PERIPHERAL_ADDRESS, {"router_0000", ""}}};
};

const catalogue::Service& service_of(const PeripheralDescription& peripheral) {
  const catalogue::Service* service = catalogue::find_service(peripheral.service);
  if (!service) fail(peripheral, "there is no service " + peripheral.service);
  if (service->id <= ROVK_ROUTER_0000_PERIPHERAL_ID) {
    fail(peripheral, peripheral.service + " is part of every unit and cannot be added");
  }
  return *service;
}

void check(const PeripheralDescription& peripheral) {
  if (peripheral.devices.empty() || peripheral.devices.size() > UINT8_MAX) {
    fail(peripheral, peripheral.service + " wants 1 to 255 devices");
  }
  if (peripheral.aliases.size() > ROVK_MAX_ALIASES) fail(peripheral, peripheral.service + " has too many aliases");
  if (peripheral.queue_depth == 0) fail(peripheral, peripheral.service + " wants a queue_depth of 1 to 255");
}

}  // namespace

void fail_at(std::initializer_list<std::string_view> places, const std::string& text) {
  for (const std::string_view place : places) {
    if (!place.empty()) throw DescriptionError(std::string(place) + ": " + text);
  }
  throw DescriptionError(text);
}

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
      if (fitting.address != 0) addresses.take(fitting.address, peripheral);
      for (const uint16_t alias : peripheral.aliases) addresses.take(alias, peripheral);
      all.push_back(std::move(fitting));
    }
  }
  for (Fitting& fitting : all) {
    if (fitting.address == 0) fitting.address = addresses.next_free(*fitting.service, *fitting.description);
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
