// A frame has the sensor's dimensions and is evenly grey: nothing renders the scene yet.
#include "unit/services/frames.h"

#include "unit/services/scene.h"

namespace rovk::unit {

std::vector<uint8_t> take_frame(Host&, const FrameOrder& order) {
  constexpr uint8_t grey = 0x80;
  const uint32_t raw = sensor_size(false).raw_bytes();
  return std::vector<uint8_t>(order.bayer ? raw : raw / 4 * 3, grey);
}

}  // namespace rovk::unit
