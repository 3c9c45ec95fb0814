// First what the sensor gives in each of three colours, then either one of them a pixel, or what the
// pipeline makes of them.
#include "unit/picture/render.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "unit/picture/scene.h"
#include "unit/things/imager.h"

namespace rovk::unit::picture {
namespace {

using things::Picture;

constexpr auto brightest = static_cast<float>(things::Imager::brightest);
constexpr auto black = static_cast<float>(things::Imager::black_level);
constexpr double room_millilux = 320'000;  // that a glow is measured against

struct Pixel {
  float red, green, blue;
};

struct Sensed {
  std::size_t width, height;
  std::vector<Pixel> pixels;
};

// What the lens throws onto the sensor, 1 being the scene's average.
Pixel light_at(const Picture& seen, const Material& material, double from_middle) {
  if (seen.thermal) {
    const float warmth = material.heat / mean_heat;
    return {warmth, warmth, warmth};
  }
  const double infrared = seen.day ? 0 : seen.infrared_millilux;
  const double all = std::max(seen.daylight_millilux + infrared, 1.0);
  // The beam of an illuminator is brightest in its middle.
  const auto beam = static_cast<float>(infrared / all * (1.4 - from_middle));
  const auto daylight = static_cast<float>(seen.daylight_millilux / all);
  const float glow = std::min(material.glow * static_cast<float>(room_millilux / all), 6.0F);
  const float through = seen.day ? 0.0F : 0.4F;  // how much of daylight counts as infrared
  const float hidden = through * material.infrared / mean_infrared;
  const float lit = beam * material.near * material.infrared / mean_infrared;
  const auto channel = [&](float color, double tint) {
    const float visible = (1 - through) * color / mean_color;
    return (visible + hidden) * daylight * static_cast<float>(tint) + lit + glow;
  };
  return {channel(material.red, seen.tint_red), channel(material.green, 1), channel(material.blue, seen.tint_blue)};
}

// A mean over 2 * radius + 1 pixels that lie `step` apart; past the ends the last pixel goes on.
void smooth_line(Pixel* line, std::size_t count, std::size_t step, std::size_t radius, std::vector<Pixel>& copy) {
  copy.resize(count);
  for (std::size_t i = 0; i < count; ++i) copy[i] = line[i * step];
  const float share = 1 / static_cast<float>(2 * radius + 1);
  Pixel sum = {};
  const auto add = [&](const Pixel& pixel, float sign) {
    sum.red += sign * pixel.red;
    sum.green += sign * pixel.green;
    sum.blue += sign * pixel.blue;
  };
  const auto at = [&](std::size_t place) -> const Pixel& {
    return copy[std::clamp(place, radius, radius + count - 1) - radius];
  };
  for (std::size_t i = 0; i <= 2 * radius; ++i) add(at(i), 1);
  for (std::size_t i = 0; i < count; ++i) {
    line[i * step] = {sum.red * share, sum.green * share, sum.blue * share};
    add(at(i), -1);
    add(at(i + 2 * radius + 1), 1);
  }
}

// Three times a square is round enough. A narrow aperture blurs less.
void defocus(const Picture& seen, Sensed& sensed) {
  constexpr double steps_per_pixel = 16;
  const double blur = std::abs(seen.blur_steps) / steps_per_pixel * std::sqrt(std::clamp(seen.aperture, 0.0, 1.0)) *
                      static_cast<double>(seen.width) / 1920;
  const auto radius = static_cast<std::size_t>(std::lround(std::min(blur, static_cast<double>(seen.width) / 12)));
  if (radius == 0) return;
  std::vector<Pixel> copy;
  for (int pass = 0; pass < 3; ++pass) {
    for (std::size_t y = 0; y < sensed.height; ++y)
      smooth_line(&sensed.pixels[y * sensed.width], sensed.width, 1, radius, copy);
    for (std::size_t x = 0; x < sensed.width; ++x)
      smooth_line(&sensed.pixels[x], sensed.height, sensed.width, radius, copy);
  }
}

// Bars of the eight corners of the cube of colours, from white to black.
void draw_bars(Sensed& sensed) {
  for (std::size_t i = 0; i < sensed.pixels.size(); ++i) {
    const std::size_t bar = 7 - i % sensed.width * 8 / sensed.width;
    const auto level = [bar](std::size_t bit) { return bar & bit ? 0.75F * (brightest - black) : 0; };
    sensed.pixels[i] = {level(2), level(4), level(1)};
  }
}

// Numbers of a normal distribution, drawn from a table by a generator whose state is the seed.
class Noise {
 public:
  explicit Noise(uint64_t seed) : state_((seed + 1) * 0x9e37'79b9'7f4a'7c15 | 1) {}
  uint64_t draw() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    return state_ ^= state_ << 17;
  }
  static float normal(uint64_t bits) {
    static const std::array<float, 1024> table = [] {
      std::array<float, 1024> made = {};
      uint64_t random = 1;
      for (float& number : made) {
        number = -6;
        for (int i = 0; i < 12; ++i) {
          random = random * 6364136223846793005 + 1442695040888963407;
          number += static_cast<float>(random >> 40) / static_cast<float>(1 << 24);
        }
      }
      return made;
    }();
    return table[bits % table.size()];
  }

 private:
  uint64_t state_;
};

// Light comes in grains, which gain makes larger; reading adds some of its own.
void expose(const Picture& seen, uint64_t seed, double quieter, Sensed& sensed) {
  Noise noise(seed);
  const auto signal = static_cast<float>(seen.signal);
  const auto grain = static_cast<float>(seen.gain * 0.4 / (quieter * quieter));
  const auto reading =
      static_cast<float>(3 * seen.gain * seen.gain / (quieter * quieter) / 64 + 4 / (quieter * quieter));
  const auto one = [&](float light, uint64_t bits) {
    const float value = light * signal;
    return std::clamp(value + std::sqrt(value * grain + reading) * Noise::normal(bits), -black, brightest - black);
  };
  for (Pixel& pixel : sensed.pixels) {
    const uint64_t bits = noise.draw();
    pixel = {one(pixel.red, bits >> 10), one(pixel.green, bits >> 24), one(pixel.blue, bits >> 40)};
  }
}

// Above black, before the balance. `quieter` divides the noise.
Sensed sense(const Picture& seen, uint64_t seed, double quieter) {
  Sensed sensed = {seen.width, seen.height, std::vector<Pixel>(static_cast<std::size_t>(seen.width) * seen.height)};
  if (seen.test_picture) {
    draw_bars(sensed);
    return sensed;
  }
  const double grain = seen.angle_of_view_degrees / static_cast<double>(sensed.width);
  const double half_width = static_cast<double>(sensed.width) / 2, half_height = static_cast<double>(sensed.height) / 2;
  for (std::size_t y = 0; y < sensed.height; ++y) {
    const double down = (static_cast<double>(y) + 0.5 - half_height) * (seen.flip_vertical ? -1 : 1);
    for (std::size_t x = 0; x < sensed.width; ++x) {
      const double right = (static_cast<double>(x) + 0.5 - half_width) * (seen.flip_horizontal ? -1 : 1);
      const Material material = scene_at(seen.pan_degrees + right * grain, seen.tilt_degrees - down * grain, grain);
      const double from_middle = (right * right + down * down) / (half_width * half_width);
      sensed.pixels[y * sensed.width + x] = light_at(seen, material, from_middle);
    }
  }
  defocus(seen, sensed);
  expose(seen, seed, quieter, sensed);
  return sensed;
}

// From a balanced colour to what a screen shows, both 0 to 1.
std::vector<float> tones(const Picture& seen) {
  constexpr std::size_t steps = 4096;
  const double low = static_cast<double>(seen.black_clip) / 100;
  const double span = std::max(static_cast<double>(seen.white_clip) / 100 - low, 1.0 / 256);
  const double lift = static_cast<double>(seen.wide_dynamic_range) / 20;
  std::vector<float> table(steps);
  for (std::size_t i = 0; i < steps; ++i) {
    double level = std::clamp((static_cast<double>(i) / (steps - 1) - low) / span, 0.0, 1.0);
    level = level * (1 + lift) / (1 + lift * level);
    level = std::pow(level, seen.gamma);
    level = (level - 0.5) * static_cast<double>(seen.contrast) / 50 + 0.5;
    table[i] = static_cast<float>(std::clamp(level + static_cast<double>(seen.brightness - 50) / 100, 0.0, 1.0));
  }
  return table;
}

Pixel balanced(const Picture& seen, const Pixel& from) {
  const auto channel = [&](std::size_t row) {
    const auto& gains = seen.balance.gains[row];
    return static_cast<float>(gains[0]) * from.red + static_cast<float>(gains[1]) * from.green +
           static_cast<float>(gains[2]) * from.blue + static_cast<float>(seen.balance.offsets[row]);
  };
  return {channel(0), channel(1), channel(2)};
}

struct Luma {
  float brightness, blue, red;  // 0 to 1, and -0.5 to 0.5
};

Luma luma_of(const Pixel& rgb) {
  const float bright = 0.299F * rgb.red + 0.587F * rgb.green + 0.114F * rgb.blue;
  return {bright, (rgb.blue - bright) / 1.772F, (rgb.red - bright) / 1.402F};
}

void develop(const Picture& seen, Sensed& sensed) {
  if (seen.test_picture) {
    for (Pixel& pixel : sensed.pixels) {
      for (float* const level : {&pixel.red, &pixel.green, &pixel.blue}) *level /= brightest - black;
    }
    return;
  }
  const std::vector<float> table = tones(seen);
  for (Pixel& pixel : sensed.pixels) {
    pixel = balanced(seen, pixel);
    for (float* const level : {&pixel.red, &pixel.green, &pixel.blue}) {
      const float place = *level / (brightest - black) * static_cast<float>(table.size() - 1);
      *level = table[static_cast<std::size_t>(std::clamp(place, 0.0F, static_cast<float>(table.size() - 1)))];
    }
  }
}

void draw(const Picture& seen, const Picture::Mark& mark, Sensed& sensed) {
  std::array<float, 6> corners = {};
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const bool across = i % 2 == 0;
    const double place = (across ? seen.flip_horizontal : seen.flip_vertical) ? 1 - mark.corners[i] : mark.corners[i];
    corners[i] = static_cast<float>(place * static_cast<double>(across ? sensed.width : sensed.height));
  }
  const auto side = [&](std::size_t from, std::size_t to, float x, float y) {
    return (corners[to] - corners[from]) * (y - corners[from + 1]) -
           (corners[to + 1] - corners[from + 1]) * (x - corners[from]);
  };
  const auto range = [&](std::size_t axis, std::size_t size) {
    const auto [low, high] = std::minmax({corners[axis], corners[axis + 2], corners[axis + 4]});
    const auto end = static_cast<float>(size);
    return std::pair{static_cast<std::size_t>(std::clamp(low, 0.0F, end)),
                     static_cast<std::size_t>(std::clamp(std::ceil(high), 0.0F, end))};
  };
  const auto [left, right] = range(0, sensed.width);
  const auto [top, bottom] = range(1, sensed.height);
  const float solid = static_cast<float>(mark.alpha) / 255;
  const Pixel color = {static_cast<float>(mark.red) / 255, static_cast<float>(mark.green) / 255,
                       static_cast<float>(mark.blue) / 255};
  for (std::size_t y = top; y < bottom; ++y) {
    for (std::size_t x = left; x < right; ++x) {
      const float px = static_cast<float>(x) + 0.5F, py = static_cast<float>(y) + 0.5F;
      const float a = side(0, 2, px, py), b = side(2, 4, px, py), c = side(4, 0, px, py);
      if (!((a >= 0 && b >= 0 && c >= 0) || (a <= 0 && b <= 0 && c <= 0))) continue;
      Pixel& under = sensed.pixels[y * sensed.width + x];
      under = {std::lerp(under.red, color.red, solid), std::lerp(under.green, color.green, solid),
               std::lerp(under.blue, color.blue, solid)};
    }
  }
}

uint8_t byte_of(float level) { return static_cast<uint8_t>(std::clamp(level * 255 + 0.5F, 0.0F, 255.0F)); }

}  // namespace

std::vector<uint8_t> raw_frame(const Picture& seen, uint64_t seed, unsigned averaged) {
  const Sensed sensed = sense(seen, seed, std::sqrt(static_cast<double>(std::max(averaged, 1U))));
  std::vector<uint8_t> bytes;
  bytes.reserve(2 * sensed.pixels.size());
  for (std::size_t i = 0; i < sensed.pixels.size(); ++i) {
    const bool right = i % sensed.width % 2 != 0, lower = i / sensed.width % 2 != 0;
    const Pixel& pixel = sensed.pixels[i];
    const float level = right != lower ? pixel.green : lower ? pixel.blue : pixel.red;
    const auto number = static_cast<uint16_t>(std::lround(level + black));
    bytes.push_back(static_cast<uint8_t>(number));
    bytes.push_back(static_cast<uint8_t>(number >> 8));
  }
  return bytes;
}

std::vector<uint8_t> finished_frame(const Picture& seen, uint64_t seed) {
  Sensed sensed = {seen.width, seen.height, {}};
  const bool gray = !seen.test_picture && (seen.thermal || !seen.day);
  if (seen.blanked) {
    sensed.pixels.resize(sensed.width * sensed.height);
  } else {
    sensed = sense(seen, seed, (seen.spatial_noise_filter ? 2 : 1) * (seen.temporal_noise_filter ? 2 : 1));
    develop(seen, sensed);
  }
  // Brightness alone is made gray and sharp, before anything is drawn over it.
  std::vector<float> bright(sensed.pixels.size());
  for (std::size_t i = 0; i < bright.size(); ++i) bright[i] = luma_of(sensed.pixels[i]).brightness;
  const auto turned = static_cast<float>(static_cast<double>(seen.hue) * 3.14159265358979 / 180);
  const float strength = gray ? 0 : seen.test_picture ? 1 : static_cast<float>(seen.saturation) / 50;
  const float along = strength * std::cos(turned), across = strength * std::sin(turned);
  const float edge = seen.test_picture || seen.blanked ? 0 : static_cast<float>(seen.sharpness) / 100;
  for (std::size_t i = 0; i < bright.size(); ++i) {
    const std::size_t x = i % sensed.width;
    float value = bright[i];
    if (x > 0 && x + 1 < sensed.width && i >= sensed.width && i + sensed.width < bright.size()) {
      value +=
          edge * (value - (bright[i - 1] + bright[i + 1] + bright[i - sensed.width] + bright[i + sensed.width]) / 4);
    }
    const Luma old = luma_of(sensed.pixels[i]);
    const float blue = along * old.blue - across * old.red, red = across * old.blue + along * old.red;
    sensed.pixels[i] = {value + 1.402F * red, value - 0.344F * blue - 0.714F * red, value + 1.772F * blue};
  }
  for (const Picture::Mark& mark : seen.triangles) draw(seen, mark, sensed);
  const std::size_t pairs = (sensed.width + 1) / 2, lines = (sensed.height + 1) / 2;
  std::vector<uint8_t> bytes(bright.size() + 2 * pairs * lines);
  for (std::size_t i = 0; i < bright.size(); ++i) {
    const Luma luma = luma_of(sensed.pixels[i]);
    const std::size_t x = i % sensed.width, y = i / sensed.width;
    bytes[i] = byte_of(luma.brightness);
    if (x % 2 != 0 || y % 2 != 0) continue;
    const std::size_t pair = bright.size() + 2 * (y / 2 * pairs + x / 2);
    bytes[pair] = byte_of(luma.blue + 128.0F / 255);
    bytes[pair + 1] = byte_of(luma.red + 128.0F / 255);
  }
  return bytes;
}

}  // namespace rovk::unit::picture
