// What the unit is fitted with: each peripheral, its address, its board and the physical devices
// behind its indexes.
#pragma once

#include <cstdint>
#include <vector>

#include "catalogue/catalogue.h"

namespace rovk::unit {

struct Fitting {
  const catalogue::Service* service;
  uint16_t address;
  uint8_t location;               // ROVK_GPI_LOCATION_*
  std::vector<uint32_t> devices;  // ROVK_PERIPHERAL_DEVICE_ID_*, one for each index
};

// All peripherals, the router first, the others by service id, then by board.
std::vector<Fitting> fittings();

}  // namespace rovk::unit
