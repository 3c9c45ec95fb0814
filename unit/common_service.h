// What every peripheral answers, whatever it is: identity, health, reset, echo.
#pragma once

#include <memory>

#include "unit/model.h"

namespace rovk::unit {

// A model at its address, with what is common to all peripherals.
struct Peripheral {
  uint16_t address;
  std::unique_ptr<Model> model;
  uint16_t fault = 0;      // 0: none
  unsigned under_way = 0;  // commands accepted whose answers are still to come
  unsigned queue_depth() const { return 16; }
};

// Answers a common command but `reset`, which concerns the unit. Throws Refusal.
void run_common(Peripheral& peripheral, Call& call);

// Whether a common command changes the peripheral, so that a reservation keeps others from it.
bool changes_peripheral(const catalogue::Command& common_command);

}  // namespace rovk::unit
