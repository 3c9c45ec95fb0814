// Views that drive motors of a lens. A motor that is to move and cannot is a fault of each of them, which
// stays until what holds the motor is gone and the fault is cleared; their reset stops the motor where it is.
#pragma once

#include <algorithm>
#include <vector>

#include "unit/services/view.h"
#include "unit/things/lens.h"

namespace rovk::unit {

template <typename Base>
class Driving : public Base {
 public:
  using Base::Base;

  void reset() override {
    Base::reset();
    for (things::LensMotor* motor : motors_) motor->reset();
  }
  // Only a motor that is made to move shows that it is held.
  bool self_test(bool disruptive) override {
    return std::none_of(motors_.begin(), motors_.end(), [disruptive](const things::LensMotor* motor) {
      return motor->is_stuck() || (disruptive && motor->blocked());
    });
  }
  Fault standing_fault() override {
    const bool stuck =
        std::any_of(motors_.begin(), motors_.end(), [](const things::LensMotor* motor) { return motor->is_stuck(); });
    return stuck ? Fault::motor_blocked : Fault::none;
  }

 protected:
  void drive(things::LensMotor& motor) {
    if (std::find(motors_.begin(), motors_.end(), &motor) != motors_.end()) return;
    motors_.push_back(&motor);
    motor.stuck.add([this] { this->host().fail(*this, Fault::motor_blocked); });
  }

 private:
  std::vector<things::LensMotor*> motors_;
};

// Refuses unless a run has come to its end: another run took its place, or the motor is held.
inline void must_arrive(const Call& call, things::LensMotor::End end) {
  if (end == things::LensMotor::End::superseded) call.refuse("busy");
  if (end == things::LensMotor::End::blocked) {
    call.refuse("fault_exists", {static_cast<int64_t>(Fault::motor_blocked)});
  }
}

// Sets out and does not wait.
inline void set_out(const Call& call, things::LensMotor& motor, int64_t target) {
  motor.move(target);
  if (motor.is_stuck()) must_arrive(call, things::LensMotor::End::blocked);
}

// Sets out; the command ends when the motor has arrived.
inline void set_out_and_wait(Call& call, things::LensMotor& motor, int64_t target) {
  const Ticket ticket = call.wait();
  motor.move(target,
             [ticket](things::LensMotor::End end) { ticket.end([end](Call& ended) { must_arrive(ended, end); }); });
}

}  // namespace rovk::unit
