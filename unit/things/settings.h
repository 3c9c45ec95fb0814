// The settings of an imager: one value each, whoever sets it and in whatever words. What follows from
// them is the matter of those who watch.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "unit/things/watchers.h"

namespace rovk::unit::things {

enum class Setting : uint8_t {
  mode,  // Picture modes, below
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

  balance_manual,
  balance_auto_offset_red,
  balance_auto_offset_green,
  balance_auto_offset_blue,
  // 3 by 3 gains in 1/256, row by row, then an offset for each row
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

  exposure_manual,
  exposure_type,
  iris_algorithm,
  frame_rate_millihertz,
  exposure_max_us,
  exposure_min_us,
  gain_max_percent,
  gain_min_percent,
  exposure_manual_us,
  gain_manual_percent,
  exposure_target,
  exposure_max_target,
  extended_gain,
  saturation_rolloff,
  exposure_priority,
  motion_compensation,
  exposure_speed,
  light_control,
  flicker_correction,
  flicker_mains,  // 1: 50 Hz, 2: 60 Hz
  low_light_max_us,
  low_light_target,

  night_manual,
  manual_day,  // where the filter stands in manual mode
  night_sensitivity,
  filter_transition_ms,
  night_below_millilux,
  day_above_millilux,
  night_detect_seconds,
  night_hold_seconds,
  day_filter,  // where the filter stands by day in automatic mode; 0: in front of the sensor
  night_filter,

  backlight_compensation,
  backlight_gain,
  gamma,
  black_clip,
  white_clip,
  color_difference,

  focus_follows_warmth,
  focus_follows_filter,
  focus_manual,
  focus_day_position,
  focus_night_position,
  // in 1/16384 of the picture
  focus_start_x,
  focus_start_y,
  focus_stop_x,
  focus_stop_y,

  window_blanking,
  loops,  // above all single ones
  loop_balance,
  loop_tone,
  spatial_noise_filter,
  temporal_noise_filter,
  loop_wide_dynamic_range,
  loop_exposure,
  loop_desaturation,
  loop_bayer,
  count,
};

inline constexpr int64_t mode_asleep = 0;  // delivers no frames
inline constexpr int64_t mode_live = 1;
inline constexpr int64_t mode_test_picture = 2;

class Settings {
 public:
  struct Limits {
    int64_t low;
    int64_t high;
    int64_t initial;
  };
  using Build = std::map<Setting, Limits>;  // in place of the built-in ones

  explicit Settings(const Build& own);

  int64_t get(Setting setting) const { return values_[place(setting)]; }
  bool on(Setting setting) const { return get(setting) != 0; }
  const Limits& limits(Setting setting) const { return limits_[place(setting)]; }
  // Within the limits.
  void set(Setting setting, int64_t value);
  void reset(Setting setting) { set(setting, limits(setting).initial); }
  void reset();

  Watchers<Setting> changed;  // to another value

 private:
  static constexpr std::size_t count = static_cast<std::size_t>(Setting::count);
  static std::size_t place(Setting setting) { return static_cast<std::size_t>(setting); }

  std::array<Limits, count> limits_;
  std::array<int64_t, count> values_;
};

const Settings::Limits& built_in_limits(Setting setting);
// As descriptions spell it, such as "exposure_max_us". Empty: no such setting.
std::optional<Setting> find_setting(std::string_view name);

}  // namespace rovk::unit::things
