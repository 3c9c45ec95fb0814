// Lets the inputs by which the outside acts on the unit act on its things.
#pragma once

#include "unit/things/board.h"
#include "unit/world.h"

namespace rovk::unit {

// An input's index counts the things of its kind over all boards.
void bind_inputs(things::Body& body, World& outside);

}  // namespace rovk::unit
