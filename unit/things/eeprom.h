// The EEPROM of a board. The bytes and their layout of partitions and tags stand in EepromMemory; here is
// what happens to it over time, and what it starts with.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

struct EepromBuild {
  uint32_t size = 16'384;
  struct Partition {
    uint16_t id;  // ROVK_EPT_PARTITION_TYPE_*
    bool tagged;
    uint32_t size;
  };
  struct Tag {
    uint16_t partition_id;
    uint16_t id;
    std::string data;
  };
  // Empty: the factory's layout for a processor board or an imager board, by the board's location.
  std::vector<Partition> partitions;
  std::vector<Tag> tags;             // in place of the factory's
  std::optional<std::string> image;  // path of a file with the bytes, in place of all that
  int64_t partition_format_ms = 100;
  int64_t format_ms = 500;
};

}  // namespace rovk::unit::things
