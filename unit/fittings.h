// Which peripheral stands at which address, worked out from a description and checked.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "unit/profiles/description.h"

namespace rovk::unit {

// A description of which no unit can be made. The text says what is wrong with it.
class DescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws one that begins with the first of these places ("FILE:LINE") that is known.
[[noreturn]] void fail_at(std::initializer_list<std::string_view> places, const std::string& text);

struct Fitting {
  const catalogue::Service* service;
  uint16_t address;
  uint8_t location;                          // ROVK_GPI_LOCATION_*
  std::vector<uint32_t> devices;             // ROVK_PERIPHERAL_DEVICE_ID_*, one for each index
  std::size_t board;                         // place in the description
  const PeripheralDescription* description;  // null for the router
};

// The router first, then by address. Refers to the description.
std::vector<Fitting> fittings(const UnitDescription& unit = everything());

}  // namespace rovk::unit
