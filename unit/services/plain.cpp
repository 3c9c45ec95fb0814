// Services that are nothing but values kept: what each holds, within which limits, and what it starts
// with. Flags need a row only where their field is not called `enable`.
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// 0: day, the filter that blocks infrared is in place; 1: night.
constexpr Register day_night_0011[] = {
    {"state", "state", 0, 1, 0},
};

// Levels in percent.
constexpr Register imaging_001a[] = {
    {"contrast", "contrast", 0, 100, 50},
    {"sharpness", "sharpness", 0, 100, 40},
    {"brightness", "brightness", 0, 100, 50},
    {"saturation", "saturation", 0, 100, 55},
    {"wide_dynamic_range_strength", "strength", 1, 100, 30},
};

// Gains in 1/256, so that 256 is one; the diagonal of the matrix starts at one. One pair of limits
// holds for gains and offset of a row. Values of the mode not in force are kept for later.
constexpr Register white_balance_001b[] = {
    {"auto_red_offset", "offset", -512, 511, 0},
    {"auto_green_offset", "offset", -512, 511, 0},
    {"auto_blue_offset", "offset", -512, 511, 0},
    {"manual_red_gain_and_offset", "red", -2'048, 2'047, 256},
    {"manual_red_gain_and_offset", "green", -2'048, 2'047, 0},
    {"manual_red_gain_and_offset", "blue", -2'048, 2'047, 0},
    {"manual_red_gain_and_offset", "offset", -2'048, 2'047, 0},
    {"manual_green_gain_and_offset", "red", -2'048, 2'047, 0},
    {"manual_green_gain_and_offset", "green", -2'048, 2'047, 256},
    {"manual_green_gain_and_offset", "blue", -2'048, 2'047, 0},
    {"manual_green_gain_and_offset", "offset", -2'048, 2'047, 0},
    {"manual_blue_gain_and_offset", "red", -2'048, 2'047, 0},
    {"manual_blue_gain_and_offset", "green", -2'048, 2'047, 0},
    {"manual_blue_gain_and_offset", "blue", -2'048, 2'047, 256},
    {"manual_blue_gain_and_offset", "offset", -2'048, 2'047, 0},
};

// The frame rate starts at 30 Hz; exposure lasts from 1/50000 s to 1/5 s, the slowest frame.
constexpr Register exposure_001c[] = {
    {"frame_rate", "frame_rate_millihertz", 5'000, 60'000, 30'000},
    {"auto_min_exposure_time", "exposure_time_microseconds", 20, 200'000, 20},
    {"auto_max_exposure_time", "exposure_time_microseconds", 20, 200'000, 33'333},
    {"auto_min_gain", "gain_percentage", 0, 100, 0},
    {"auto_max_gain", "gain_percentage", 0, 100, 80},
    {"manual_exposure_time", "exposure_time_microseconds", 20, 200'000, 10'000},
    {"manual_gain", "gain_percentage", 0, 100, 10},
};

constexpr Register on_at_start[] = {
    {"enable", "enable", 0, 1, 1},
};

constexpr Register imaging_control_loops_0022[] = {
    {"all_loops_enable", "enable", 0, 1, 1},
};

struct Row {
  std::string_view service;
  std::span<const Register> registers;
};

constexpr Row rows[] = {
    {"day_night_0011", day_night_0011},
    {"imaging_001a", imaging_001a},
    {"white_balance_001b", white_balance_001b},
    {"exposure_001c", exposure_001c},
    {"imaging_control_loops_0022", imaging_control_loops_0022},
    {"flicker_correction_002f", {}},
    {"spatial_noise_filter_0030", on_at_start},
    {"temporal_noise_filter_0031", on_at_start},
    // Present on the unit, but without commands of their own.
    {"eeprom_0003", {}},
    {"angular_actuator_000e", {}},
};

}  // namespace

bool is_plain(std::string_view service) {
  for (const Row& row : rows) {
    if (row.service == service) return true;
  }
  return false;
}

std::span<const Register> plain_registers(std::string_view service) {
  for (const Row& row : rows) {
    if (row.service == service) return row.registers;
  }
  return {};
}

std::unique_ptr<View> make_plain(const Setup& setup) {
  return std::make_unique<View>(setup, plain_registers(setup.service.name));
}

}  // namespace rovk::unit
