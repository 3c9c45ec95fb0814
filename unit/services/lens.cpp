// The motors of a lens as actuators, by steps and positions: both generations of linear actuators, the
// iris, the zoom and the move to the calibrated back focus. A movement is told of by all of them.
#include <rovk/constants.h>

#include "unit/services/calibration_data.h"
#include "unit/services/driving.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Lens;
using things::LensMotor;

// Actuators of either generation: the device's number tells which motor of the lens it is, focus when it
// has none.
class Actuators : public Driving<View> {
 public:
  explicit Actuators(const Setup& setup) : Driving(setup, std::span<const Register>{}) {
    unsigned zooms = 0;
    for (unsigned i = 0; i < devices(); ++i) {
      // The n-th of either kind belongs to the n-th lens.
      Lens& lens = thing<Lens>(i, is_zoom(i) ? zooms++ : i - zooms);
      motors_.push_back(is_zoom(i) ? &lens.zoom() : &lens.focus());
      drive(*motors_.back());
    }
  }

 protected:
  bool is_zoom(unsigned index) const {
    return setup().devices[index] == ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM;
  }
  LensMotor& motor(const Call& call) const { return *motors_[device(call)]; }
  static int64_t place(const Call& call, const LensMotor& motor) {
    return call.within("position", 0, motor.build().high);
  }
  static int64_t speed(const Call& call, const LensMotor& motor) {
    return call.within("speed", motor.build().lowest_speed, motor.build().highest_speed);
  }

 private:
  std::vector<LensMotor*> motors_;
};

// The first generation: steps, speed and a home sensor that can be switched.
class Actuator000d final : public Actuators {
 public:
  explicit Actuator000d(const Setup& setup) : Actuators(setup) {
    on("get_id", [this](Call& call) {
      call.set("id", is_zoom(0) ? ROVK_LINEAR_ACTUATOR_000D_ZOOM_ID : ROVK_LINEAR_ACTUATOR_000D_FOCUS_ID);
    });
    queue("move_steps", [this](Call& call) { move_steps(call); });
    on("set_position", [this](Call& call) { set_out(call, motor(call), place(call, motor(call))); });
    on("get_position", [this](Call& call) {
      call.set("position", motor(call).position());
      call.set("min_position", 0);
      call.set("max_position", motor(call).build().high);
    });
    on("set_speed", [this](Call& call) { motor(call).set_speed(speed(call, motor(call))); });
    on("get_speed", [this](Call& call) {
      call.set("speed", motor(call).speed());
      call.set("max_speed", motor(call).build().highest_speed);
    });
    on("move_home", [this](Call& call) {
      // Home is where the sensor says, so without the sensor there is none to go to.
      if (!motor(call).home_sensor()) call.refuse("invalid_sequence", {call.command().opcode});
      set_out(call, motor(call), motor(call).build().home);
    });
    on("get_home_position", [this](Call& call) { call.set("home_position", motor(call).build().home); });
    on("get_home_sense", [this](Call& call) { call.set("home_sense_value", motor(call).home_sensed()); });
    on("set_home_sensor_enable",
       [this](Call& call) { motor(call).enable_home_sensor(call.within("enable", 0, 1) != 0); });
    on("get_home_sensor_enable", [this](Call& call) { call.set("enable", motor(call).home_sensor()); });
  }

 private:
  // Steps count from where the motor stands. With `block` the answer waits for the end of the way.
  void move_steps(Call& call) {
    LensMotor& moved = motor(call);
    const int64_t target = moved.position() + call.number("steps");
    if (target < 0 || target > moved.build().high) call.refuse_input("steps");
    if (call.number("block") != 0) {
      set_out_and_wait(call, moved, target);
    } else {
      set_out(call, moved, target);
    }
  }
};

class Actuator0028 final : public Actuators {
 public:
  explicit Actuator0028(const Setup& setup) : Actuators(setup) {
    on("get_position", [this](Call& call) {
      call.set("position", motor(call).position());
      call.set("speed", motor(call).speed());
      call.set("min", 0);
      call.set("max", motor(call).build().high);
      call.set("home", motor(call).build().home);
    });
    on("set_position", [this](Call& call) {
      const int64_t target = place(call, motor(call));
      motor(call).set_speed(speed(call, motor(call)));
      set_out(call, motor(call), target);
    });
    on("get_speed_limits", [this](Call& call) {
      call.set("min", motor(call).build().lowest_speed);
      call.set("max", motor(call).build().highest_speed);
    });
  }
};

// Blades that close at 0 and are wide open at the other end.
class Iris final : public Driving<View> {
 public:
  explicit Iris(const Setup& setup) : Driving(setup, std::span<const Register>{}), lenses_(all_things<Lens>()) {
    for (Lens* lens : lenses_) drive(lens->iris());
    on("set_position", [this](Call& call) { set_out(call, blades(call), call.within("position", 0, open(call))); });
    on("open_position", [this](Call& call) { set_out(call, blades(call), open(call)); });
    on("closed_position", [this](Call& call) { set_out(call, blades(call), 0); });
    on("get_position", [this](Call& call) {
      call.set("position", blades(call).position());
      call.set("min_position", 0);
      call.set("max_position", open(call));
    });
  }

 private:
  LensMotor& blades(const Call& call) const { return lenses_[device(call)]->iris(); }
  int64_t open(const Call& call) const { return blades(call).build().high; }

  std::vector<Lens*> lenses_;
};

// The zoom of a lens as a position of its motor.
class Zoom final : public Driving<View> {
 public:
  explicit Zoom(const Setup& setup) : Driving(setup, std::span<const Register>{}), lenses_(all_things<Lens>()) {
    for (Lens* lens : lenses_) drive(lens->zoom());
    on("get_position", [this](Call& call) {
      call.set("position", motor(call).position());
      call.set("min", 0);
      call.set("max", motor(call).build().high);
    });
    on("set_position",
       [this](Call& call) { set_out(call, motor(call), call.within("position", 0, motor(call).build().high)); });
  }

 private:
  LensMotor& motor(const Call& call) const { return lenses_[device(call)]->zoom(); }

  std::vector<Lens*> lenses_;
};

// Goes to the place that the Z calibration found. Answers when it is there.
class AutoBackFocus final : public Driving<View> {
 public:
  explicit AutoBackFocus(const Setup& setup)
      : Driving(setup, std::span<const Register>{}), lenses_(all_things<Lens>()) {
    for (Lens* lens : lenses_) drive(lens->focus());
    queue("move_calibrated_home", [this](Call& call) {
      const std::optional<int64_t> position = calibrated_focus(*this, device(call));
      if (!position) call.refuse("not_calibrated");
      LensMotor& motor = lenses_[device(call)]->focus();
      set_out_and_wait(call, motor, std::min(*position, motor.build().high));
    });
  }

 private:
  std::vector<Lens*> lenses_;
};

}  // namespace

std::unique_ptr<View> make_linear_actuator_000d(const Setup& setup) { return std::make_unique<Actuator000d>(setup); }

std::unique_ptr<View> make_linear_actuator_0028(const Setup& setup) { return std::make_unique<Actuator0028>(setup); }

std::unique_ptr<View> make_iris_0010(const Setup& setup) { return std::make_unique<Iris>(setup); }

std::unique_ptr<View> make_zoom_0021(const Setup& setup) { return std::make_unique<Zoom>(setup); }

std::unique_ptr<View> make_auto_back_focus_0020(const Setup& setup) { return std::make_unique<AutoBackFocus>(setup); }

}  // namespace rovk::unit
