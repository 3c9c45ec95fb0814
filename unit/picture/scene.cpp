#include "unit/picture/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace rovk::unit::picture {
namespace {

constexpr double turn = 360, pi = 3.14159265358979;

// The same for a place whenever it is asked, 0 to 1.
float chance(int64_t x, int64_t y, uint32_t kind) {
  uint64_t bits = static_cast<uint64_t>(x) * 0x9e37'79b9'7f4a'7c15 ^ static_cast<uint64_t>(y) * 0xc2b2'ae3d'27d4'eb4f;
  bits = (bits ^ kind * 0x1656'67b1'9e37'79f9ULL ^ bits >> 29) * 0xbf58'476d'1ce4'e5b9;
  return static_cast<float>(bits >> 40) / static_cast<float>(1 << 24);
}

int64_t cell(double place, double size) { return static_cast<int64_t>(std::floor(place / size)); }
double within(double place, double size) { return place - size * std::floor(place / size); }

// A mottled surface: shades of a coarse and of a fine grain.
float texture(double pan, double tilt, double grain) {
  float shade = 1;
  for (const double size : {1.2, 0.3, 0.06, 0.012}) {
    if (size < 2 * grain) break;
    shade *= 0.93F + 0.14F * chance(cell(pan, size), cell(tilt, size), 1);
  }
  return shade;
}

Material gray(float level) { return {level, level, level, level, 0.4F, 0}; }

// Digits of 3 by 5 dots, a row of dots in 3 bits, the upper one first.
constexpr std::array<uint16_t, 10> digits = {075557, 026227, 071747, 071717, 055711,
                                             074717, 074757, 071111, 075757, 075717};
constexpr int minus = -1;

bool dot(int digit, int column, int row) {
  if (digit == minus) return row == 2;
  return digits[static_cast<std::size_t>(digit)] >> (3 * (4 - row) + 2 - column) & 1;
}

// Whether a number of four places, its last one at the right end, has a dot there; 4 dots a place.
bool written(int number, int column, int row) {
  const int place = 3 - column / 4;
  if (column < 0 || column >= 16 || column % 4 == 3 || row < 0 || row >= 5) return false;
  int rest = std::abs(number), places = 1;
  for (int i = 0; i < place; ++i) rest /= 10;
  for (int i = std::abs(number); i >= 10; i /= 10) ++places;
  if (place == places && number < 0) return dot(minus, column % 4, row);
  return place < places && dot(rest % 10, column % 4, row);
}

constexpr double sign_every_pan = 20, sign_every_tilt = 10, sign_width = 5, sign_height = 3.6;

// Pan above, tilt below, in black on yellow with a rim.
bool sign(double pan, double tilt, Material& seen) {
  const double middle_pan = sign_every_pan * std::round(pan / sign_every_pan);
  const double middle_tilt = sign_every_tilt * std::round(tilt / sign_every_tilt);
  const double right = pan - middle_pan + sign_width / 2, down = middle_tilt - tilt + sign_height / 2;
  if (right < 0 || right >= sign_width || down < 0 || down >= sign_height) return false;
  constexpr double size = 0.27;  // of a dot, in degrees
  const int column = static_cast<int>(cell(right - 0.35, size));
  const int row = static_cast<int>(cell(down - 0.35, size));
  const int number = static_cast<int>(row < 6 ? within(middle_pan, turn) : middle_tilt);
  const bool rim = std::min({right, down, sign_width - right, sign_height - down}) < 0.12;
  const bool dark = rim || written(number, column, row < 6 ? row : row - 6);
  seen = dark ? Material{0.04F, 0.04F, 0.04F, 0.05F, 0.6F, 0} : Material{0.75F, 0.62F, 0.1F, 0.8F, 0.3F, 0};
  return true;
}

constexpr double chart_width = 16, chart_height = 9;

bool chart(double pan, double tilt, Material& seen) {
  const double x = pan / chart_width + 0.5, y = 0.5 - tilt / chart_height;
  if (x < 0 || x >= 1 || y < 0 || y >= 1) return false;
  static constexpr Material patches[3][4] = {{{.17F, .08F, .05F, .3F, .4F, 0},
                                              {.55F, .3F, .22F, .6F, .5F, 0},
                                              {.12F, .2F, .34F, .3F, .3F, 0},
                                              {.1F, .15F, .05F, .6F, .4F, 0}},
                                             {{.68F, .2F, .03F, .7F, .6F, 0},
                                              {.06F, .1F, .38F, .4F, .3F, 0},
                                              {.54F, .08F, .12F, .6F, .7F, 0},
                                              {.34F, .5F, .05F, .7F, .4F, 0}},
                                             {{.02F, .04F, .25F, .2F, .2F, 0},
                                              {.06F, .3F, .06F, .5F, .3F, 0},
                                              {.42F, .02F, .03F, .5F, .8F, 0},
                                              {.8F, .58F, .01F, .8F, .5F, 0}}};
  seen = gray(0.75F);
  const double star_right = pan - 3.8, star_up = tilt - 0.9;
  const double away = std::hypot(star_right, star_up);
  if (away < 3) {
    // Spokes that narrow towards the middle: fine lines at every magnification.
    const auto spoke = static_cast<int>(std::floor((std::atan2(star_up, star_right) / pi + 1) * 18));
    seen = gray(spoke % 2 != 0 ? 0.03F : 0.8F);
  } else if (x > 0.03 && x < 0.47 && y > 0.05 && y < 0.71) {
    const double column = (x - 0.03) / 0.11, row = (y - 0.05) / 0.22;
    if (within(column, 1) > 0.06 && within(row, 1) > 0.06)
      seen = patches[static_cast<int>(row)][static_cast<int>(column)];
  } else if (x > 0.03 && x < 0.97 && y > 0.76 && y < 0.95) {
    const double step = std::floor((x - 0.03) / 0.94 * 10);
    seen = gray(static_cast<float>(0.02 + 0.78 * std::pow(step / 9, 2.2)));
  }
  return true;
}

// Walls of bricks with rows of windows, of which some are lit.
bool building(double pan, double tilt, double grain, Material& seen) {
  constexpr double width = 9, floor_height = 2.4, window_every = 1.8;
  const int64_t number = cell(pan, width);
  const double height = 3 + 13 * static_cast<double>(chance(number, 0, 2));
  if (tilt >= height) return false;
  const double right = within(pan, window_every), up = within(tilt, floor_height);
  const float warm = chance(number, 0, 3);
  if (right > 0.4 && right < 1.4 && up > 0.7 && up < 1.9 && height - tilt > 0.5) {
    const bool frame = right < 0.47 || right > 1.33 || up < 0.77 || up > 1.83 || std::abs(right - 0.9) < 0.04;
    const bool lit = chance(cell(pan, window_every), cell(tilt, floor_height), 4) < 0.3F;
    if (frame)
      seen = {0.6F, 0.58F, 0.55F, 0.6F, 0.5F, 0};
    else
      seen = {0.08F, 0.1F, 0.14F, 0.12F, lit ? 0.95F : 0.6F, lit ? 0.004F : 0};
    return true;
  }
  const double row = tilt / 0.2;
  const double along = pan / 0.5 + (cell(row, 2) % 2 == 0 && within(row, 2) < 1 ? 0.5 : 0);
  const bool mortar = grain < 0.02 && (within(along, 1) < 0.06 || within(row, 1) < 0.12);
  const float shade = mortar ? 1.35F : texture(pan, tilt, grain);
  seen = {(0.34F + 0.2F * warm) * shade,
          (0.28F + 0.12F * (1 - warm)) * shade,
          (0.22F + 0.2F * (1 - warm)) * shade,
          0.4F * shade,
          0.45F * shade,
          0};
  return true;
}

float cloud(double pan, double tilt) {
  float sum = 0, weight = 1;
  for (const double size : {16.0, 6.0, 2.0}) {
    const double x = pan / size, y = tilt / size * 2;
    const int64_t left = cell(x, 1), low = cell(y, 1);
    auto right = static_cast<float>(within(x, 1)), up = static_cast<float>(within(y, 1));
    right *= right * (3 - 2 * right);
    up *= up * (3 - 2 * up);
    const float below = std::lerp(chance(left, low, 5), chance(left + 1, low, 5), right);
    const float above = std::lerp(chance(left, low + 1, 5), chance(left + 1, low + 1, 5), right);
    sum += weight * std::lerp(below, above, up);
    weight /= 2;
  }
  return std::clamp((sum / 1.75F - 0.5F) * 5, 0.0F, 1.0F);
}

Material sky(double pan, double tilt) {
  const auto height = static_cast<float>(std::clamp(tilt / 60, 0.0, 1.0));
  const float white = cloud(pan, tilt);
  return {std::lerp(0.42F - 0.22F * height, 0.85F, white),
          std::lerp(0.55F - 0.2F * height, 0.87F, white),
          std::lerp(0.85F - 0.1F * height, 0.9F, white),
          std::lerp(0.15F, 0.6F, white),
          0.02F + 0.1F * white,
          0,
          0};
}

// Grass with a paved strip, and lines every 5 degrees both ways.
Material ground(double pan, double tilt, double grain) {
  const double line = std::max(0.06, grain);
  if (within(pan, 5) < line || within(tilt, 5) < line) return gray(0.8F);
  const float shade = texture(pan, tilt, grain);
  if (tilt > -6) return {0.36F * shade, 0.35F * shade, 0.34F * shade, 0.36F * shade, 0.5F * shade, 0};
  return {0.2F * shade, 0.42F * shade, 0.12F * shade, 0.75F * shade, 0.3F * shade, 0};
}

}  // namespace

Material scene_at(double pan, double tilt, double grain) {
  const double around = pan - turn * std::round(pan / turn);
  Material seen = {};
  if (chart(around, tilt, seen) || sign(around, tilt, seen)) return seen;
  if (tilt < 0) return ground(around, tilt, grain);
  if (building(around, tilt, grain, seen)) return seen;
  return sky(around, tilt);
}

}  // namespace rovk::unit::picture
