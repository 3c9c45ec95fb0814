// What pictures show of what they depend on, on a small sensor.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <utility>

#include "unit/file_server.h"
#include "unit/picture/render.h"

namespace rovk::unit::picture {
namespace {

using things::Picture;
using Bytes = std::vector<uint8_t>;
constexpr int width = 192, height = 108, pixels = width * height;
constexpr double view_degrees = 48;  // a quarter of a degree a pixel

Picture plain() {
  Picture seen = {};
  seen.width = width;
  seen.height = height;
  seen.awake = seen.day = true;
  seen.angle_of_view_degrees = view_degrees;
  seen.magnification = seen.gain = seen.aperture = seen.tint_red = seen.tint_blue = 1;
  seen.signal = 1'000;
  seen.daylight_millilux = 320'000;
  for (std::size_t i = 0; i < 3; ++i) seen.balance.gains[i][i] = 1;
  seen.brightness = seen.contrast = seen.saturation = 50;
  seen.white_clip = 100;
  seen.gamma = 0.5;
  return seen;
}

Picture with(const std::function<void(Picture&)>& change) {
  Picture seen = plain();
  change(seen);
  return seen;
}

// Mean over the pixels that both have, the second's taken from where `place` says.
double distance(const Bytes& a, const Bytes& b, const std::function<std::pair<int, int>(int, int)>& place) {
  double sum = 0, count = 0;
  for (int i = 0; i < pixels; ++i) {
    const auto [x, y] = place(i % width, i / width);
    if (x < 0 || x >= width || y < 0 || y >= height) continue;
    sum += std::abs(a[static_cast<std::size_t>(i)] - b[static_cast<std::size_t>(y * width + x)]);
    ++count;
  }
  return sum / count;
}

double same_place(const Bytes& a, const Bytes& b) {
  return distance(a, b, [](int x, int y) { return std::pair{x, y}; });
}

TEST(Frames, MoveWithTheHeadAndTurnOver) {
  const Bytes straight = finished_frame(plain(), 1);
  const struct {
    const char* what;
    std::function<void(Picture&)> change;
    std::function<std::pair<int, int>(int, int)> place;  // where it was before
  } moves[] = {
      {"right", [](Picture& p) { p.pan_degrees = 5; },
       [](int x, int y) {
         return std::pair{x + 20, y};
       }},
      {"all around", [](Picture& p) { p.pan_degrees = -355; },
       [](int x, int y) {
         return std::pair{x + 20, y};
       }},
      {"up", [](Picture& p) { p.tilt_degrees = 3; },
       [](int x, int y) {
         return std::pair{x, y - 12};
       }},
      {"in", [](Picture& p) { p.angle_of_view_degrees = view_degrees / 2; },
       [](int x, int y) {
         return std::pair{(x + width / 2) / 2, (y + height / 2) / 2};
       }},
      {"left for right", [](Picture& p) { p.flip_horizontal = true; },
       [](int x, int y) {
         return std::pair{width - 1 - x, y};
       }},
      {"upside down", [](Picture& p) { p.flip_vertical = true; },
       [](int x, int y) {
         return std::pair{x, height - 1 - y};
       }},
  };
  for (const auto& move : moves) {
    const Bytes moved = finished_frame(with(move.change), 2);
    EXPECT_LT(distance(moved, straight, move.place), same_place(moved, straight) / 2) << move.what;
  }
}

double level(const Bytes& raw) {
  double sum = 0;
  for (std::size_t i = 0; i < raw.size(); i += 2) sum += raw[i] + 256 * raw[i + 1];
  return sum / pixels;
}

double edges(const Bytes& frame) {
  return distance(frame, frame, [](int x, int y) { return std::pair{x + 1, y}; });
}

double noise(const Picture& seen, unsigned averaged) {
  const Bytes a = raw_frame(seen, 1, averaged), b = raw_frame(seen, 2, averaged);
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); i += 2) sum += std::pow(a[i] + 256 * a[i + 1] - b[i] - 256 * b[i + 1], 2);
  return std::sqrt(sum / pixels);
}

TEST(Frames, ShowLightFocusNoiseAndColors) {
  EXPECT_EQ(raw_frame(plain(), 1), raw_frame(plain(), 1));
  EXPECT_EQ(raw_frame(plain(), 1).size(), 2U * pixels);
  EXPECT_EQ(finished_frame(plain(), 1).size(), 3U * pixels / 2);
  for (const double signal : {10.0, 300.0, 1'200.0}) {
    EXPECT_NEAR(level(raw_frame(with([&](Picture& p) { p.signal = signal; }), 1)), 64 + signal, 0.15 * signal + 3);
  }
  const Picture loud = with([](Picture& p) { p.gain = 16; });
  EXPECT_GT(noise(loud, 1), 3 * noise(plain(), 1));
  EXPECT_NEAR(noise(loud, 16), noise(loud, 1) / 4, noise(loud, 1) / 12);
  for (const double steps : {-150.0, 150.0})
    EXPECT_LT(edges(finished_frame(with([&](Picture& p) { p.blur_steps = steps; }), 1)),
              0.8 * edges(finished_frame(plain(), 1)));
  const auto colored = [](const Bytes& frame) {
    double sum = 0;
    for (std::size_t i = pixels; i < frame.size(); ++i) sum += std::abs(frame[i] - 128);
    return sum / (pixels / 2.0);
  };
  EXPECT_GT(colored(finished_frame(plain(), 1)), 5);
  EXPECT_EQ(colored(finished_frame(with([](Picture& p) { p.day = false; }), 1)), 0);
  EXPECT_EQ(colored(finished_frame(with([](Picture& p) { p.blanked = true; }), 1)), 0);
  // An illuminator lights the middle more than the sky.
  const Bytes night = finished_frame(with([](Picture& p) {
                                       p.day = false, p.daylight_millilux = 1, p.infrared_millilux = 9'000,
                                       p.tilt_degrees = 40;
                                     }),
                                     1);
  EXPECT_LT(night[width / 2 + 10], 100);
  const Bytes drawn = finished_frame(with([](Picture& p) {
                                       p.triangles = {{255, 0, 0, 255, {0.5, 0.1, 0.1, 0.9, 0.9, 0.9}}};
                                     }),
                                     1);
  EXPECT_EQ(drawn[pixels / 2 + width / 2], 76);  // red's brightness
  EXPECT_EQ(drawn[width], finished_frame(plain(), 1)[width]);
}

TEST(FileServer, HoldsItsPortForItself) {
  FileServer one, other;
  const uint16_t port = one.start("/nowhere", 0);
  ASSERT_NE(port, 0);
  EXPECT_EQ(one.start("/nowhere", 0), port);
  EXPECT_EQ(other.start("/nowhere", port), 0);
  one.stop();
  EXPECT_EQ(one.port(), 0);
  EXPECT_EQ(other.start("/nowhere", port), port);
}

}  // namespace
}  // namespace rovk::unit::picture
