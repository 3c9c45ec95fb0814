// The motors of the lens as actuators, by steps and positions: both generations of linear actuators,
// the iris, the zoom and the move to the calibrated back focus.
#include <rovk/constants.h>

#include "unit/services/calibration_data.h"
#include "unit/services/lens_parts.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

bool is_zoom(const View& model, unsigned device) {
  return model.setup().devices.at(device) == ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM;
}

// The first generation: steps, speed and a home sensor that can be switched.
class LinearActuator : public View {
 public:
  explicit LinearActuator(const Setup& setup) : View(setup, {}) {
    on("get_id", [this](Call& call) {
      call.set("id", is_zoom(*this, 0) ? ROVK_LINEAR_ACTUATOR_000D_ZOOM_ID : ROVK_LINEAR_ACTUATOR_000D_FOCUS_ID);
    });
    on("move_steps", [this](Call& call) { move_steps(call); });
    on("set_position", [this](Call& call) {
      LensMotor& motor = motor_of(call);
      motor.move(call.within("position", 0, motor.build().high));
    });
    on("get_position", [this](Call& call) {
      const LensMotor& motor = motor_of(call);
      call.set("position", motor.position());
      call.set("min_position", 0);
      call.set("max_position", motor.build().high);
    });
    on("set_speed", [this](Call& call) {
      motor_of(call).set_speed(call.within("speed", LensMotor::lowest_speed, LensMotor::highest_speed));
    });
    on("get_speed", [this](Call& call) {
      call.set("speed", motor_of(call).speed());
      call.set("max_speed", LensMotor::highest_speed);
    });
    on("move_home", [this](Call& call) {
      LensMotor& motor = motor_of(call);
      // Home is where the sensor says, so without the sensor there is none to go to.
      if (!motor.home_sensor()) call.refuse("invalid_sequence", {call.command().opcode});
      motor.move(motor.build().home);
    });
    on("get_home_position", [this](Call& call) { call.set("home_position", motor_of(call).build().home); });
    on("get_home_sense", [this](Call& call) { call.set("home_sense_value", motor_of(call).home_sensed()); });
    on("set_home_sensor_enable",
       [this](Call& call) { motor_of(call).enable_home_sensor(call.within("enable", 0, 1) != 0); });
    on("get_home_sensor_enable", [this](Call& call) { call.set("enable", motor_of(call).home_sensor()); });
  }

  void reset() override {
    View::reset();
    for (unsigned i = 0; i < devices(); ++i) motor(i).reset();
  }

  bool self_test(bool disruptive) override {
    // Only a motor that is made to move shows that it is stuck.
    for (unsigned i = 0; disruptive && i < devices(); ++i) {
      if (motor(i).blocked()) return false;
    }
    return true;
  }

 private:
  LensMotor& motor(unsigned index) {
    Lens& lens = lens_of(host());
    return is_zoom(*this, index) ? lens.zoom() : lens.focus();
  }
  LensMotor& motor_of(const Call& call) { return motor(device(call)); }

  // Steps count from where the motor stands. With `block` the answer waits for the end of the way.
  void move_steps(Call& call) {
    LensMotor& motor = motor_of(call);
    const int64_t target = motor.position() + call.number("steps");
    if (target < 0 || target > motor.build().high) call.refuse_input("steps");
    const Time duration = motor.move(target);
    if (call.number("block") != 0) call.take(duration);
  }
};

// The second generation.
class LinearActuators : public View {
 public:
  explicit LinearActuators(const Setup& setup) : View(setup, {}) {
    on("get_position", [this](Call& call) {
      const LensMotor& motor = motor_of(call);
      call.set("position", motor.position());
      call.set("speed", motor.speed());
      call.set("min", 0);
      call.set("max", motor.build().high);
      call.set("home", motor.build().home);
    });
    on("set_position", [this](Call& call) {
      LensMotor& motor = motor_of(call);
      const int64_t position = call.within("position", 0, motor.build().high);
      motor.set_speed(call.within("speed", LensMotor::lowest_speed, LensMotor::highest_speed));
      motor.move(position);
    });
    on("get_speed_limits", [](Call& call) {
      call.set("min", LensMotor::lowest_speed);
      call.set("max", LensMotor::highest_speed);
    });
  }

  void reset() override {
    View::reset();
    Lens& lens = lens_of(host());
    for (LensMotor* motor : {&lens.focus(), &lens.zoom()}) motor->reset();
  }

  void sense(Input input, unsigned, int64_t) override { lens_of(host()).sense(input); }

 private:
  LensMotor& motor_of(const Call& call) {
    Lens& lens = lens_of(host());
    return is_zoom(*this, device(call)) ? lens.zoom() : lens.focus();
  }
};

// Blades that close at 0 and are wide open at the other end.
class Iris : public View {
 public:
  explicit Iris(const Setup& setup) : View(setup, {}), blades_(devices(), Motor(open)) {
    on("set_position", [this](Call& call) { move(call, call.within("position", closed, open)); });
    on("open_position", [this](Call& call) { move(call, open); });
    on("closed_position", [this](Call& call) { move(call, closed); });
    on("get_position", [this](Call& call) {
      call.set("position", blades_[device(call)].position(host().now()));
      call.set("min_position", closed);
      call.set("max_position", open);
    });
  }

  void reset() override {
    View::reset();
    blades_.assign(devices(), Motor(open));
  }

 private:
  static constexpr int64_t closed = 0;
  static constexpr int64_t open = 1000;
  static constexpr int64_t steps_per_second = 2000;

  void move(const Call& call, int64_t target) { blades_[device(call)].move(host().now(), target, steps_per_second); }

  std::vector<Motor> blades_;
};

// The zoom of the lens as a position of its motor.
class Zoom : public View {
 public:
  explicit Zoom(const Setup& setup) : View(setup, {}) {
    on("get_position", [this](Call& call) {
      const LensMotor& motor = lens_of(host()).zoom();
      call.set("position", motor.position());
      call.set("min", 0);
      call.set("max", motor.build().high);
    });
    on("set_position", [this](Call& call) {
      LensMotor& motor = lens_of(host()).zoom();
      motor.move(call.within("position", 0, motor.build().high));
    });
  }
};

// Goes to the place that the Z calibration found. Answers when it is there.
class AutoBackFocus : public View {
 public:
  explicit AutoBackFocus(const Setup& setup) : View(setup, {}) {
    on("move_calibrated_home", [this](Call& call) {
      const std::optional<int64_t> position = calibrated_focus(host());
      if (!position) call.refuse("not_calibrated");
      call.take(lens_of(host()).focus().move(*position));
    });
  }
};

}  // namespace

Lens& lens_of(Host& host) { return host.body().only<Lens>(host); }

std::unique_ptr<View> make_linear_actuator_000d(const Setup& setup) { return std::make_unique<LinearActuator>(setup); }

std::unique_ptr<View> make_linear_actuator_0028(const Setup& setup) { return std::make_unique<LinearActuators>(setup); }

std::unique_ptr<View> make_iris_0010(const Setup& setup) { return std::make_unique<Iris>(setup); }

std::unique_ptr<View> make_zoom_0021(const Setup& setup) { return std::make_unique<Zoom>(setup); }

std::unique_ptr<View> make_auto_back_focus_0020(const Setup& setup) { return std::make_unique<AutoBackFocus>(setup); }

}  // namespace rovk::unit
