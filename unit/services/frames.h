// Frames of an imager, drawn when they are asked for.
#pragma once

#include <cstdint>
#include <vector>

#include "unit/services/view.h"
#include "unit/things/imager.h"

namespace rovk::unit {

// How a frame is taken.
struct FrameOrder {
  bool raw = false;       // as the sensor gives it; else finished
  unsigned averaged = 1;  // how many raw ones are averaged
};

// What an imager of the unit, which has to be awake, sees now.
std::vector<uint8_t> take_frame(Host& host, const things::Imager& imager, const FrameOrder& order);

// What dump_raw_image leaves: a raw frame in the unit's files, under the name of its address. Where the
// unit has no files nothing is left. Refuses: no_resources.
void dump_raw_image(Call& call, Host& host, const things::Imager& imager);

}  // namespace rovk::unit
