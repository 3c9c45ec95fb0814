// A head that points the unit: pan and tilt as axes between limits. The zoom it is asked for is that of
// the lens behind it, so its zoom stands wherever the lens was put by others.
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
    int64_t separation = 0;  // the least way between soft limits
  };
  struct Build {
    // millidegrees, millidegrees, tenths of a magnification; tilt is that of a head that hangs
    std::array<Limits, axes> limits = {
        {{0, 359'999, 50, 120'000, 10'000}, {-90'000, 20'000, 50, 60'000, 5'000}, {10, 300, 1, 100, 5}}};
    int64_t load_milliwatts = 4'000;  // while it turns
    unsigned lens = 0;                // of the unit, in the order of the boards
  };
  using Targets = std::array<int64_t, axes>;

  // `lens` null: it cannot zoom.
  Head(Timeline& timeline, const Build& build, Lens* lens);

  const Build& build() const { return build_; }
  Lens* lens() const { return lens_; }
  int64_t position(Axis axis) const;
  int64_t velocity(Axis axis) const;  // signed
  bool moving(Axis axis) const;
  // All axes at once, within limits(); speeds above 0.
  void move(const Targets& targets, const Targets& speeds);
  // On to the limit in the direction of the sign, and stops there. 0 stops.
  void run(const Targets& velocities);

  // What the axis can do, as the head is mounted.
  Limits hard_limits(Axis axis) const;
  // Those that hold: the soft ones where there are some.
  Limits limits(Axis axis) const;
  bool has_soft_limits(Axis axis) const { return soft_[axis].has_value(); }
  // A movement under way that they do not allow ends at the limit, or at once when that lies behind.
  void set_soft_limits(Axis axis, const Limits& limits);
  void clear_soft_limits(Axis axis) { soft_[axis].reset(); }

  bool pointing_up() const { return pointing_up_; }
  // Without power it stops, and does not move.
  void supply(bool alive);
  int64_t load_milliwatts() const { return moving(pan) || moving(tilt) ? build_.load_milliwatts : 0; }
  // Turns tilt round: where it stands, its limits, and its soft limits with them.
  void mount(bool pointing_up);
  // Stops, hangs, and forgets soft limits.
  void reset();

  Watchers<> movement_changed;  // an axis has started or stopped; those that do together are told of once

 private:
  void announce();
  void move_axis(Axis axis, int64_t target, int64_t speed);
  void stop_axis(Axis axis);

  const Build build_;
  Timeline& timeline_;
  Lens* lens_;
  std::array<Motor, 2> motors_;
  std::array<std::optional<Limits>, axes> soft_;
  std::array<bool, axes> told_moving_ = {};
  bool pointing_up_ = false;
  bool alive_ = true;
  bool starting_ = false;  // axis by axis, so that what they tell has to wait
  Timer arrival_;
};

}  // namespace rovk::unit::things
