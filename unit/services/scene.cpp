// From light to pixels.
#include "unit/services/scene.h"

#include <algorithm>

#include "unit/services/lens_parts.h"

namespace rovk::unit {
namespace {

// Light times time times gain that makes one step of a raw pixel, in millilux and microseconds.
constexpr int64_t exposure_per_step = 300'000;
// The filter takes half of what the sensor would see.
constexpr int64_t filter_loss = 2;
constexpr int64_t black_level = 64;
// A scene has shadows and lights this many times darker and lighter than its average.
constexpr int64_t contrast = 4;

// Steps off the sharp place at which a metric has fallen to a half.
constexpr int64_t steep_half = 20;
constexpr int64_t gentle_half = 250;

// Limits that are the wrong way round leave the lower one.
double within(double value, int64_t low, int64_t high) {
  return std::clamp(value, static_cast<double>(low), static_cast<double>(std::max(low, high)));
}

int64_t metric(int64_t contrast_seen, int64_t steps_off, int64_t half) {
  return contrast_seen * 1000 * half * half / (half * half + steps_off * steps_off);
}

}  // namespace

SensorSize sensor_size(bool thermal) { return thermal ? SensorSize{512, 640} : SensorSize{1080, 1920}; }

uint32_t raw_image_address(bool thermal) { return thermal ? 0x1f00'0000 : 0x1e00'0000; }

ImageStatistics image_statistics(Host& host, const Exposure& exposure) {
  Lens& lens = lens_of(host);
  const int64_t light = std::max<int64_t>(host.world().get(Input::light) / (lens.day_filter() ? filter_loss : 1), 0);
  auto time = static_cast<double>(exposure.max_time);
  auto gain = static_cast<double>(exposure.min_gain);
  if (exposure.automatic) {
    // Time first, gain only when the longest time is too short: gain shows the noise.
    const double wanted =
        static_cast<double>(exposure.target) * exposure_per_step / static_cast<double>(std::max<int64_t>(light, 1));
    time = within(wanted / gain, exposure.min_time, exposure.max_time);
    gain = within(wanted / time, exposure.min_gain, exposure.max_gain);
  }
  const auto signal = static_cast<int64_t>(static_cast<double>(light) * time * gain / exposure_per_step);
  ImageStatistics seen = {};
  seen.average = std::min(black_level + signal, raw_pixel_high);
  seen.minimum = std::min(black_level + signal / contrast, raw_pixel_high);
  seen.maximum = std::min(black_level + signal * contrast, raw_pixel_high);
  const int64_t steps_off = lens.focus().position() - lens.best_focus();
  seen.focus_high = metric(seen.maximum - seen.minimum, steps_off, steep_half);
  seen.focus_low = metric(seen.maximum - seen.minimum, steps_off, gentle_half);
  return seen;
}

}  // namespace rovk::unit
