// The protocol's constants by their names. A library that does not ask for them does not carry them.
#pragma once

#include <cstdint>
#include <span>

namespace rovk::catalogue {

struct Constant {
  const char* name;  // as in "ROVK_GPI_LOCATION_IMAGER_BOARD"
  uint16_t value;
};

std::span<const Constant> constants();

}  // namespace rovk::catalogue
