// An image sensor with its pipeline: the exposure in force, the balance of colours, and the numbers of the
// picture, as they follow from its settings, from the lens in front of it and from the light.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "unit/things/curve.h"
#include "unit/things/day_night.h"
#include "unit/things/focus.h"
#include "unit/things/lens.h"
#include "unit/things/settings.h"
#include "unit/things/surroundings.h"
#include "unit/things/timeline.h"

namespace rovk::unit::things {

class Imager {
 public:
  struct Build {
    bool thermal = false;  // sees warmth: light, filter and illuminators mean nothing to it
    uint16_t height = 1080;
    uint16_t width = 1920;
    uint32_t raw_address = 0x1e00'0000;  // where a raw frame is left in the imager's memory
    int64_t load_milliwatts = 400;       // while it is awake
    unsigned triangles = 8;              // that can be drawn over its picture
    Settings::Build settings;
  };
  struct Statistics {
    int64_t average, minimum, maximum;  // raw pixel values of 12 bits
    int64_t focus_high;                 // falls steeply on both sides of the sharp place
    int64_t focus_low;                  // falls gently, to find the way from afar
  };
  // From what the sensor sees of red, green and blue to what the picture shows: a matrix, then offsets in
  // raw pixel values.
  struct Balance {
    std::array<std::array<double, 3>, 3> gains;
    std::array<double, 3> offsets;
  };

  // `lens` null: nothing in front of the sensor, always sharp and wide open.
  Imager(Timeline& timeline, const Build& build, Lens* lens, TemperatureSensor* warmth, Surroundings& surroundings);

  const Build& build() const { return build_; }
  Lens* lens() const { return lens_; }
  Settings& settings() { return settings_; }
  const Settings& settings() const { return settings_; }
  DayNight& day_night() { return day_night_; }
  FocusControl& focus() { return focus_; }

  bool awake() const { return alive_ && settings_.get(Setting::mode) != mode_asleep; }
  void supply(bool alive);
  int64_t load_milliwatts() const { return awake() ? build_.load_milliwatts : 0; }
  // Two bytes a pixel.
  uint32_t raw_bytes() const { return 2U * build_.height * build_.width; }

  // What was set, or where the loop has come to on its way to its target.
  double exposure_us() const { return split().first; }
  double gain() const { return split().second; }  // factor
  struct Tint {
    double red, blue;  // against green
  };
  Tint tint() const;  // of the light on the scene
  Balance balance() const;
  // What falls on the sensor through lens and filter now, in millilux.
  double light() const;
  // Raw pixel value of the scene's average above black, before the balance and without an upper end.
  double signal() const;
  Statistics statistics() const;

  // By hand from now on, so that this square of a chart comes out right: black sets the offsets, gray the
  // gains.
  void balance_on_black();
  void balance_on_gray(bool offsets_as_well);

  static constexpr int64_t brightest = 4'095;
  static constexpr int64_t black_level = 64;
  // A gain of 100 percent is 48 dB.
  static double gain_factor(int64_t percent);

 private:
  bool loop(Setting single) const;
  double longest_us() const;
  // Time and gain of a product of both.
  std::pair<double, double> split() const;
  double wanted_product() const;
  void follow(Setting changed);
  void aim();

  const Build build_;
  Timeline& timeline_;
  Lens* lens_;
  Surroundings& surroundings_;
  Settings settings_;
  DayNight day_night_;
  FocusControl focus_;
  bool alive_ = true;
  Lag product_{0, Time{0}};                       // logarithm of exposure time times gain
  std::array<double, 3> auto_gains_ = {1, 1, 1};  // as the balance loop has left them
};

}  // namespace rovk::unit::things
