// All that a picture depends on, gathered at one moment for whoever renders it.
#pragma once

#include <array>
#include <vector>

#include "unit/things/board.h"
#include "unit/things/head.h"
#include "unit/things/imager.h"
#include "unit/things/overlay.h"

namespace rovk::unit::things {

struct Picture {
  struct Mark {
    uint8_t red, green, blue, alpha;
    std::array<double, 6> corners;  // x and y of each, 0 to 1 from the upper left; may lie outside
  };

  uint16_t width, height;  // of the sensor
  bool awake;              // otherwise there is no picture
  bool test_picture;       // a pattern of the pipeline's own, whatever the sensor sees
  bool blanked;
  bool thermal;

  // Where it looks and how far it sees; without a head straight ahead.
  double pan_degrees, tilt_degrees;
  double magnification;
  double angle_of_view_degrees;  // horizontal

  double blur_steps;  // of the focus motor off the sharp place, signed; 0 is sharp
  double exposure_us;
  double gain;    // factor; noise grows with it
  double signal;  // raw pixel value of the scene's average above black, before the balance; may exceed 4095
  Imager::Balance balance;
  double tint_red, tint_blue;  // of the light on the scene, against green; before the balance
  bool flip_horizontal, flip_vertical;
  bool day;  // the filter is in place: colours; otherwise infrared as well, and gray
  double daylight_millilux;
  double infrared_millilux;                          // from illuminators, on the scene
  double aperture;                                   // 0 to 1
  bool spatial_noise_filter, temporal_noise_filter;  // each halves the noise

  // Levels of the picture in percent, hue in degrees, gamma as an exponent.
  int64_t brightness, contrast, sharpness, saturation, hue;
  int64_t wide_dynamic_range;  // 0: off
  int64_t black_clip, white_clip;
  double gamma;

  std::vector<Mark> triangles;  // those that are shown
};

// Of the n-th imager over all boards, which has to be there.
Picture picture_of(const Body& body, unsigned imager);

}  // namespace rovk::unit::things
