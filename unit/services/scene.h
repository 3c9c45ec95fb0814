// What the imagers see: the sizes of the sensors, raw frames, and the numbers that describe a picture.
// They follow from the light around the unit, the exposure in force and how sharp the lens stands.
#pragma once

#include "unit/services/view.h"

namespace rovk::unit {

struct SensorSize {
  uint16_t height;
  uint16_t width;
  // Two bytes a pixel, whatever the sensor.
  uint32_t raw_bytes() const { return 2U * height * width; }
};

SensorSize sensor_size(bool thermal);
// Where the raw frame of a sensor is left in the imager's memory.
uint32_t raw_image_address(bool thermal);

struct Exposure {
  bool automatic = true;
  int64_t min_time = 20;     // microseconds
  int64_t max_time = 33333;  // microseconds; in manual mode the time itself
  int64_t min_gain = 1;      // times; in manual mode the gain itself
  int64_t max_gain = 64;     // times
  int64_t target = 1800;     // raw pixel value that the automatic mode aims at
};

// Raw pixel values have 12 bits.
inline constexpr int64_t raw_pixel_high = 4095;

struct ImageStatistics {
  int64_t average;
  int64_t minimum;
  int64_t maximum;
  int64_t focus_high;  // falls steeply on both sides of the sharp place
  int64_t focus_low;   // falls gently, to find the way from afar
};

ImageStatistics image_statistics(Host& host, const Exposure& exposure);

// The exposure that image control has set for the optical imager.
Exposure exposure_in_force(Host& host);
// Whether the imager delivers frames at all; image control can put it to sleep.
bool imager_awake(Host& host);

}  // namespace rovk::unit
