// A frame has the sensor's dimensions and is evenly grey: nothing renders the scene yet.
#include "unit/services/frames.h"

#include "unit/things/imager.h"

namespace rovk::unit {

std::vector<uint8_t> take_frame(Host& host, const FrameOrder& order) {
  constexpr uint8_t grey = 0x80;
  const auto* const imager = host.body().find<things::Imager>();
  const uint32_t raw = imager ? imager->raw_bytes() : 0;
  return std::vector<uint8_t>(order.bayer ? raw : raw / 4 * 3, grey);
}

}  // namespace rovk::unit
