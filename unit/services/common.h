// What every peripheral answers, whatever it is: identity, health, reset, echo.
#pragma once

#include "unit/peripheral.h"

namespace rovk::unit {

// Answers a common command but `reset`, which concerns the unit. Throws Refusal.
void run_common(Peripheral& peripheral, Call& call);

// Whether a common command changes the peripheral, so that a reservation keeps others from it.
bool changes_peripheral(const catalogue::Command& common_command);

}  // namespace rovk::unit
