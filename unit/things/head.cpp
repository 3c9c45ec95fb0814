#include "unit/things/head.h"

#include <algorithm>
#include <cstdlib>

namespace rovk::unit::things {

Head::Head(Timeline& timeline, const Build& build, Lens* lens)
    : build_(build), timeline_(timeline), lens_(lens && lens->build().has_zoom ? lens : nullptr), arrival_(timeline) {
  if (lens_) lens_->zoom().movement_changed.add([this](bool) { announce(); });
}

int64_t Head::position(Axis axis) const {
  if (axis != zoom) return motors_[axis].position(timeline_.now());
  return lens_ ? lens_->decix() : build_.limits[zoom].min_position;
}

int64_t Head::velocity(Axis axis) const {
  if (axis != zoom) return motors_[axis].velocity(timeline_.now());
  return lens_ ? lens_->zoom().velocity() / lens_->steps_per_decix() : 0;
}

bool Head::moving(Axis axis) const {
  if (axis != zoom) return motors_[axis].moving(timeline_.now());
  return lens_ && lens_->zoom().moving();
}

Head::Limits Head::hard_limits(Axis axis) const {
  Limits limits = build_.limits[axis];
  if (axis == tilt && pointing_up_) {
    std::swap(limits.min_position, limits.max_position);
    limits.min_position = -limits.min_position;
    limits.max_position = -limits.max_position;
  }
  return limits;
}

Head::Limits Head::limits(Axis axis) const { return soft_[axis] ? *soft_[axis] : hard_limits(axis); }

void Head::move_axis(Axis axis, int64_t target, int64_t speed) {
  if (axis != zoom && !alive_) return;
  if (axis != zoom) {
    motors_[axis].move(timeline_.now(), target, speed);
  } else if (lens_) {
    lens_->zoom().travel({lens_->zoom_steps(target)}, speed * lens_->steps_per_decix());
  }
}

void Head::stop_axis(Axis axis) {
  if (axis != zoom) {
    motors_[axis].stop(timeline_.now());
  } else if (lens_) {
    lens_->zoom().stop();
  }
}

void Head::move(const Targets& targets, const Targets& speeds) {
  starting_ = true;
  for (const Axis axis : {pan, tilt, zoom}) move_axis(axis, targets[axis], speeds[axis]);
  starting_ = false;
  announce();
}

void Head::run(const Targets& velocities) {
  starting_ = true;
  for (const Axis axis : {pan, tilt, zoom}) {
    if (velocities[axis] == 0) {
      stop_axis(axis);
      continue;
    }
    // An axis beyond a soft limit does not come back by a run outwards.
    const int64_t here = position(axis);
    const int64_t end =
        velocities[axis] > 0 ? std::max(limits(axis).max_position, here) : std::min(limits(axis).min_position, here);
    move_axis(axis, end, std::abs(velocities[axis]));
  }
  starting_ = false;
  announce();
}

void Head::set_soft_limits(Axis axis, const Limits& limits) {
  soft_[axis] = limits;
  const int64_t now_at = velocity(axis);
  if (now_at != 0) {
    const int64_t here = position(axis);
    const int64_t target = axis == zoom ? lens_->build().wide_decix + lens_->zoom().target() / lens_->steps_per_decix()
                                        : motors_[axis].target();
    const int64_t end = std::clamp(target, limits.min_position, limits.max_position);
    if ((end > here) == (now_at > 0) && end != here) {
      move_axis(axis, end, std::clamp(std::abs(now_at), limits.min_velocity, limits.max_velocity));
    } else {
      stop_axis(axis);
    }
  }
  announce();
}

void Head::mount(bool pointing_up) {
  if (pointing_up == pointing_up_) return;
  pointing_up_ = pointing_up;
  motors_[tilt] = Motor(-motors_[tilt].position(timeline_.now()));
  soft_[tilt].reset();
  announce();
}

void Head::supply(bool alive) {
  alive_ = alive;
  if (alive) return;
  stop_axis(pan);
  stop_axis(tilt);
  announce();
}

void Head::reset() {
  for (auto& limits : soft_) limits.reset();
  mount(false);
  run({});
}

// Plans for the next axis that stops; the zoom tells of itself.
void Head::announce() {
  if (starting_) return;
  arrival_.stop();
  std::optional<Time> next;
  for (const Motor& motor : motors_) {
    if (motor.moving(timeline_.now()) && (!next || motor.arrival() < *next)) next = motor.arrival();
  }
  if (next) arrival_.set(*next, [this] { announce(); });
  const std::array<bool, axes> now = {moving(pan), moving(tilt), moving(zoom)};
  if (now == told_moving_) return;
  told_moving_ = now;
  movement_changed.tell();
}

}  // namespace rovk::unit::things
