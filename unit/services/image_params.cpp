// Rows in the order of their ids. Levels are percent, as gains of the exposure are, times microseconds,
// milliseconds or seconds, the frame rate millihertz, colour gains Q8, corners of regions Q14 parts of the
// picture: the numbers of the services that have a command for each.
#include "unit/services/image_params.h"

#include <rovk/constants.h>

#include <algorithm>
#include <iterator>

namespace rovk::unit {
namespace {

using things::Setting;

constexpr uint8_t gain_q = 8;

constexpr int64_t night_automatic = 0;
constexpr int64_t night_day = 1;
constexpr int64_t night_night = 2;

constexpr ImageParam plain(uint16_t id, Setting setting, uint8_t q_bits = 0) {
  return {id, ParamKind::plain, setting, setting, q_bits};
}
constexpr ImageParam inverted(uint16_t id, Setting setting) { return {id, ParamKind::inverted, setting, setting, 0}; }
constexpr ImageParam level(uint16_t id, Setting flag, Setting how_much) {
  return {id, ParamKind::level, flag, how_much, 0};
}
constexpr ImageParam special(uint16_t id, ParamKind kind) { return {id, kind, Setting::count, Setting::count, 0}; }

constexpr ImageParam rows[] = {
    plain(GENERAL_MODE, Setting::mode),
    plain(GENERAL_FLIP_HORZ, Setting::flip_horizontal),
    plain(GENERAL_FLIP_VERT, Setting::flip_vertical),
    plain(GENERAL_BRIGHTNESS, Setting::brightness),
    plain(GENERAL_CONTRAST, Setting::contrast),
    plain(GENERAL_SHARPNESS, Setting::sharpness),
    plain(GENERAL_SATURATION, Setting::saturation),
    plain(GENERAL_HUE, Setting::hue),
    level(GENERAL_WDR, Setting::wide_dynamic_range, Setting::wide_dynamic_range_strength),
    plain(GENERAL_ILLUMINANT, Setting::illuminant),

    inverted(WB_AUTO_MODE, Setting::balance_manual),
    plain(WB_AUTO_OFFSET_R, Setting::balance_auto_offset_red),
    plain(WB_AUTO_OFFSET_G, Setting::balance_auto_offset_green),
    plain(WB_AUTO_OFFSET_B, Setting::balance_auto_offset_blue),
    plain(WB_MANUAL_GAIN_RR, Setting::balance_gain_rr, gain_q),
    plain(WB_MANUAL_GAIN_RG, Setting::balance_gain_rg, gain_q),
    plain(WB_MANUAL_GAIN_RB, Setting::balance_gain_rb, gain_q),
    plain(WB_MANUAL_GAIN_GR, Setting::balance_gain_gr, gain_q),
    plain(WB_MANUAL_GAIN_GG, Setting::balance_gain_gg, gain_q),
    plain(WB_MANUAL_GAIN_GB, Setting::balance_gain_gb, gain_q),
    plain(WB_MANUAL_GAIN_BR, Setting::balance_gain_br, gain_q),
    plain(WB_MANUAL_GAIN_BG, Setting::balance_gain_bg, gain_q),
    plain(WB_MANUAL_GAIN_BB, Setting::balance_gain_bb, gain_q),
    plain(WB_MANUAL_OFFSET_R, Setting::balance_offset_red),
    plain(WB_MANUAL_OFFSET_G, Setting::balance_offset_green),
    plain(WB_MANUAL_OFFSET_B, Setting::balance_offset_blue),

    plain(EXP_MODE, Setting::exposure_manual),
    plain(EXP_TYPE, Setting::exposure_type),
    plain(EXP_IRIS_ALG, Setting::iris_algorithm),
    plain(EXP_REQ_FRAMERATE, Setting::frame_rate_millihertz),

    plain(EXP_MAX_EXPOSURE, Setting::exposure_max_us),
    plain(EXP_MIN_EXPOSURE, Setting::exposure_min_us),
    plain(EXP_MAX_GAIN, Setting::gain_max_percent),
    plain(EXP_MIN_GAIN, Setting::gain_min_percent),
    plain(EXP_AVG_TARGET, Setting::exposure_target),
    plain(EXP_MAX_TARGET, Setting::exposure_max_target),
    plain(EXP_EXTEND_GAIN, Setting::extended_gain),
    plain(EXP_SATURATION_ROLLOFF, Setting::saturation_rolloff),

    plain(EXP_PRIORITY_TYPE, Setting::exposure_priority),
    plain(EXP_MOTION_COMP, Setting::motion_compensation),
    plain(EXP_LOOP_SPEED, Setting::exposure_speed),
    plain(EXP_LIGHT_CONTROL, Setting::light_control),

    level(EXP_FLICKER_CORRECTION, Setting::flicker_correction, Setting::flicker_mains),

    plain(EXP_LL_MAX_EXPOSURE, Setting::low_light_max_us),
    plain(EXP_LL_AVG_TARGET, Setting::low_light_target),

    special(EXP_DN_MODE, ParamKind::night_mode),
    plain(EXP_DN_SENSITIVITY, Setting::night_sensitivity),
    plain(EXP_DN_TRANSITION_TIME, Setting::filter_transition_ms),
    plain(EXP_DN_DAY_TO_NIGHT, Setting::night_below_millilux),
    plain(EXP_DN_NIGHT_TO_DAY, Setting::day_above_millilux),
    plain(EXP_DN_DETECT_TIME, Setting::night_detect_seconds),
    plain(EXP_DN_HOLD_TIME, Setting::night_hold_seconds),
    special(EXP_DN_FILTER_SETTING, ParamKind::filter_place),
    plain(EXP_DN_DAY_FILTER, Setting::day_filter),
    plain(EXP_DN_NIGHT_FILTER, Setting::night_filter),

    plain(BKLIGHT_COMP_MODE, Setting::backlight_compensation),
    plain(BKLIGHT_COMP_GAIN, Setting::backlight_gain, gain_q),

    plain(TONE_GAMMA, Setting::gamma, gain_q),
    plain(TONE_BLACK_CLIP, Setting::black_clip),
    plain(TONE_WHITE_CLIP, Setting::white_clip),
    plain(TONE_YCC_ADJ, Setting::color_difference),

    plain(FOCUS_TEMP_REFOCUS, Setting::focus_follows_warmth),
    plain(FOCUS_D_N_REFOCUS, Setting::focus_follows_filter),
    inverted(FOCUS_MODE_AUTO, Setting::focus_manual),
    plain(FOCUS_DAY_POSITION, Setting::focus_day_position),
    plain(FOCUS_NIGHT_POSITION, Setting::focus_night_position),
    plain(FOCUS_RGN_START_X, Setting::focus_start_x, focus_region_q),
    plain(FOCUS_RGN_START_Y, Setting::focus_start_y, focus_region_q),
    plain(FOCUS_RGN_STOP_X, Setting::focus_stop_x, focus_region_q),
    plain(FOCUS_RGN_STOP_Y, Setting::focus_stop_y, focus_region_q),

    special(ZOOM_POSITION, ParamKind::zoom_place),

    plain(WINDOW_BLANKING, Setting::window_blanking),

    plain(LOOP_ENABLE_CTRL, Setting::loops),
    plain(LOOP_ENABLE_WB, Setting::loop_balance),
    plain(LOOP_ENABLE_TONE, Setting::loop_tone),
    plain(LOOP_ENABLE_NOISE_S, Setting::spatial_noise_filter),
    plain(LOOP_ENABLE_NOISE_T, Setting::temporal_noise_filter),
    plain(LOOP_ENABLE_WDR, Setting::loop_wide_dynamic_range),
    plain(LOOP_ENABLE_EXP, Setting::loop_exposure),
    plain(LOOP_ENABLE_DESAT, Setting::loop_desaturation),
    plain(LOOP_ENABLE_BAYER, Setting::loop_bayer),
};

constexpr bool in_order() {
  for (std::size_t i = 1; i < std::size(rows); ++i) {
    if (rows[i].id <= rows[i - 1].id) return false;
  }
  return true;
}
static_assert(in_order(), "the search wants rows by rising id");

}  // namespace

const ImageParam* find_image_param(uint16_t id) {
  const auto found = std::lower_bound(std::begin(rows), std::end(rows), id,
                                      [](const ImageParam& row, uint16_t wanted) { return row.id < wanted; });
  return found == std::end(rows) || found->id != id ? nullptr : found;
}

ParamValues image_param(const ImageParam& param, things::Imager& imager) {
  const things::Settings& settings = imager.settings();
  switch (param.kind) {
    case ParamKind::plain: {
      const auto [low, high, initial] = settings.limits(param.setting);
      return {settings.get(param.setting), initial, low, high};
    }
    case ParamKind::inverted:
      return {settings.get(param.setting) == 0, settings.limits(param.setting).initial == 0, 0, 1};
    case ParamKind::level: {
      const auto [low, high, initial] = settings.limits(param.level);
      return {settings.on(param.setting) ? settings.get(param.level) : 0,
              settings.limits(param.setting).initial ? initial : 0, 0, high};
    }
    case ParamKind::night_mode: {
      const int64_t by_hand = settings.on(things::Setting::manual_day) ? night_day : night_night;
      return {settings.on(things::Setting::night_manual) ? by_hand : night_automatic, night_automatic, night_automatic,
              night_night};
    }
    case ParamKind::filter_place:
      return {!imager.day_night().filter_in_place(), 0, 0, 1};
    case ParamKind::zoom_place: {
      const things::Lens* const lens = imager.lens();
      if (!lens || !lens->build().has_zoom) return {0, 0, 0, 0};
      return {imager.lens()->zoom().position(), lens->build().zoom.start, 0, lens->build().zoom.high};
    }
  }
  return {};
}

void set_image_param(const ImageParam& param, things::Imager& imager, int64_t value) {
  things::Settings& settings = imager.settings();
  switch (param.kind) {
    case ParamKind::plain:
      return settings.set(param.setting, value);
    case ParamKind::inverted:
      return settings.set(param.setting, value == 0);
    case ParamKind::level:
      if (value != 0) settings.set(param.level, value);
      return settings.set(param.setting, value != 0);
    case ParamKind::night_mode:
      if (value != night_automatic) return imager.day_night().put_filter(value == night_day);
      return settings.set(things::Setting::night_manual, 0);
    case ParamKind::filter_place:
      return imager.day_night().put_filter(value == 0);
    case ParamKind::zoom_place:
      if (imager.lens() && imager.lens()->build().has_zoom) imager.lens()->zoom().move(value);
      return;
  }
}

}  // namespace rovk::unit
