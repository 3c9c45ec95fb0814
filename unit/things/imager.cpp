// From light to pixels.
#include "unit/things/imager.h"

#include <algorithm>
#include <cmath>

namespace rovk::unit::things {
namespace {

// Light times time times gain that makes one step of a raw pixel, in millilux and microseconds.
constexpr double exposure_per_step = 300'000;
// The filter takes half of what the sensor would see.
constexpr double filter_loss = 2;
// A scene has shadows and lights this many times darker and lighter than its average.
constexpr double scene_contrast = 4;
// What a thermal sensor sees of surroundings at 0 degrees, in the place of millilux, and more a degree.
constexpr double cold_light = 100'000;
constexpr double light_per_degree = 2'000;
constexpr double loudest_gain_doublings = 8;
constexpr double gain_one = 256;

// Steps off the sharp place at which a metric has fallen to a half.
constexpr double steep_half = 20;
constexpr double gentle_half = 250;

constexpr Time paces[] = {1000ms, 400ms, 150ms};  // of the exposure loop: slow, medium, fast

// What the test picture shows, whatever the light.
constexpr Imager::Statistics test_picture = {2'048, Imager::black_level, Imager::brightest, 0, 0};

int64_t metric(double contrast_seen, double steps_off, double half) {
  return std::llround(contrast_seen * 1000 * half * half / (half * half + steps_off * steps_off));
}

}  // namespace

double Imager::gain_factor(int64_t percent) {
  return std::exp2(static_cast<double>(percent) / 100 * loudest_gain_doublings);
}

Imager::Imager(Timeline& timeline, const Build& build, Lens* lens, TemperatureSensor* warmth,
               Surroundings& surroundings)
    : build_(build),
      timeline_(timeline),
      lens_(lens),
      surroundings_(surroundings),
      settings_(build.settings),
      day_night_(timeline, settings_, lens, surroundings),
      focus_(timeline, settings_, lens, warmth) {
  product_.jump(wanted_product());
  settings_.changed.add([this](Setting setting) { follow(setting); });
  surroundings_.light_changed.add([this] { aim(); });
  surroundings_.air_changed.add([this] { aim(); });
  if (!lens_) return;
  for (LensMotor* motor : {&lens_->iris(), &lens_->filter()}) {
    motor->movement_changed.add([this](bool) { aim(); });
  }
}

bool Imager::loop(Setting single) const { return awake() && settings_.on(Setting::loops) && settings_.on(single); }

double Imager::light() const {
  const double aperture = lens_ ? lens_->aperture() : 1;
  if (build_.thermal) return std::max(0.0, cold_light + light_per_degree * surroundings_.degrees()) * aperture;
  const bool blocked = lens_ && lens_->day_filter();
  const double seen = blocked
                          ? static_cast<double>(surroundings_.daylight_millilux()) / filter_loss
                          : static_cast<double>(surroundings_.daylight_millilux() + surroundings_.infrared_millilux());
  return std::max(0.0, seen) * aperture;
}

// No exposure outlasts its frame.
double Imager::longest_us() const { return 1e9 / static_cast<double>(settings_.get(Setting::frame_rate_millihertz)); }

double Imager::wanted_product() const {
  const auto number = [this](Setting setting) { return static_cast<double>(settings_.get(setting)); };
  if (settings_.on(Setting::exposure_manual)) {
    return std::log(std::min(number(Setting::exposure_manual_us), longest_us()) *
                    gain_factor(settings_.get(Setting::gain_manual_percent)));
  }
  double target = number(Setting::exposure_target);
  if (settings_.on(Setting::backlight_compensation)) target *= number(Setting::backlight_gain) / gain_one;
  // Bounds that are the wrong way round leave the lower one.
  const double least =
      std::min(number(Setting::exposure_min_us), longest_us()) * gain_factor(settings_.get(Setting::gain_min_percent));
  const double most =
      std::min(std::max(number(Setting::exposure_max_us), number(Setting::exposure_min_us)), longest_us()) *
      gain_factor(std::max(settings_.get(Setting::gain_max_percent), settings_.get(Setting::gain_min_percent)));
  return std::log(std::clamp(target * exposure_per_step / std::max(light(), 1.0), least, most));
}

void Imager::aim() {
  const Time now = timeline_.now();
  if (settings_.on(Setting::exposure_manual)) return product_.jump(wanted_product());
  if (!loop(Setting::loop_exposure)) return product_.jump(product_.at(now));  // stays where it has come to
  const auto pace = static_cast<std::size_t>(std::clamp<int64_t>(settings_.get(Setting::exposure_speed), 0, 2));
  product_.aim(now, wanted_product(), paces[pace]);
}

void Imager::supply(bool alive) {
  alive_ = alive;
  aim();
}

void Imager::follow(Setting changed) {
  if (changed != Setting::window_blanking) aim();
  const Tint seen = tint();
  if (loop(Setting::loop_balance)) auto_gains_ = {1 / seen.red, 1, 1 / seen.blue};
}

// Time first, gain only when the longest time is too short: gain shows the noise.
std::pair<double, double> Imager::split() const {
  const auto number = [this](Setting setting) { return static_cast<double>(settings_.get(setting)); };
  const double product = std::exp(product_.at(timeline_.now()));
  if (settings_.on(Setting::exposure_manual)) {
    const double gain = gain_factor(settings_.get(Setting::gain_manual_percent));
    return {product / gain, gain};
  }
  const double lowest = std::min(number(Setting::exposure_min_us), longest_us());
  const double highest = std::min(std::max(number(Setting::exposure_max_us), lowest), longest_us());
  double time = std::clamp(product / gain_factor(settings_.get(Setting::gain_min_percent)), lowest, highest);
  if (settings_.on(Setting::flicker_correction)) {
    // Whole pulses of the mains' light, which flickers at twice their frequency.
    const double pulse = settings_.get(Setting::flicker_mains) == 1 ? 10'000 : 1e6 / 120;
    if (time >= pulse) time = std::floor(time / pulse) * pulse;
  }
  return {time, product / time};
}

double Imager::signal() const {
  const auto [time, gain] = split();
  return light() * time * gain / exposure_per_step;
}

// The scene takes its colour from the light that the setting names: nothing else could tell it.
Imager::Tint Imager::tint() const {
  constexpr Tint tints[] = {{1, 1}, {0.92, 1.09}, {1.5, 0.59}, {0.94, 1.02}, {1.21, 0.77}};
  return tints[std::clamp<int64_t>(settings_.get(Setting::illuminant), 0, 4)];
}

Imager::Balance Imager::balance() const {
  const auto at = [this](Setting first, int offset) {
    return static_cast<double>(settings_.get(static_cast<Setting>(static_cast<int>(first) + offset)));
  };
  Balance balance = {};
  for (int row = 0; row < 3; ++row) {
    const auto place = static_cast<std::size_t>(row);
    if (settings_.on(Setting::balance_manual)) {
      for (int column = 0; column < 3; ++column) {
        balance.gains[place][static_cast<std::size_t>(column)] =
            at(Setting::balance_gain_rr, 3 * row + column) / gain_one;
      }
      balance.offsets[place] = at(Setting::balance_offset_red, row);
    } else {
      balance.gains[place][place] = auto_gains_[place];
      balance.offsets[place] = at(Setting::balance_auto_offset_red, row);
    }
  }
  return balance;
}

Imager::Statistics Imager::statistics() const {
  if (!awake()) return {};
  if (settings_.get(Setting::mode) == mode_test_picture) return test_picture;
  const Tint seen = tint();
  const std::array<double, 3> scene = {seen.red, 1, seen.blue};
  const Balance balanced = balance();
  // Of a part of the scene that is so much brighter or darker than its average, the mean of its colours.
  const auto pixel = [&](double part) {
    double sum = 0;
    for (std::size_t row = 0; row < 3; ++row) {
      double channel = balanced.offsets[row];
      for (std::size_t column = 0; column < 3; ++column) {
        channel += balanced.gains[row][column] * scene[column] * signal() * part;
      }
      sum += std::clamp(black_level + channel, 0.0, static_cast<double>(brightest));
    }
    return std::llround(sum / 3);
  };
  Statistics result = {pixel(1), pixel(1 / scene_contrast), pixel(scene_contrast), 0, 0};
  const double contrast_seen = static_cast<double>(result.maximum - result.minimum);
  const double steps_off = lens_ ? static_cast<double>(lens_->blur()) : 0;
  result.focus_high = metric(contrast_seen, steps_off, steep_half);
  result.focus_low = metric(contrast_seen, steps_off, gentle_half);
  return result;
}

void Imager::balance_on_black() {
  // What little light the black square gives back is the cast to take off.
  const Tint seen = tint();
  settings_.set(Setting::balance_manual, 1);
  settings_.set(Setting::balance_offset_red, std::llround((1 - seen.red) * gain_one / 16));
  settings_.set(Setting::balance_offset_green, 0);
  settings_.set(Setting::balance_offset_blue, std::llround((1 - seen.blue) * gain_one / 16));
}

void Imager::balance_on_gray(bool offsets_as_well) {
  const Tint seen = tint();
  settings_.set(Setting::balance_manual, 1);
  settings_.set(Setting::balance_gain_rr, std::llround(gain_one / seen.red));
  settings_.set(Setting::balance_gain_gg, static_cast<int64_t>(gain_one));
  settings_.set(Setting::balance_gain_bb, std::llround(gain_one / seen.blue));
  if (!offsets_as_well) return;
  for (const Setting offset :
       {Setting::balance_offset_red, Setting::balance_offset_green, Setting::balance_offset_blue})
    settings_.set(offset, 0);
}

}  // namespace rovk::unit::things
