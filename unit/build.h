// Makes the things of a unit by its description, and wires them to one another.
#pragma once

#include "unit/profiles/description.h"
#include "unit/things/board.h"
#include "unit/things/timeline.h"

namespace rovk::unit {

// Throws DescriptionError when something is wired to what is not there.
void build(const UnitDescription& unit, Timeline& timeline, things::Body& body);

}  // namespace rovk::unit
