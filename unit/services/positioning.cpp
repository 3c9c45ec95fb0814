// The head that points the unit: pan, tilt and zoom, each an axis that moves in time between limits.
// A place or a speed beyond the limits is refused; a run at a speed goes on to the limit and stops there.
#include <rovk/constants.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <optional>
#include <string>

#include "unit/services/views.h"
#include "unit/things/motor.h"

namespace rovk::unit {
namespace {

struct Limits {
  int64_t min_position;
  int64_t max_position;
  int64_t min_velocity;  // the slowest that the axis can turn
  int64_t max_velocity;
};

enum AxisName : unsigned { pan, tilt, zoom };
constexpr unsigned axis_count = 3;
constexpr std::array<const char*, axis_count> axis_names = {"pan", "tilt", "zoom"};
constexpr std::array<const char*, axis_count> axis_units = {"millidegrees", "millidegrees", "deciX"};

// What a head can do. Tilt is that of a head that hangs; one that points up has it the other way round.
struct Build {
  std::array<Limits, axis_count> limits;
  double widest_degrees;  // angle of view without magnification
};
constexpr Build optical_head = {
    {{{0, 359'999, 50, 120'000}, {-90'000, 20'000, 50, 60'000}, {10, 300, 1, 100}}},
    60.0,
};
constexpr Build thermal_head = {
    {{{0, 359'999, 50, 120'000}, {-90'000, 20'000, 50, 60'000}, {10, 40, 1, 20}}},
    25.0,
};
// The least way between soft limits, so that an axis keeps room to move.
constexpr std::array<int64_t, axis_count> separation = {10'000, 5'000, 5};

// Names of the fields that differ by axis or unit.
struct Fields {
  explicit Fields(unsigned axis)
      : position(std::string(axis_names[axis]) + "_" + axis_units[axis]),
        velocity(position + "_per_second"),
        min_position(std::string("min_position_") + axis_units[axis]),
        max_position(std::string("max_position_") + axis_units[axis]),
        separation(std::string("min_position_separation_") + axis_units[axis]),
        min_velocity(std::string("min_velocity_") + axis_units[axis] + "_per_second"),
        max_velocity(std::string("max_velocity_") + axis_units[axis] + "_per_second"),
        clear(std::string("clear_") + axis_names[axis] + "_soft_limits") {}

  std::string position;
  std::string velocity;  // set_position's speed is called so too
  std::string min_position;
  std::string max_position;
  std::string separation;
  std::string min_velocity;
  std::string max_velocity;
  std::string clear;
};

const Fields& fields_of(unsigned axis) {
  static const std::array<Fields, axis_count> all = {Fields(pan), Fields(tilt), Fields(zoom)};
  return all[axis];
}

struct Axis {
  Limits implementation;
  std::optional<Limits> soft = {};
  Motor motor = Motor();

  const Limits& limits() const { return soft ? *soft : implementation; }

  // Runs on until the limit. An axis beyond a soft limit does not come back by a run outwards.
  void run(Time now, int64_t velocity) {
    const int64_t here = motor.position(now);
    const int64_t end = velocity > 0 ? std::max(limits().max_position, here) : std::min(limits().min_position, here);
    motor.move(now, end, std::abs(velocity));
  }

  // A movement under way that the new limits do not allow ends at the limit, or at once when the limit
  // lies behind.
  void keep_within(Time now) {
    const int64_t velocity = motor.velocity(now);
    if (velocity == 0) return;
    const int64_t here = motor.position(now);
    const int64_t end = std::clamp(motor.target(), limits().min_position, limits().max_position);
    const int64_t speed = std::clamp(std::abs(velocity), limits().min_velocity, limits().max_velocity);
    if ((end > here) == (velocity > 0) && end != here) {
      motor.move(now, end, speed);
    } else {
      motor.stop(now);
    }
  }
};

struct Head {
  explicit Head(const Build& built) : build(built) {
    for (unsigned i = 0; i < axis_count; ++i) axes[i].implementation = built.limits[i];
    axes[zoom].motor = Motor(built.limits[zoom].min_position);
  }

  Build build;
  std::array<Axis, axis_count> axes = {};
  std::array<int64_t, axis_count> announced = {movement_stopped, movement_stopped, movement_stopped};
  std::optional<TimerId> timer = {};  // the next stop of an axis
  bool pointing_up = false;
};

class Positioning : public View {
 public:
  explicit Positioning(const Setup& setup) : View(setup, {}) {
    make_heads();
    on("get_position", [this](Call& call) {
      for (unsigned i = 0; i < axis_count; ++i) call.set(fields_of(i).position, axis(call, i).motor.position(now()));
    });
    on("get_velocity", [this](Call& call) {
      for (unsigned i = 0; i < axis_count; ++i) call.set(fields_of(i).velocity, axis(call, i).motor.velocity(now()));
    });
    on("set_position", [this](Call& call) { set_position(call); });
    on("set_velocity", [this](Call& call) { set_velocity(call); });
    on("get_angle_of_view", [this](Call& call) { get_angle_of_view(call); });
    on("clear_soft_limits", [this](Call& call) {
      for (unsigned i = 0; i < axis_count; ++i) {
        if (call.number(fields_of(i).clear) != 0) axis(call, i).soft.reset();
      }
    });
    on("get_mounted_pointing_up",
       [this](Call& call) { call.set("mounted_pointing_up", heads_[device(call)].pointing_up); });
    on("set_mounted_pointing_up", [this](Call& call) { set_mounting(call); });
    for (unsigned i = 0; i < axis_count; ++i) {
      const std::string name = axis_names[i];
      on(command("get_implementation_" + name + "_limits"), [this, i](Call& call) {
        call.set(fields_of(i).separation, separation[i]);
        answer_limits(call, i, axis(call, i).implementation);
      });
      // Without soft limits the numbers are those that hold in their place.
      on(command("get_soft_" + name + "_limits"), [this, i](Call& call) {
        call.set("valid", axis(call, i).soft.has_value());
        answer_limits(call, i, axis(call, i).limits());
      });
      on(command("set_soft_" + name + "_limits"), [this, i](Call& call) { set_soft_limits(call, i); });
    }
  }

  void reset() override {
    View::reset();
    for (Head& head : heads_) {
      if (head.timer) host().cancel(*head.timer);
    }
    make_heads();
  }

 private:
  void make_heads() {
    heads_.clear();
    for (const uint32_t id : setup().devices) {
      heads_.emplace_back(id == ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_THERMAL ? thermal_head : optical_head);
    }
  }

  Time now() { return host().now(); }
  Axis& axis(const Call& call, unsigned i) { return heads_[device(call)].axes[i]; }
  // The catalogue's own text of a command's name, which lives as long as handlers do.
  const char* command(const std::string& name) const { return catalogue::find_command(service(), name)->name; }

  static void answer_limits(Call& call, unsigned i, const Limits& limits) {
    const Fields& fields = fields_of(i);
    call.set(fields.min_position, limits.min_position);
    call.set(fields.max_position, limits.max_position);
    call.set(fields.min_velocity, limits.min_velocity);
    call.set(fields.max_velocity, limits.max_velocity);
  }

  // Soft limits lie within the implementation's, in order, and positions with some way between.
  void set_soft_limits(Call& call, unsigned i) {
    const Fields& fields = fields_of(i);
    const Limits& hard = axis(call, i).implementation;
    Limits soft = {};
    soft.min_position = call.within(fields.min_position, hard.min_position, hard.max_position);
    soft.max_position = call.within(fields.max_position, soft.min_position + separation[i], hard.max_position);
    soft.min_velocity = call.within(fields.min_velocity, hard.min_velocity, hard.max_velocity);
    soft.max_velocity = call.within(fields.max_velocity, soft.min_velocity, hard.max_velocity);
    axis(call, i).soft = soft;
    axis(call, i).keep_within(now());
    announce(device(call));
  }

  // All inputs are looked at before anything moves.
  void set_position(Call& call) {
    std::array<int64_t, axis_count> targets = {};
    std::array<int64_t, axis_count> speeds = {};
    for (unsigned i = 0; i < axis_count; ++i) {
      const Limits& limits = axis(call, i).limits();
      targets[i] = call.within(fields_of(i).position, limits.min_position, limits.max_position);
      speeds[i] = call.within(fields_of(i).velocity, limits.min_velocity, limits.max_velocity);
    }
    for (unsigned i = 0; i < axis_count; ++i) axis(call, i).motor.move(now(), targets[i], speeds[i]);
    announce(device(call));
  }

  void set_velocity(Call& call) {
    std::array<int64_t, axis_count> velocities = {};
    for (unsigned i = 0; i < axis_count; ++i) {
      const Limits& limits = axis(call, i).limits();
      velocities[i] = call.number(fields_of(i).velocity);
      const int64_t speed = std::abs(velocities[i]);
      if (speed != 0 && (speed < limits.min_velocity || speed > limits.max_velocity)) {
        call.refuse_input(fields_of(i).velocity);
      }
    }
    for (unsigned i = 0; i < axis_count; ++i) {
      if (velocities[i] == 0) {
        axis(call, i).motor.stop(now());
      } else {
        axis(call, i).run(now(), velocities[i]);
      }
    }
    announce(device(call));
  }

  void get_angle_of_view(Call& call) {
    const Head& head = heads_[device(call)];
    const auto angle = [&head](int64_t deci_x) {
      const double half = head.build.widest_degrees / 2 / 180 * std::numbers::pi;
      const double seen = 2 * std::atan(std::tan(half) * 10 / static_cast<double>(deci_x));
      return std::llround(seen / std::numbers::pi * 180'000);
    };
    const Axis& magnification = head.axes[zoom];
    call.set("current_magnification_angle_of_view_millidegrees", angle(magnification.motor.position(now())));
    call.set("min_magnification_angle_of_view_millidegrees", angle(magnification.implementation.min_position));
    call.set("max_magnification_angle_of_view_millidegrees", angle(magnification.implementation.max_position));
  }

  // Turning the head over turns tilt round: where it stands, its limits, and with them the soft ones.
  void set_mounting(Call& call) {
    Head& head = heads_[device(call)];
    const bool up = call.within("mounted_pointing_up", 0, 1) != 0;
    if (up == head.pointing_up) return;
    head.pointing_up = up;
    Axis& turned = head.axes[tilt];
    turned.motor = Motor(-turned.motor.position(now()));
    std::swap(turned.implementation.min_position, turned.implementation.max_position);
    turned.implementation.min_position = -turned.implementation.min_position;
    turned.implementation.max_position = -turned.implementation.max_position;
    turned.soft.reset();
    announce(device(call));
  }

  // Tells when an axis has started or stopped, and plans for the next that stops. Axes that stop at the
  // same time make one event.
  void announce(unsigned index) {
    Head& head = heads_[index];
    if (head.timer) host().cancel(*head.timer);
    head.timer.reset();
    std::array<int64_t, axis_count> moving = {};
    std::optional<Time> next;
    for (unsigned i = 0; i < axis_count; ++i) {
      const Motor& motor = head.axes[i].motor;
      moving[i] = motor.moving(now()) ? movement_moving : movement_stopped;
      if (motor.moving(now()) && (!next || motor.arrival() < *next)) next = motor.arrival();
    }
    if (next) {
      head.timer = host().at(*next, [this, index] {
        heads_[index].timer.reset();
        announce(index);
      });
    }
    if (moving == head.announced) return;
    head.announced = moving;
    host().raise(*this, "movement_change", {index, moving[pan], moving[tilt], moving[zoom]});
  }

  std::vector<Head> heads_;
};

}  // namespace

std::unique_ptr<View> make_positioning_002a(const Setup& setup) { return std::make_unique<Positioning>(setup); }

}  // namespace rovk::unit
