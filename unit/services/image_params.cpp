// Rows in the order of their ids. Levels are percent, times microseconds or seconds, colour gains Q8,
// corners of regions Q14 parts of the picture.
#include "unit/services/image_params.h"

#include <rovk/constants.h>

#include <algorithm>

namespace rovk::unit {
namespace {

constexpr uint8_t gain_q = 8;
constexpr int32_t gain_one = 1 << gain_q;
constexpr int32_t gain_low = -8 * gain_one;
constexpr int32_t gain_high = 8 * gain_one - 1;
constexpr int32_t offset_low = -512;
constexpr int32_t offset_high = 511;
constexpr uint8_t region_q = 14;
constexpr int32_t region_high = 1 << region_q;

// clang-format off
constexpr ImageParam rows[] = {
    {GENERAL_MODE,             general_mode_live, general_mode_asleep, general_mode_test_picture, 0},
    {GENERAL_FLIP_HORZ,        0, 0, 1, 0},
    {GENERAL_FLIP_VERT,        0, 0, 1, 0},
    {GENERAL_BRIGHTNESS,       50, 0, 100, 0},
    {GENERAL_CONTRAST,         50, 0, 100, 0},
    {GENERAL_SHARPNESS,        40, 0, 100, 0},
    {GENERAL_SATURATION,       55, 0, 100, 0},
    {GENERAL_HUE,              0, -180, 180, 0},
    {GENERAL_WDR,              0, 0, 100, 0},
    {GENERAL_ILLUMINANT,       0, 0, 4, 0},

    {WB_AUTO_MODE,             white_balance_automatic, white_balance_manual, white_balance_automatic, 0},
    {WB_AUTO_OFFSET_R,         0, offset_low, offset_high, 0},
    {WB_AUTO_OFFSET_G,         0, offset_low, offset_high, 0},
    {WB_AUTO_OFFSET_B,         0, offset_low, offset_high, 0},
    {WB_MANUAL_GAIN_RR,        gain_one, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_RG,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_RB,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_GR,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_GG,        gain_one, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_GB,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_BR,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_BG,        0, gain_low, gain_high, gain_q},
    {WB_MANUAL_GAIN_BB,        gain_one, gain_low, gain_high, gain_q},
    {WB_MANUAL_OFFSET_R,       0, offset_low, offset_high, 0},
    {WB_MANUAL_OFFSET_G,       0, offset_low, offset_high, 0},
    {WB_MANUAL_OFFSET_B,       0, offset_low, offset_high, 0},

    {EXP_MODE,                 exposure_mode_automatic, exposure_mode_automatic, exposure_mode_manual, 0},
    {EXP_TYPE,                 0, 0, 3, 0},
    {EXP_IRIS_ALG,             0, 0, 2, 0},
    {EXP_REQ_FRAMERATE,        30 << 8, 1 << 8, 60 << 8, 8},

    {EXP_MAX_EXPOSURE,         33333, 20, 200000, 0},
    {EXP_MIN_EXPOSURE,         20, 20, 200000, 0},
    {EXP_MAX_GAIN,             64, 1, 256, 0},
    {EXP_MIN_GAIN,             1, 1, 256, 0},
    {EXP_AVG_TARGET,           1800, 64, 4095, 0},
    {EXP_MAX_TARGET,           3600, 64, 4095, 0},
    {EXP_EXTEND_GAIN,          0, 0, 1, 0},
    {EXP_SATURATION_ROLLOFF,   50, 0, 100, 0},

    {EXP_PRIORITY_TYPE,        0, 0, 2, 0},
    {EXP_MOTION_COMP,          0, 0, 1, 0},
    {EXP_LOOP_SPEED,           ROVK_EXPOSURE_001C_CONVERGE_RATE_MEDIUM, ROVK_EXPOSURE_001C_CONVERGE_RATE_SLOW,
                               ROVK_EXPOSURE_001C_CONVERGE_RATE_FAST, 0},
    {EXP_LIGHT_CONTROL,        0, 0, 1, 0},

    {EXP_FLICKER_CORRECTION,   0, 0, 2, 0},

    {EXP_LL_MAX_EXPOSURE,      66666, 20, 500000, 0},
    {EXP_LL_AVG_TARGET,        1200, 64, 4095, 0},

    {EXP_DN_MODE,              day_night_automatic, day_night_automatic, day_night_night, 0},
    {EXP_DN_SENSITIVITY,       1, 0, 2, 0},
    {EXP_DN_TRANSITION_TIME,   500, 100, 5000, 0},
    {EXP_DN_DAY_TO_NIGHT,      10000, 0, 100000, 0},
    {EXP_DN_NIGHT_TO_DAY,      30000, 0, 300000, 0},
    {EXP_DN_DETECT_TIME,       5, 1, 60, 0},
    {EXP_DN_HOLD_TIME,         10, 0, 300, 0},
    {EXP_DN_FILTER_SETTING,    filter_day, filter_day, filter_night, 0},
    {EXP_DN_DAY_FILTER,        filter_day, filter_day, filter_night, 0},
    {EXP_DN_NIGHT_FILTER,      filter_night, filter_day, filter_night, 0},

    {BKLIGHT_COMP_MODE,        0, 0, 2, 0},
    {BKLIGHT_COMP_GAIN,        gain_one, 0, gain_high, gain_q},

    {TONE_GAMMA,               115, 64, 192, 8},  // 0.45 in Q8
    {TONE_BLACK_CLIP,          0, 0, 100, 0},
    {TONE_WHITE_CLIP,          100, 0, 100, 0},
    {TONE_YCC_ADJ,             0, -128, 127, 0},

    {FOCUS_TEMP_REFOCUS,       0, 0, 1, 0},
    {FOCUS_D_N_REFOCUS,        1, 0, 1, 0},
    {FOCUS_MODE_AUTO,          1, 0, 1, 0},
    {FOCUS_DAY_POSITION,       1000, 0, 2000, 0},
    {FOCUS_NIGHT_POSITION,     1050, 0, 2000, 0},
    {FOCUS_RGN_START_X,        region_high / 4, 0, region_high, region_q},
    {FOCUS_RGN_START_Y,        region_high / 4, 0, region_high, region_q},
    {FOCUS_RGN_STOP_X,         region_high / 4 * 3, 0, region_high, region_q},
    {FOCUS_RGN_STOP_Y,         region_high / 4 * 3, 0, region_high, region_q},

    {ZOOM_POSITION,            300, 0, 3000, 0},

    {WINDOW_BLANKING,          0, 0, 1, 0},

    {LOOP_ENABLE_CTRL,         1, 0, 1, 0},
    {LOOP_ENABLE_WB,           1, 0, 1, 0},
    {LOOP_ENABLE_TONE,         1, 0, 1, 0},
    {LOOP_ENABLE_NOISE_S,      1, 0, 1, 0},
    {LOOP_ENABLE_NOISE_T,      1, 0, 1, 0},
    {LOOP_ENABLE_WDR,          1, 0, 1, 0},
    {LOOP_ENABLE_EXP,          1, 0, 1, 0},
    {LOOP_ENABLE_DESAT,        1, 0, 1, 0},
    {LOOP_ENABLE_BAYER,        1, 0, 1, 0},
};
// clang-format on

constexpr bool in_order() {
  for (std::size_t i = 1; i < std::size(rows); ++i) {
    if (rows[i].id <= rows[i - 1].id) return false;
  }
  return true;
}
static_assert(in_order(), "the search wants rows by rising id");

}  // namespace

std::span<const ImageParam> image_params() { return rows; }

std::optional<std::size_t> find_image_param(uint16_t id) {
  const auto found = std::lower_bound(std::begin(rows), std::end(rows), id,
                                      [](const ImageParam& row, uint16_t wanted) { return row.id < wanted; });
  if (found == std::end(rows) || found->id != id) return std::nullopt;
  return static_cast<std::size_t>(found - std::begin(rows));
}

}  // namespace rovk::unit
