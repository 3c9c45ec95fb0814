// A head that points the unit: pan and tilt as axes between limits. The zoom it is asked for is that of
// the lens behind it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "unit/things/lens.h"
#include "unit/things/motor.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

class Head {
 public:
  enum Axis : unsigned { pan, tilt, zoom };
  static constexpr unsigned axes = 3;
  struct Limits {
    int64_t min_position;
    int64_t max_position;
    int64_t min_velocity;  // the slowest that the axis can turn
    int64_t max_velocity;
    int64_t separation;  // the least way between soft limits
  };
  struct Build {
    // millidegrees, millidegrees, tenths of a magnification; tilt is that of a head that hangs
    std::array<Limits, axes> limits = {
        {{0, 359'999, 50, 120'000, 10'000}, {-90'000, 20'000, 50, 60'000, 5'000}, {10, 300, 1, 100, 5}}};
    int64_t load_milliwatts = 4'000;  // while it turns
    unsigned lens = 0;                // of the unit, in the order of the boards
  };
  struct SoftLimits {
    std::optional<int64_t> min;
    std::optional<int64_t> max;
  };
  Head(Timeline& timeline, const Build& build, Lens* lens);

  const Build& build() const { return build_; }
  int64_t position(Axis axis) const;
  int64_t velocity(Axis axis) const;  // signed
  bool moving(Axis axis) const;
  // Within soft and hard limits; `speed` above 0.
  void move(Axis axis, int64_t target, int64_t speed);
  // On to the limit in the direction of the sign, and stops there. 0 stops.
  void run(Axis axis, int64_t velocity);
  const SoftLimits& soft_limits(Axis axis) const { return soft_[axis]; }
  void set_soft_limits(Axis axis, const SoftLimits& limits);
  double angle_of_view() const;
  void reset();

  Watchers<> movement_changed;

 private:
  const Build build_;
  Timeline& timeline_;
  Lens* lens_;
  std::array<Motor, axes> motors_;
  std::array<SoftLimits, axes> soft_;
  Timer arrival_;
};

}  // namespace rovk::unit::things
