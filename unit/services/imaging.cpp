// Picture, white balance, exposure, loops and filters: each a table of the settings that it shows. Values of
// a mode that is not in force are kept for later.
#include "unit/services/imaging.h"

#include <iterator>
#include <utility>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Setting;

constexpr int64_t picture = 1 << 14;  // of the settings that count parts of it
constexpr int64_t hundred = 100;

Setting setting_of(int key) { return static_cast<Setting>(key & 0xff); }
Wording wording_of(int key) { return static_cast<Wording>(key >> 8); }

int64_t to_words(Wording wording, int64_t value) {
  if (wording == Wording::inverted) return value == 0;
  if (wording == Wording::percent) return (value * hundred + picture / 2) / picture;
  return value;
}

int64_t from_words(Wording wording, int64_t value) {
  if (wording == Wording::inverted) return value == 0;
  if (wording == Wording::percent) return (value * picture + hundred / 2) / hundred;
  return value;
}

constexpr Register imaging_001a[] = {
    shown("horizontal_flip_enable", "enable", Setting::flip_horizontal),
    shown("vertical_flip_enable", "enable", Setting::flip_vertical),
    shown("contrast", "contrast", Setting::contrast),
    shown("sharpness", "sharpness", Setting::sharpness),
    shown("brightness", "brightness", Setting::brightness),
    shown("saturation", "saturation", Setting::saturation),
    shown("wide_dynamic_range_enable", "enable", Setting::wide_dynamic_range),
    shown("wide_dynamic_range_strength", "strength", Setting::wide_dynamic_range_strength),
};

constexpr Register white_balance_001b[] = {
    shown("manual_mode_enable", "enable", Setting::balance_manual),
    shown("auto_red_offset", "offset", Setting::balance_auto_offset_red),
    shown("auto_green_offset", "offset", Setting::balance_auto_offset_green),
    shown("auto_blue_offset", "offset", Setting::balance_auto_offset_blue),
    shown("manual_red_gain_and_offset", "red", Setting::balance_gain_rr),
    shown("manual_red_gain_and_offset", "green", Setting::balance_gain_rg),
    shown("manual_red_gain_and_offset", "blue", Setting::balance_gain_rb),
    shown("manual_red_gain_and_offset", "offset", Setting::balance_offset_red),
    shown("manual_green_gain_and_offset", "red", Setting::balance_gain_gr),
    shown("manual_green_gain_and_offset", "green", Setting::balance_gain_gg),
    shown("manual_green_gain_and_offset", "blue", Setting::balance_gain_gb),
    shown("manual_green_gain_and_offset", "offset", Setting::balance_offset_green),
    shown("manual_blue_gain_and_offset", "red", Setting::balance_gain_br),
    shown("manual_blue_gain_and_offset", "green", Setting::balance_gain_bg),
    shown("manual_blue_gain_and_offset", "blue", Setting::balance_gain_bb),
    shown("manual_blue_gain_and_offset", "offset", Setting::balance_offset_blue),
};

constexpr Register exposure_001c[] = {
    shown("manual_mode_enable", "enable", Setting::exposure_manual),
    shown("frame_rate", "frame_rate_millihertz", Setting::frame_rate_millihertz),
    shown("auto_min_exposure_time", "exposure_time_microseconds", Setting::exposure_min_us),
    shown("auto_max_exposure_time", "exposure_time_microseconds", Setting::exposure_max_us),
    shown("auto_min_gain", "gain_percentage", Setting::gain_min_percent),
    shown("auto_max_gain", "gain_percentage", Setting::gain_max_percent),
    shown("manual_exposure_time", "exposure_time_microseconds", Setting::exposure_manual_us),
    shown("manual_gain", "gain_percentage", Setting::gain_manual_percent),
};

constexpr Register imaging_control_loops_0022[] = {shown("all_loops_enable", "enable", Setting::loops)};
constexpr Register flicker_correction_002f[] = {shown("enable", "enable", Setting::flicker_correction)};
constexpr Register spatial_noise_filter_0030[] = {shown("enable", "enable", Setting::spatial_noise_filter)};
constexpr Register temporal_noise_filter_0031[] = {shown("enable", "enable", Setting::temporal_noise_filter)};

constexpr std::pair<std::string_view, std::span<const Register>> tables[] = {
    {"imaging_001a", imaging_001a},
    {"white_balance_001b", white_balance_001b},
    {"exposure_001c", exposure_001c},
    {"imaging_control_loops_0022", imaging_control_loops_0022},
    {"flicker_correction_002f", flicker_correction_002f},
    {"spatial_noise_filter_0030", spatial_noise_filter_0030},
    {"temporal_noise_filter_0031", temporal_noise_filter_0031},
};

}  // namespace

ImagerView::ImagerView(const Setup& setup, std::span<const Register> settings)
    : View(setup, settings), imagers_(all_things<things::Imager>()) {
  registers().back_with(*this);
}

int64_t ImagerView::get(int key, unsigned device) const {
  return to_words(wording_of(key), imager(device).settings().get(setting_of(key)));
}

void ImagerView::set(int key, unsigned device, int64_t value) {
  imager(device).settings().set(setting_of(key), from_words(wording_of(key), value));
}

Backing::Limits ImagerView::limits(int key, unsigned device) const {
  const auto [low, high, initial] = imager(device).settings().limits(setting_of(key));
  const int64_t first = to_words(wording_of(key), low);
  const int64_t last = to_words(wording_of(key), high);
  return {std::min(first, last), std::max(first, last)};
}

void ImagerView::restore(int key, unsigned device) { imager(device).settings().reset(setting_of(key)); }

std::unique_ptr<View> make_imaging(const Setup& setup) {
  for (const auto& [service, table] : tables) {
    if (service == setup.service.name) return std::make_unique<ImagerView>(setup, table);
  }
  return nullptr;
}

}  // namespace rovk::unit
