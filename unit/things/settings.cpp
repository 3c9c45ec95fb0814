#include "unit/things/settings.h"

#include <algorithm>
#include <iterator>

namespace rovk::unit::things {
namespace {

constexpr int64_t gain_one = 256;
constexpr int64_t gain_low = -8 * gain_one;
constexpr int64_t gain_high = 8 * gain_one - 1;
constexpr int64_t picture = 1 << 14;

struct Row {
  Setting setting;
  std::string_view name;
  Settings::Limits limits;
};

#define ROW(name, low, high, initial)            \
  {                                              \
    Setting::name, #name, { low, high, initial } \
  }
constexpr Row rows[] = {
    ROW(mode, mode_asleep, mode_test_picture, mode_live),
    ROW(flip_horizontal, 0, 1, 0),
    ROW(flip_vertical, 0, 1, 0),
    ROW(brightness, 0, 100, 50),
    ROW(contrast, 0, 100, 50),
    ROW(sharpness, 0, 100, 40),
    ROW(saturation, 0, 100, 55),
    ROW(hue, -180, 180, 0),
    ROW(wide_dynamic_range, 0, 1, 0),
    ROW(wide_dynamic_range_strength, 1, 100, 30),
    ROW(illuminant, 0, 4, 0),
    ROW(balance_manual, 0, 1, 0),
    ROW(balance_auto_offset_red, -512, 511, 0),
    ROW(balance_auto_offset_green, -512, 511, 0),
    ROW(balance_auto_offset_blue, -512, 511, 0),
    ROW(balance_gain_rr, gain_low, gain_high, gain_one),
    ROW(balance_gain_rg, gain_low, gain_high, 0),
    ROW(balance_gain_rb, gain_low, gain_high, 0),
    ROW(balance_gain_gr, gain_low, gain_high, 0),
    ROW(balance_gain_gg, gain_low, gain_high, gain_one),
    ROW(balance_gain_gb, gain_low, gain_high, 0),
    ROW(balance_gain_br, gain_low, gain_high, 0),
    ROW(balance_gain_bg, gain_low, gain_high, 0),
    ROW(balance_gain_bb, gain_low, gain_high, gain_one),
    // A row of the matrix tells one pair of limits for gains and offset.
    ROW(balance_offset_red, gain_low, gain_high, 0),
    ROW(balance_offset_green, gain_low, gain_high, 0),
    ROW(balance_offset_blue, gain_low, gain_high, 0),
    ROW(exposure_manual, 0, 1, 0),
    ROW(exposure_type, 0, 3, 0),
    ROW(iris_algorithm, 0, 2, 0),
    ROW(frame_rate_millihertz, 5'000, 60'000, 30'000),
    ROW(exposure_max_us, 20, 200'000, 33'333),
    ROW(exposure_min_us, 20, 200'000, 20),
    ROW(gain_max_percent, 0, 100, 80),
    ROW(gain_min_percent, 0, 100, 0),
    ROW(exposure_manual_us, 20, 200'000, 10'000),
    ROW(gain_manual_percent, 0, 100, 10),
    ROW(exposure_target, 64, 4'095, 1'800),
    ROW(exposure_max_target, 64, 4'095, 3'600),
    ROW(extended_gain, 0, 1, 0),
    ROW(saturation_rolloff, 0, 100, 50),
    ROW(exposure_priority, 0, 2, 0),
    ROW(motion_compensation, 0, 1, 0),
    ROW(exposure_speed, 0, 2, 1),
    ROW(light_control, 0, 1, 0),
    ROW(flicker_correction, 0, 1, 0),
    ROW(flicker_mains, 1, 2, 1),
    ROW(low_light_max_us, 20, 500'000, 66'666),
    ROW(low_light_target, 64, 4'095, 1'200),
    ROW(night_manual, 0, 1, 0),
    ROW(manual_day, 0, 1, 1),
    ROW(night_sensitivity, 0, 2, 1),
    ROW(filter_transition_ms, 100, 5'000, 500),
    ROW(night_below_millilux, 0, 100'000, 10'000),
    ROW(day_above_millilux, 0, 300'000, 30'000),
    ROW(night_detect_seconds, 1, 60, 5),
    ROW(night_hold_seconds, 0, 300, 10),
    ROW(day_filter, 0, 1, 0),
    ROW(night_filter, 0, 1, 1),
    ROW(backlight_compensation, 0, 2, 0),
    ROW(backlight_gain, 0, gain_high, gain_one),
    ROW(gamma, 64, 192, 115),  // 0.45 in 1/256
    ROW(black_clip, 0, 100, 0),
    ROW(white_clip, 0, 100, 100),
    ROW(color_difference, -128, 127, 0),
    ROW(focus_follows_warmth, 0, 1, 0),
    ROW(focus_follows_filter, 0, 1, 1),
    ROW(focus_manual, 0, 1, 0),
    ROW(focus_day_position, 0, 2'000, 1'000),
    ROW(focus_night_position, 0, 2'000, 1'050),
    ROW(focus_start_x, 0, picture, picture / 4),
    ROW(focus_start_y, 0, picture, picture / 4),
    ROW(focus_stop_x, 0, picture, picture / 4 * 3),
    ROW(focus_stop_y, 0, picture, picture / 4 * 3),
    ROW(window_blanking, 0, 1, 0),
    ROW(loops, 0, 1, 1),
    ROW(loop_balance, 0, 1, 1),
    ROW(loop_tone, 0, 1, 1),
    ROW(spatial_noise_filter, 0, 1, 1),
    ROW(temporal_noise_filter, 0, 1, 1),
    ROW(loop_wide_dynamic_range, 0, 1, 1),
    ROW(loop_exposure, 0, 1, 1),
    ROW(loop_desaturation, 0, 1, 1),
    ROW(loop_bayer, 0, 1, 1),
};
#undef ROW

constexpr bool in_order() {
  if (std::size(rows) != static_cast<std::size_t>(Setting::count)) return false;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    if (static_cast<std::size_t>(rows[i].setting) != i) return false;
  }
  return true;
}
static_assert(in_order(), "a setting is found by its place");

}  // namespace

Settings::Settings(const Build& own) {
  for (std::size_t i = 0; i < count; ++i) limits_[i] = rows[i].limits;
  for (const auto& [setting, limits] : own) limits_[place(setting)] = limits;
  for (std::size_t i = 0; i < count; ++i) values_[i] = limits_[i].initial;
}

void Settings::set(Setting setting, int64_t value) {
  int64_t& kept = values_[place(setting)];
  value = std::clamp(value, limits(setting).low, limits(setting).high);
  if (kept == value) return;
  kept = value;
  changed.tell(setting);
}

void Settings::reset() {
  for (std::size_t i = 0; i < count; ++i) reset(static_cast<Setting>(i));
}

const Settings::Limits& built_in_limits(Setting setting) { return rows[static_cast<std::size_t>(setting)].limits; }

std::optional<Setting> find_setting(std::string_view name) {
  const auto found =
      std::find_if(std::begin(rows), std::end(rows), [name](const Row& row) { return row.name == name; });
  if (found == std::end(rows)) return std::nullopt;
  return found->setting;
}

}  // namespace rovk::unit::things
