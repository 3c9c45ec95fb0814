// The head that points the unit: pan, tilt and zoom, each an axis that moves in time between limits.
// A place or a speed beyond the limits is refused; a run at a speed goes on to the limit and stops there.
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

#include "unit/services/views.h"
#include "unit/things/head.h"

namespace rovk::unit {
namespace {

using things::Head;

constexpr std::array<Head::Axis, Head::axes> all_axes = {Head::pan, Head::tilt, Head::zoom};
constexpr std::array<const char*, Head::axes> axis_names = {"pan", "tilt", "zoom"};
constexpr std::array<const char*, Head::axes> axis_units = {"millidegrees", "millidegrees", "deciX"};

// Names of the fields that differ by axis or unit.
struct Fields {
  explicit Fields(Head::Axis axis)
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

const Fields& fields_of(Head::Axis axis) {
  static const std::array<Fields, Head::axes> all = {Fields(Head::pan), Fields(Head::tilt), Fields(Head::zoom)};
  return all[axis];
}

class Positioning final : public View {
 public:
  explicit Positioning(const Setup& setup) : View(setup, {}), heads_(all_things<Head>()) {
    const catalogue::Event& change = event("movement_change");
    for (unsigned i = 0; i < devices(); ++i) {
      heads_[i]->movement_changed.add([this, i, &change] {
        const Head& moved = *heads_[i];
        host().raise(*this, change, {i, moved.moving(Head::pan), moved.moving(Head::tilt), moved.moving(Head::zoom)});
      });
    }
    on("get_position", [this](Call& call) {
      for (const Head::Axis axis : all_axes) call.set(fields_of(axis).position, head(call).position(axis));
    });
    on("get_velocity", [this](Call& call) {
      for (const Head::Axis axis : all_axes) call.set(fields_of(axis).velocity, head(call).velocity(axis));
    });
    on("set_position", [this](Call& call) { set_position(call); });
    on("set_velocity", [this](Call& call) { set_velocity(call); });
    on("get_angle_of_view", [this](Call& call) { get_angle_of_view(call); });
    on("clear_soft_limits", [this](Call& call) {
      for (const Head::Axis axis : all_axes) {
        if (call.number(fields_of(axis).clear) != 0) head(call).clear_soft_limits(axis);
      }
    });
    on("get_mounted_pointing_up", [this](Call& call) { call.set("mounted_pointing_up", head(call).pointing_up()); });
    on("set_mounted_pointing_up",
       [this](Call& call) { head(call).mount(call.within("mounted_pointing_up", 0, 1) != 0); });
    for (const Head::Axis axis : all_axes) {
      const std::string name = axis_names[axis];
      on("get_implementation_" + name + "_limits", [this, axis](Call& call) {
        call.set(fields_of(axis).separation, head(call).build().limits[axis].separation);
        answer_limits(call, axis, head(call).hard_limits(axis));
      });
      // Without soft limits the numbers are those that hold in their place.
      on("get_soft_" + name + "_limits", [this, axis](Call& call) {
        call.set("valid", head(call).has_soft_limits(axis));
        answer_limits(call, axis, head(call).limits(axis));
      });
      on("set_soft_" + name + "_limits", [this, axis](Call& call) { set_soft_limits(call, axis); });
    }
  }

  void reset() override {
    View::reset();
    for (Head* head : heads_) head->reset();
  }

 private:
  Head& head(const Call& call) const { return *heads_[device(call)]; }

  static void answer_limits(Call& call, Head::Axis axis, const Head::Limits& limits) {
    const Fields& fields = fields_of(axis);
    call.set(fields.min_position, limits.min_position);
    call.set(fields.max_position, limits.max_position);
    call.set(fields.min_velocity, limits.min_velocity);
    call.set(fields.max_velocity, limits.max_velocity);
  }

  // Soft limits lie within the implementation's, in order, and positions with some way between.
  void set_soft_limits(Call& call, Head::Axis axis) {
    const Fields& fields = fields_of(axis);
    const Head::Limits hard = head(call).hard_limits(axis);
    Head::Limits soft = {};
    soft.min_position = call.within(fields.min_position, hard.min_position, hard.max_position);
    soft.max_position = call.within(fields.max_position, soft.min_position + hard.separation, hard.max_position);
    soft.min_velocity = call.within(fields.min_velocity, hard.min_velocity, hard.max_velocity);
    soft.max_velocity = call.within(fields.max_velocity, soft.min_velocity, hard.max_velocity);
    head(call).set_soft_limits(axis, soft);
  }

  // All inputs are looked at before anything moves.
  void set_position(Call& call) {
    Head::Targets targets = {};
    Head::Targets speeds = {};
    for (const Head::Axis axis : all_axes) {
      const Head::Limits limits = head(call).limits(axis);
      targets[axis] = call.within(fields_of(axis).position, limits.min_position, limits.max_position);
      speeds[axis] = call.within(fields_of(axis).velocity, limits.min_velocity, limits.max_velocity);
    }
    head(call).move(targets, speeds);
  }

  void set_velocity(Call& call) {
    Head::Targets velocities = {};
    for (const Head::Axis axis : all_axes) {
      const Head::Limits limits = head(call).limits(axis);
      velocities[axis] = call.number(fields_of(axis).velocity);
      const int64_t speed = std::abs(velocities[axis]);
      if (speed != 0 && (speed < limits.min_velocity || speed > limits.max_velocity)) {
        call.refuse_input(fields_of(axis).velocity);
      }
    }
    head(call).run(velocities);
  }

  void get_angle_of_view(Call& call) {
    const Head& asked = head(call);
    const Head::Limits limits = asked.hard_limits(Head::zoom);
    const auto angle = [&asked](int64_t decix) {
      constexpr double millidegrees = 1000;
      return asked.lens() ? std::llround(asked.lens()->angle_of_view(decix) * millidegrees) : 0;
    };
    call.set("current_magnification_angle_of_view_millidegrees", angle(asked.position(Head::zoom)));
    call.set("min_magnification_angle_of_view_millidegrees", angle(limits.min_position));
    call.set("max_magnification_angle_of_view_millidegrees", angle(limits.max_position));
  }

  std::vector<Head*> heads_;
};

}  // namespace

std::unique_ptr<View> make_positioning_002a(const Setup& setup) { return std::make_unique<Positioning>(setup); }

}  // namespace rovk::unit
