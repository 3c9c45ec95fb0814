// Outputs behind a PWM that put power into something: heaters warm a body, illuminators light the scene,
// fans cool. Older and newer services show the same drive in their own way.
#pragma once

#include <cstdint>
#include <string>

#include "unit/things/curve.h"
#include "unit/things/rail.h"
#include "unit/things/surroundings.h"
#include "unit/things/thermal.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

// What all drives have: a switch, a duty cycle, a frequency, the amount that follows from the duty
// (milliwatts or turns a minute), and a loop that switches by itself.
class Drive {
 public:
  struct Build {
    int64_t full = 15'000;  // amount at a duty cycle of 100 percent
    int64_t lowest_percent = 0;
    int64_t start_percent = 40;
    int64_t lowest_hz = 10;
    int64_t highest_hz = 50'000;
    int64_t start_hz = 1'000;
    int64_t full_load_milliwatts = 15'000;  // what it draws from its rail at 100 percent
    unsigned rail = 0;                      // of its board
    // The loop switches on at `loop_on` and beyond, off at `loop_off` and back; which of the two is beyond
    // follows from their order.
    int64_t loop_on = 2'000;
    int64_t loop_off = 8'000;
  };
  enum class Mode : uint8_t { manual, automatic };  // the duty that was set, or the one that gives the amount

  Drive(Timeline& timeline, const Build& build, Rail* rail);
  virtual ~Drive() = default;

  const Build& build() const { return build_; }
  bool on() const { return on_; }
  void turn(bool on);
  Mode mode() const { return mode_; }
  void set_mode(Mode mode);
  int64_t duty_percent() const;
  void set_duty(int64_t percent, int64_t hz);
  int64_t hz() const { return hz_; }
  int64_t amount() const { return build_.full * duty_percent() / 100; }  // when it is on
  void set_amount(int64_t amount);
  bool loop() const { return loop_; }
  void set_loop(bool loop);
  // What the loop watches has this value now.
  void sense(int64_t value);
  virtual void reset();

  Watchers<> switched;

 protected:
  // On, off, stronger or weaker: puts it into effect on the rail and beyond.
  virtual void apply();

  Timeline& timeline_;

 private:
  const Build build_;
  Rail* rail_;
  bool on_ = false;
  Mode mode_ = Mode::manual;
  int64_t manual_percent_;
  int64_t auto_amount_;
  int64_t hz_;
  bool loop_ = false;
};

class Heater : public Drive {
 public:
  struct Build : Drive::Build {
    std::string warms;  // name of the body it stands on
  };
  Heater(Timeline& timeline, const Build& build, Rail* rail, ThermalMass* body);

 protected:
  void apply() override;

 private:
  ThermalMass* body_;
};

class Illuminator : public Drive {
 public:
  struct Build : Drive::Build {
    int64_t full_millilux = 40'000;  // on the scene, at 100 percent
  };
  Illuminator(Timeline& timeline, const Build& build, Rail* rail, Surroundings& surroundings);

 protected:
  void apply() override;

 private:
  Surroundings& surroundings_;
  int64_t full_millilux_;
};

// Spins up and down at a constant rate. Blocked while it is driven it stalls.
class Fan : public Drive {
 public:
  struct Build : Drive::Build {
    std::string cools;              // name of the body
    double full_cooling = 3.0;      // factor on that body at full speed
    double rpm_per_second = 3'000;  // spin-up
  };
  Fan(Timeline& timeline, const Build& build, Rail* rail, ThermalMass* body);

  int64_t rpm() const;  // measured
  bool blocked() const { return blocked_; }
  void block(bool blocked);
  bool stalled() const { return on() && blocked_; }

  Watchers<> stall_changed;

 protected:
  void apply() override;

 private:
  ThermalMass* body_;
  const Build fan_;
  bool blocked_ = false;
  Ramp rpm_{0};
};

}  // namespace rovk::unit::things
