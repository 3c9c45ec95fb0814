// The picture that a frame shows: the one place that file dumps get their pixels from.
#pragma once

#include <cstdint>
#include <vector>

#include "unit/services/view.h"

namespace rovk::unit {

// How a frame is taken.
struct FrameOrder {
  bool bayer = false;   // as the sensor gives it, 16 bits a pixel; else finished, 12 bits a pixel on average
  unsigned frames = 1;  // how many are averaged
};

std::vector<uint8_t> take_frame(Host& host, const FrameOrder& order);

}  // namespace rovk::unit
