// Outputs behind a PWM: illuminator, heater, fan, and the generic power and speed outputs. The amount
// that an output gives, power or speed, is proportional to its duty cycle, so that the one follows
// wherever the other is set.
#include <algorithm>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// What an output gives at a duty cycle of 100 percent, and the register that tells of it.
struct Amount {
  std::string_view subject;
  std::string_view field;
  int64_t full;

  constexpr int64_t at(int64_t duty_percent) const { return full * duty_percent / 100; }
  constexpr int64_t duty_for(int64_t amount) const { return (amount * 100 + full / 2) / full; }
};

// When a control loop switches its output on and off by itself: at `on` and beyond, and at `off` and
// back, which of the two is beyond being told by their order. Between them nothing changes.
struct Loop {
  Input input;
  int64_t on;
  int64_t off;

  bool decides(int64_t seen, bool now) const {
    if (on < off) return seen <= on || (now && seen < off);
    return seen >= on || (now && seen > off);
  }
};

// Illuminator and heater, and with more to tell the fan. State 0 is off, 1 on; PWM and amount are what
// the output gives when it is on. While the control loop is on, it alone decides on the state, and
// set_state comes in the wrong order.
class Drive : public View {
 public:
  Drive(const Setup& setup, std::span<const Register> registers, const Amount& amount, const Loop& loop)
      : View(setup, registers), amount_(amount), loop_(loop) {
    on("set_control_loop_enable", [this](Call& call) {
      this->registers().run(call, device(call));
      regulate(device(call));
    });
    on("set_pwm", [this](Call& call) {
      this->registers().run(call, device(call));
      const int64_t duty = this->registers().get("pwm", "duty_cycle_percent", device(call));
      this->registers().set(amount_.subject, amount_.field, device(call), amount_.at(duty));
    });
    on(amount.subject == "speed" ? "set_speed" : "set_power", [this](Call& call) {
      this->registers().run(call, device(call));
      this->registers().set("pwm", "duty_cycle_percent", device(call), amount_.duty_for(call.number(amount_.field)));
    });
    on("set_state", [this](Call& call) {
      const bool driven = call.within("state", 0, 1) != 0;
      if (loop_enabled(device(call))) call.refuse("invalid_sequence", {call.command().opcode});
      turn(device(call), driven);
    });
  }

  void sense(Input input, unsigned, int64_t) override {
    if (input != loop_.input) return;
    for (unsigned i = 0; i < devices(); ++i) regulate(i);
  }

 protected:
  bool driven(unsigned index) const { return registers().get("state", "state", index) != 0; }
  int64_t amount(unsigned index) const { return registers().get(amount_.subject, amount_.field, index); }
  virtual void tell(unsigned index) { host().raise(*this, "state_change", {driven(index)}); }

 private:
  bool loop_enabled(unsigned index) const { return registers().get("control_loop_enable", "enable", index) != 0; }

  void turn(unsigned index, bool on) {
    if (driven(index) == on) return;
    registers().set("state", "state", index, on);
    tell(index);
  }

  void regulate(unsigned index) {
    if (loop_enabled(index)) turn(index, loop_.decides(world().get(loop_.input), driven(index)));
  }

  const Amount amount_;
  const Loop loop_;
};

constexpr Amount illuminator_amount = {"power", "milliWatts", 8'000};
constexpr Loop illuminator_loop = {Input::light, 5'000, 12'000};
constexpr Register ir_illuminator_0008[] = {
    {"pwm", "frequency_hz", 100, 100'000, 25'000},
    {"pwm", "duty_cycle_percent", 0, 100, 60},
    {"power", "milliWatts", 0, illuminator_amount.full, illuminator_amount.at(60)},
    {"state", "state", 0, 1, 0},
};

constexpr Amount heater_amount = {"power", "milliWatts", 15'000};
constexpr Loop heater_loop = {Input::temperature, 2'000, 8'000};
constexpr Register heater_000a[] = {
    {"pwm", "frequency_hz", 10, 20'000, 1'000},
    {"pwm", "duty_cycle_percent", 0, 100, 40},
    {"power", "milliWatts", 0, heater_amount.full, heater_amount.at(40)},
    {"state", "state", 0, 1, 0},
};

// Below a fifth of its speed the fan would not start.
constexpr Amount fan_amount = {"speed", "rpm", 6'000};
constexpr Loop fan_loop = {Input::temperature, 62'000, 55'000};
constexpr Register fan_000b[] = {
    {"pwm", "frequency_hz", 15'000, 40'000, 25'000},
    {"pwm", "duty_cycle_percent", 20, 100, 50},
    {"speed", "rpm", fan_amount.at(20), fan_amount.full, fan_amount.at(50)},
    {"state", "state", 0, 1, 0},
};

// A fan that is driven and blocked stalls: it stays on and does not turn.
class Fan final : public Drive {
 public:
  explicit Fan(const Setup& setup) : Drive(setup, fan_000b, fan_amount, fan_loop), blocked_(devices()) {
    on("get_feedback", [this](Call& call) {
      const unsigned index = device(call);
      call.set("enabled", driven(index));
      call.set("rpm", measured_rpm(index));
      call.set("stall", stalled(index));
    });
  }

  void sense(Input input, unsigned index, int64_t value) override {
    Drive::sense(input, index, value);
    if (input != Input::fan_blocked || index >= devices() || blocked_[index] == uint8_t{value != 0}) return;
    blocked_[index] = value != 0;
    if (driven(index)) tell(index);
  }

  void reset() override {
    Drive::reset();
    for (unsigned i = 0; i < devices(); ++i) blocked_[i] = world().get(Input::fan_blocked, i) != 0;
  }

 private:
  bool stalled(unsigned index) const { return driven(index) && blocked_[index] != 0; }
  int64_t measured_rpm(unsigned index) const { return driven(index) && !stalled(index) ? amount(index) : 0; }
  void tell(unsigned index) override {
    host().raise(*this, "state_change", {driven(index), measured_rpm(index), stalled(index)});
  }

  std::vector<uint8_t> blocked_;
};

// The generic outputs. `output` switches; with auto_mode the loop sets the duty cycle so that the
// automatic amount is reached, without it the manual duty cycle holds. What is set for the mode that
// is not in force is kept for it.
class Output : public View {
 public:
  struct Names {
    std::string_view get_amount, auto_subject, field, auto_field, min_field, max_field;
  };

  Output(const Setup& setup, std::span<const Register> registers, const Amount& amount, const Names& names)
      : View(setup, registers), amount_(amount), names_(names) {
    on("set_enable", [this](Call& call) {
      const bool before = driven(device(call));
      this->registers().run(call, device(call));
      if (driven(device(call)) != before) switched(device(call));
    });
    on("get_control_loop_parameters", [this](Call& call) {
      this->registers().run(call, device(call), manual);
      call.set("duty_cycle_percent", duty(device(call)));
    });
    on(names_.get_amount, [this](Call& call) {
      const unsigned index = device(call);
      const Registers& held = this->registers();
      call.set(names_.field, given(index));
      call.set(names_.auto_field, held.get(names_.auto_subject, names_.field, index));
      call.set(names_.min_field, held.low(names_.auto_subject, names_.field));
      call.set(names_.max_field, held.high(names_.auto_subject, names_.field));
    });
  }

 protected:
  static constexpr std::string_view manual = "manual_control_loop_parameters";

  bool driven(unsigned index) const { return registers().get("enable", "output", index) != 0; }
  void turn_off(unsigned index) { registers().set("enable", "output", index, 0); }
  // The amount that the output gives now.
  virtual int64_t given(unsigned index) {
    if (!driven(index)) return 0;
    return automatic(index) ? registers().get(names_.auto_subject, names_.field, index) : amount_.at(duty(index));
  }
  // The output was switched by a command.
  virtual void switched(unsigned index) { host().raise(*this, "state_change", {index, driven(index)}); }

 private:
  bool automatic(unsigned index) const { return registers().get("enable", "auto_mode", index) != 0; }
  int64_t duty(unsigned index) const {
    if (!automatic(index)) return registers().get(manual, "duty_cycle_percent", index);
    return amount_.duty_for(registers().get(names_.auto_subject, names_.field, index));
  }

  const Amount amount_;
  const Names names_;
};

constexpr Amount power_amount = {"auto_power", "power_milliwatts", 20'000};
constexpr Output::Names power_names = {
    "get_power",           "auto_power", "power_milliwatts", "auto_power_milliwatts", "min_power_milliwatts",
    "max_power_milliwatts"};
constexpr Register power_pwm_0025[] = {
    {"enable", "output", 0, 1, 0},
    {"enable", "auto_mode", 0, 1, 0},
    {"manual_control_loop_parameters", "duty_cycle_percent", 0, 100, 25},
    {"manual_control_loop_parameters", "frequency_hz", 50, 50'000, 2'000},
    {"auto_power", "power_milliwatts", 0, power_amount.full, power_amount.at(50)},
};

constexpr Amount speed_amount = {"auto_speed", "speed_rpm", 12'000};
constexpr Output::Names speed_names = {"get_speed",      "auto_speed",    "speed_rpm",
                                       "auto_speed_rpm", "min_speed_rpm", "max_speed_rpm"};
constexpr Register speed_pwm_0026[] = {
    {"enable", "output", 0, 1, 0},
    {"enable", "auto_mode", 0, 1, 0},
    {"manual_control_loop_parameters", "duty_cycle_percent", 10, 100, 30},
    {"manual_control_loop_parameters", "frequency_hz", 15'000, 40'000, 25'000},
    {"auto_speed", "speed_rpm", speed_amount.at(10), speed_amount.full, speed_amount.at(40)},
};

// An output whose motor is blocked switches itself off and says why.
class SpeedOutput final : public Output {
 public:
  explicit SpeedOutput(const Setup& setup) : Output(setup, speed_pwm_0026, speed_amount, speed_names) {}

  void sense(Input input, unsigned index, int64_t value) override {
    if (input == Input::fan_blocked && index < devices() && value != 0 && driven(index)) stall(index);
  }

 private:
  void switched(unsigned index) override {
    host().raise(*this, "state_change", {index, driven(index), given(index), 0});
    if (driven(index) && world().get(Input::fan_blocked, index) != 0) stall(index);
  }

  void stall(unsigned index) {
    turn_off(index);
    host().raise(*this, "state_change", {index, 0, 0, 1});
  }
};

}  // namespace

std::unique_ptr<View> make_ir_illuminator_0008(const Setup& setup) {
  return std::make_unique<Drive>(setup, ir_illuminator_0008, illuminator_amount, illuminator_loop);
}

std::unique_ptr<View> make_heater_000a(const Setup& setup) {
  return std::make_unique<Drive>(setup, heater_000a, heater_amount, heater_loop);
}

std::unique_ptr<View> make_fan_000b(const Setup& setup) { return std::make_unique<Fan>(setup); }

std::unique_ptr<View> make_power_pwm_0025(const Setup& setup) {
  return std::make_unique<Output>(setup, power_pwm_0025, power_amount, power_names);
}

std::unique_ptr<View> make_speed_pwm_0026(const Setup& setup) { return std::make_unique<SpeedOutput>(setup); }

}  // namespace rovk::unit
