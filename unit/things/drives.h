// Outputs behind a PWM that put power into something: heaters warm a body, illuminators light the scene,
// fans cool. Older and newer services show the same drive in their own way.
#pragma once

#include <cstdint>
#include <optional>
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
    int64_t highest_hz = 20'000;
    int64_t start_hz = 1'000;
    int64_t full_load_milliwatts = 15'000;  // what it wants from its rail at 100 percent
    unsigned rail = 0;                      // place on its board, or where that has none, over all boards
    unsigned senses = 0;                    // place over all boards of the temperature sensor of its loop
    // The loop switches on at `loop_on` and beyond, off at `loop_off` and back; which of the two is beyond
    // follows from their order.
    int64_t loop_on = 2'000;
    int64_t loop_off = 8'000;
  };
  enum class Mode : uint8_t { duty, amount };  // which of the two was set and holds; the other follows
  // Why it cannot work now. It switches itself off then.
  enum class Trouble : uint8_t { none, no_supply, stalled, overheated };

  // Without a rail it takes its power from elsewhere, without a sensor its loop never decides.
  Drive(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor);
  virtual ~Drive() = default;
  Drive(const Drive&) = delete;
  Drive& operator=(const Drive&) = delete;

  const Build& build() const { return build_; }
  bool on() const { return on_; }
  // Nothing for one that cannot work.
  virtual void turn(bool on);
  Mode mode() const { return mode_; }
  void set_mode(Mode mode);
  // Each keeps its value while the other mode holds.
  int64_t set_amount() const { return amount_; }
  void set_duty(int64_t percent, int64_t hz);
  void set_amount(int64_t amount);
  int64_t hz() const { return hz_; }
  // When it is on and nothing limits it.
  int64_t duty_percent() const;
  int64_t amount() const;
  int64_t lowest_amount() const { return build_.full * build_.lowest_percent / 100; }
  // What it gives now: nothing when it is off, less than its amount when a policy holds it down.
  int64_t given() const;

  bool loop() const { return loop_; }
  void set_loop(bool loop);
  Trouble trouble() const { return trouble_; }
  virtual void reset();

  Watchers<> switched;
  Watchers<> troubled;  // it cannot work from now on

 protected:
  // What it gives has changed: lets that have its effect.
  virtual void apply() {}
  // What the loop watches, and when that will pass a level by itself.
  virtual std::optional<int64_t> sensed() const;
  virtual std::optional<Time> crossing(int64_t level) const;
  // What troubles it besides its supply, and when that will change by itself.
  virtual Trouble find_trouble() { return Trouble::none; }
  virtual std::optional<Time> trouble_due() const { return std::nullopt; }
  // Looks at what is sensed and at the trouble, switches where that says so, and plans the next look.
  void regulate();
  const TemperatureSensor* sensor() const { return sensor_; }

  Timeline& timeline_;

 private:
  void put(bool on);
  void draw();
  bool loop_decides(int64_t seen) const;

  const Build build_;
  Rail* rail_;
  const TemperatureSensor* sensor_;
  bool on_ = false;
  Mode mode_ = Mode::duty;
  int64_t percent_;
  int64_t amount_;
  int64_t hz_;
  bool loop_ = false;
  Trouble trouble_ = Trouble::none;
  bool putting_ = false;  // what it does comes back to it through rail and body
  Timer look_;
};

class Heater : public Drive {
 public:
  struct Build : Drive::Build {
    std::string warms;             // name of the body it stands on
    double reaches = 0.3;          // part of its heat that stays on the body; the rest goes outside
    int64_t hottest = 85'000;      // millidegrees at its sensor from which on it is cut off
    int64_t cooled_down = 75'000;  // where it may heat again
  };
  Heater(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor, ThermalMass* body);

 protected:
  void apply() override;
  Trouble find_trouble() override;
  std::optional<Time> trouble_due() const override;

 private:
  const Build heater_;
  ThermalMass* body_;
  bool cut_off_ = false;
};

class Illuminator : public Drive {
 public:
  struct Build : Drive::Build {
    Build();
    int64_t full_millilux = 40'000;  // on the scene, at 100 percent
  };
  // Its loop watches the daylight, in millilux.
  Illuminator(Timeline& timeline, const Build& build, Rail* rail, Surroundings& surroundings);

 protected:
  void apply() override;
  std::optional<int64_t> sensed() const override { return surroundings_.daylight_millilux(); }

 private:
  Surroundings& surroundings_;
  int64_t full_millilux_;
};

// Spins up and down at a constant rate. Blocked while it is driven it stalls and is switched off.
class Fan : public Drive {
 public:
  struct Build : Drive::Build {
    Build();
    std::string cools;              // name of the body
    double full_cooling = 3.0;      // factor on that body at full speed
    double rpm_per_second = 3'000;  // spin-up
  };
  Fan(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor, ThermalMass* body);

  int64_t rpm() const;  // measured
  bool blocked() const { return blocked_; }
  void block(bool blocked);
  bool stalled() const { return stalled_; }
  void turn(bool on) override;
  void reset() override;

 protected:
  void apply() override;
  Trouble find_trouble() override;

 private:
  const Build fan_;
  ThermalMass* body_;
  bool blocked_ = false;
  bool stalled_ = false;
  Ramp rpm_{0};
};

}  // namespace rovk::unit::things
