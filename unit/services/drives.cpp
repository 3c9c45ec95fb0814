// Outputs behind a PWM: heaters, illuminators and fans, each shown by an older service and some by a newer
// one. A drive that cannot work has switched itself off, and gives its peripherals a fault; what only
// tells is answered all the same.
#include "unit/things/drives.h"

#include <type_traits>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Drive;
using things::Fan;
using things::Heater;
using things::Illuminator;

Fault fault_of(Drive::Trouble trouble) {
  switch (trouble) {
    case Drive::Trouble::no_supply:
      return Fault::no_supply;
    case Drive::Trouble::stalled:
      return Fault::stall;
    case Drive::Trouble::overheated:
      return Fault::overheated;
    case Drive::Trouble::none:
      break;
  }
  return Fault::none;
}

// What all views of a kind of drive have in common.
template <typename Kind>
class Drives : public View {
 public:
  explicit Drives(const Setup& setup) : View(setup, {}), drives_(all_things<Kind>()) {
    for (Kind* drive : drives_) {
      drive->troubled.add([this, drive] { host().fail(*this, fault_of(drive->trouble())); });
    }
  }

  void reset() override {
    for (Kind* drive : drives_) drive->reset();
  }
  bool answers_with_fault(const catalogue::Command& command) const override {
    return std::string_view(command.name).starts_with("get_");
  }
  Fault standing_fault() override {
    for (const Kind* drive : drives_) {
      if (drive->trouble() != Drive::Trouble::none) return fault_of(drive->trouble());
    }
    return Fault::none;
  }
  // A disruptive test would have the fan turn, which shows a block that has not made it stall yet.
  bool self_test(bool disruptive) override {
    if constexpr (std::is_same_v<Kind, Fan>) {
      for (const Fan* fan : drives_) {
        if (disruptive && fan->blocked()) return false;
      }
    }
    return true;
  }

 protected:
  Kind& drive(unsigned index) const { return *drives_[index]; }
  Kind& drive(const Call& call) const { return drive(device(call)); }

  // The loop alone decides while it is on.
  void turn(const Call& call, bool on) {
    Kind& turned = drive(call);
    if (turned.loop() && turned.on() != on) call.refuse("invalid_sequence", {call.command().opcode});
    turned.turn(on);
  }
  template <typename Tell>
  void watch(Tell tell) {
    for (unsigned i = 0; i < devices(); ++i) drive(i).switched.add([tell, i] { tell(i); });
  }
  // Duty cycle and frequency with their limits, in the fields that both generations share.
  void tell_pwm(Call& call) const {
    const Kind& shown = drive(call);
    call.set("frequency_hz", shown.hz());
    call.set("min_frequency_hz", shown.build().lowest_hz);
    call.set("max_frequency_hz", shown.build().highest_hz);
    call.set("duty_cycle_percent", shown.duty_percent());
    call.set("min_duty_cycle_percent", shown.build().lowest_percent);
    call.set("max_duty_cycle_percent", 100);
  }
  void set_pwm(const Call& call) const {
    const Drive::Build& build = drive(call).build();
    const int64_t hz = call.within("frequency_hz", build.lowest_hz, build.highest_hz);
    drive(call).set_duty(call.within("duty_cycle_percent", build.lowest_percent, 100), hz);
  }
  void set_amount(const Call& call, std::string_view field) const {
    drive(call).set_amount(call.within(field, drive(call).lowest_amount(), drive(call).build().full));
  }

 private:
  std::vector<Kind*> drives_;
};

// The older services: state 0 is off, 1 on; PWM and amount are what the output gives when it is on and no
// policy holds it down, and whichever of the two was set last holds.
template <typename Kind>
class Driver : public Drives<Kind> {
 public:
  struct Names {
    std::string_view get_amount, set_amount, field, min_field, max_field;
  };

  Driver(const Setup& setup, const Names& names) : Drives<Kind>(setup) {
    this->on("get_control_loop_enable", [this](Call& call) { call.set("enable", this->drive(call).loop()); });
    this->on("set_control_loop_enable",
             [this](Call& call) { this->drive(call).set_loop(call.within("enable", 0, 1) != 0); });
    this->on("get_pwm", [this](Call& call) { this->tell_pwm(call); });
    this->on("set_pwm", [this](Call& call) {
      this->set_pwm(call);
      this->drive(call).set_mode(Drive::Mode::duty);
    });
    this->on(names.get_amount, [this, names](Call& call) {
      const Kind& shown = this->drive(call);
      call.set(names.field, shown.amount());
      call.set(names.min_field, shown.lowest_amount());
      call.set(names.max_field, shown.build().full);
    });
    this->on(names.set_amount, [this, names](Call& call) {
      this->set_amount(call, names.field);
      this->drive(call).set_mode(Drive::Mode::amount);
    });
    this->on("get_state", [this](Call& call) { call.set("state", this->drive(call).on()); });
    this->on("set_state", [this](Call& call) { this->turn(call, call.within("state", 0, 1) != 0); });
  }
};

template <typename Kind>
class PowerDriver final : public Driver<Kind> {
 public:
  explicit PowerDriver(const Setup& setup)
      : Driver<Kind>(setup, {"get_power", "set_power", "milliWatts", "min_milliWatts", "max_milliWatts"}) {
    const catalogue::Event& change = this->event("state_change");
    this->watch([this, &change](unsigned i) { this->host().raise(*this, change, {this->drive(i).on()}); });
  }
};

// The event tells the speed that the fan goes for, the feedback the one that it has.
class FanDriver final : public Driver<Fan> {
 public:
  explicit FanDriver(const Setup& setup) : Driver(setup, {"get_speed", "set_speed", "rpm", "min_rpm", "max_rpm"}) {
    const catalogue::Event& change = event("state_change");
    watch([this, &change](unsigned i) {
      host().raise(*this, change, {drive(i).on(), drive(i).given(), drive(i).stalled()});
    });
    on("get_feedback", [this](Call& call) {
      call.set("enabled", drive(call).on());
      call.set("rpm", drive(call).rpm());
      call.set("stall", drive(call).stalled());
    });
  }
};

// The generic outputs. With auto_mode the automatic amount holds, and the duty cycle follows from it,
// without it the manual duty cycle. What is set for the mode that is not in force is kept for it.
template <typename Kind>
class Output : public Drives<Kind> {
 public:
  struct Names {
    std::string_view get_amount, set_amount, field, auto_field, min_field, max_field;
  };

  Output(const Setup& setup, const Names& names) : Drives<Kind>(setup) {
    this->on("get_enable", [this](Call& call) {
      call.set("output", this->drive(call).on());
      call.set("auto_mode", this->drive(call).mode() == Drive::Mode::amount);
    });
    this->on("set_enable", [this](Call& call) {
      const bool output = call.within("output", 0, 1) != 0;
      const bool automatic = call.within("auto_mode", 0, 1) != 0;
      Kind& driven = this->drive(call);
      const Drive::Mode before = driven.mode();
      driven.set_mode(automatic ? Drive::Mode::amount : Drive::Mode::duty);
      try {
        this->turn(call, output);
      } catch (const Refusal&) {
        driven.set_mode(before);
        throw;
      }
    });
    this->on("get_control_loop_parameters", [this](Call& call) { this->tell_pwm(call); });
    this->on("set_manual_control_loop_parameters", [this](Call& call) { this->set_pwm(call); });
    this->on(names.get_amount, [this, names](Call& call) {
      const Kind& shown = this->drive(call);
      call.set(names.field, measured(shown));
      call.set(names.auto_field, shown.set_amount());
      call.set(names.min_field, shown.lowest_amount());
      call.set(names.max_field, shown.build().full);
    });
    this->on(names.set_amount, [this, names](Call& call) { this->set_amount(call, names.field); });
  }

 private:
  static int64_t measured(const Kind& drive) {
    if constexpr (std::is_same_v<Kind, Fan>) {
      return drive.rpm();
    } else {
      return drive.given();
    }
  }
};

class PowerOutput final : public Output<Heater> {
 public:
  explicit PowerOutput(const Setup& setup)
      : Output(setup, {"get_power", "set_auto_power", "power_milliwatts", "auto_power_milliwatts",
                       "min_power_milliwatts", "max_power_milliwatts"}) {
    const catalogue::Event& change = event("state_change");
    watch([this, &change](unsigned i) { host().raise(*this, change, {i, drive(i).on()}); });
  }
};

class SpeedOutput final : public Output<Fan> {
 public:
  explicit SpeedOutput(const Setup& setup)
      : Output(setup,
               {"get_speed", "set_auto_speed", "speed_rpm", "auto_speed_rpm", "min_speed_rpm", "max_speed_rpm"}) {
    const catalogue::Event& change = event("state_change");
    watch([this, &change](unsigned i) {
      host().raise(*this, change, {i, drive(i).on(), drive(i).given(), drive(i).stalled()});
    });
  }
};

// The loops of the heaters, by another name.
class TemperatureControl final : public Drives<Heater> {
 public:
  explicit TemperatureControl(const Setup& setup) : Drives(setup) {
    on("get_enable", [this](Call& call) { call.set("enable", drive(call).loop()); });
    on("set_enable", [this](Call& call) { drive(call).set_loop(call.within("enable", 0, 1) != 0); });
  }
  // It has the loop alone.
  void reset() override {
    for (unsigned i = 0; i < devices(); ++i) drive(i).set_loop(false);
  }
};

}  // namespace

std::unique_ptr<View> make_ir_illuminator_0008(const Setup& setup) {
  return std::make_unique<PowerDriver<Illuminator>>(setup);
}

std::unique_ptr<View> make_heater_000a(const Setup& setup) { return std::make_unique<PowerDriver<Heater>>(setup); }

std::unique_ptr<View> make_fan_000b(const Setup& setup) { return std::make_unique<FanDriver>(setup); }

std::unique_ptr<View> make_power_pwm_0025(const Setup& setup) { return std::make_unique<PowerOutput>(setup); }

std::unique_ptr<View> make_speed_pwm_0026(const Setup& setup) { return std::make_unique<SpeedOutput>(setup); }

std::unique_ptr<View> make_temperature_control_0032(const Setup& setup) {
  return std::make_unique<TemperatureControl>(setup);
}

}  // namespace rovk::unit
