// What a person touches and sees on the unit: buttons, switches, lights.
#pragma once

#include <cstdint>

#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

class Button {
 public:
  struct Build {
    bool pressed = false;  // when the unit is made
  };
  explicit Button(const Build& build) : pressed_(build.pressed), at_start_(build.pressed) {}

  bool pressed() const { return pressed_; }
  // How it was when its peripheral last started, as for one held down while the unit is switched on.
  bool pressed_at_start() const { return at_start_; }
  void press(bool pressed);
  void reset() { at_start_ = pressed_; }

  Watchers<> changed;

 private:
  bool pressed_;
  bool at_start_;
};

// Follows its contact when that moves, and a command whatever the contact says: the last one to act
// decides.
class Switch {
 public:
  struct Build {
    bool contact = false;  // when the unit is made
  };
  explicit Switch(const Build& build) : contact_(build.contact), on_(build.contact) {}

  bool on() const { return on_; }
  void turn(bool on);
  bool contact() const { return contact_; }
  void move_contact(bool contact);
  // As the contact says.
  void reset() { on_ = contact_; }

  Watchers<> changed;

 private:
  bool contact_;
  bool on_;
};

// A light that is off, on, or blinks: on and off times take turns from the moment it was set. Without an
// on time or an off time it is steady.
class Light {
 public:
  struct State {
    bool on = false;
    int64_t on_ms = 0;
    int64_t off_ms = 0;
  };
  struct Build {
    State state;  // at power-on
    int64_t most_ms = 60'000;
    int64_t load_milliwatts = 60;  // while it is lit
  };
  Light(Timeline& timeline, const Build& build) : build_(build), state_(build.state), timeline_(timeline) {}

  const Build& build() const { return build_; }
  const State& state() const { return state_; }
  void set(const State& state);
  void reset() { set(build_.state); }

  // Whether it shines at that time, as an onlooker sees. Without supply it is dark, whatever it is set to.
  bool lit(Time now) const;
  bool lit() const { return lit(timeline_.now()); }

  void supply(bool alive) { alive_ = alive; }
  // What it takes, on an average over its blinking.
  int64_t load_milliwatts() const;

  Watchers<> changed;  // by a command; a blinking light tells nobody when it blinks

 private:
  bool steady() const { return !state_.on || state_.on_ms == 0 || state_.off_ms == 0; }

  const Build build_;
  State state_;
  bool alive_ = true;
  Time since_{0};
  Timeline& timeline_;
};

}  // namespace rovk::unit::things
