// Triangles drawn over an imager's picture. One that was given a place in the coordinates of the head
// sticks to the scene: its corners say where it is seen while the head points there. One whose corners
// were set last sticks to the picture.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace rovk::unit::things {

struct Triangle {
  bool shown = false;
  uint8_t red = 255, green = 255, blue = 255;
  uint8_t alpha = 255;  // 0: not seen, 255: solid
  int64_t pan_millidegrees = 0;
  int64_t tilt_millidegrees = 0;
  int64_t zoom_decix = 10;
  std::array<int64_t, 6> corners = {500, 400, 400, 600, 600, 600};  // x and y of each, tenths of a percent
  bool sticks_to_scene = false;
};

struct Overlay {
  explicit Overlay(unsigned count) : triangles(count) {}
  void reset() { triangles.assign(triangles.size(), {}); }

  std::vector<Triangle> triangles;
};

}  // namespace rovk::unit::things
