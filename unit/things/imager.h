// An image sensor with its pipeline: all its settings, whoever set them, and the picture's numbers that
// follow from them, from the lens in front and from the light.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "unit/things/curve.h"
#include "unit/things/lens.h"
#include "unit/things/surroundings.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

// A setting of the picture. Its limits are the same whoever sets it; how a service scales it is the
// service's matter.
enum class Setting : uint8_t {
  awake,  // delivers frames
  flip_horizontal,
  flip_vertical,
  brightness,
  contrast,
  sharpness,
  saturation,
  hue,
  wide_dynamic_range,
  wide_dynamic_range_strength,
  illuminant,
  balance_automatic,
  balance_auto_offset_red,
  balance_auto_offset_green,
  balance_auto_offset_blue,
  // 3 by 3 gains, row by row, then an offset for each row
  balance_gain_rr,
  balance_gain_rg,
  balance_gain_rb,
  balance_gain_gr,
  balance_gain_gg,
  balance_gain_gb,
  balance_gain_br,
  balance_gain_bg,
  balance_gain_bb,
  balance_offset_red,
  balance_offset_green,
  balance_offset_blue,
  exposure_automatic,
  frame_rate_millihertz,
  exposure_min_us,
  exposure_max_us,
  gain_min_percent,
  gain_max_percent,
  exposure_manual_us,
  gain_manual_percent,
  exposure_target,
  exposure_priority,
  motion_compensation,
  exposure_speed,
  flicker_correction,
  flicker_hertz,
  night_manual,
  night_sensitivity,
  night_detect_seconds,
  backlight_compensation,
  backlight_gain,
  gamma,
  black_clip,
  white_clip,
  window_blanking,
  spatial_noise_filter,
  temporal_noise_filter,
  loops,
  loop_balance,
  loop_tone,
  loop_exposure,
  count,
};

class Imager {
 public:
  struct Limits {
    int64_t low;
    int64_t high;
    int64_t initial;
  };
  struct Build {
    bool thermal = false;
    uint16_t height = 1080;
    uint16_t width = 1920;
    uint32_t raw_address = 0x1e00'0000;  // where a raw frame is left in the imager's memory
    int64_t load_milliwatts = 1'500;     // while it is awake
    std::map<Setting, Limits> limits;    // in place of the built-in ones
  };
  struct Statistics {
    int64_t average, minimum, maximum;  // raw pixel values of 12 bits
    int64_t focus_high;                 // falls steeply on both sides of the sharp place
    int64_t focus_low;                  // falls gently, to find the way from afar
  };
  // `lens` null: nothing in front of the sensor, always sharp.
  Imager(Timeline& timeline, const Build& build, Lens* lens, Surroundings& surroundings);

  const Build& build() const { return build_; }
  int64_t get(Setting setting) const;
  const Limits& limits(Setting setting) const;
  // Within the limits.
  void set(Setting setting, int64_t value);
  void reset();

  // The exposure in force now: what was set, or where the loop has come to on its way to the target.
  double exposure_us() const;
  double gain() const;
  Statistics statistics() const;

  Watchers<Setting> changed;

 private:
  const Build build_;
  Timeline& timeline_;
  Lens* lens_;
  Surroundings& surroundings_;
  std::map<Setting, int64_t> values_;
  Lag convergence_{0, Time{0}};
};

}  // namespace rovk::unit::things
