// The EEPROM of a board, whichever services show it.
#pragma once

#include "unit/services/view.h"
#include "unit/things/eeprom.h"

namespace rovk::unit {

// That of the board at a location (ROVK_GPI_LOCATION_*). Null: there is none.
things::Eeprom* find_eeprom(const things::Body& body, uint8_t location);

}  // namespace rovk::unit
