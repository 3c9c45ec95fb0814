// What the factory writes into the EEPROM of a board.
#pragma once

#include <cstdint>
#include <vector>

#include "unit/things/eeprom_memory.h"

namespace rovk::unit {

struct EepromContents {
  std::vector<things::PartitionPlan> partitions;
  std::vector<things::TagPlan> tags;
};

// `location` is one of ROVK_GPI_LOCATION_*.
EepromContents factory_eeprom(uint8_t location);
// Bytes of the memory that the factory puts on such a board; that much has room for the contents.
uint32_t factory_eeprom_size(uint8_t location);

}  // namespace rovk::unit
