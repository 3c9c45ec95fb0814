// Turns what a picture depends on into the bytes of a frame. Pure functions: the same picture and the same
// seed of the noise give the same bytes. An imager that sleeps has no frame; ask before.
#pragma once

#include <cstdint>
#include <vector>

#include "unit/things/picture.h"

namespace rovk::unit::picture {

// As the sensor gives it: a pixel is one number of 12 bits in two bytes, least significant first, row by
// row from the upper left. Colours lie as red green / green blue. `averaged` frames, at least 1, are one.
std::vector<uint8_t> raw_frame(const things::Picture& seen, uint64_t seed, unsigned averaged = 1);

// As the pipeline finishes it: a byte of brightness for each pixel, then a pair of colour differences for
// each two by two of them, blue's before red's; the form that is known as NV12, full range.
std::vector<uint8_t> finished_frame(const things::Picture& seen, uint64_t seed);

}  // namespace rovk::unit::picture
