// A relay output: a coil, a contact that is wired one way or the other, and the sequence that it may be
// running through.
#pragma once

#include <cstdint>
#include <vector>

#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

class Relay {
 public:
  struct Settings {
    bool enabled = true;  // one that is not rests, its coil without current
    bool normally_closed = false;
    bool monostable = false;  // falls back by itself after the on time
    int64_t delay_ds = 0;
    int64_t on_time_ds = 10;
    int64_t off_time_ds = 10;
    int64_t repeat_cycles = 0;
  };
  struct Build {
    Settings settings;  // at power-on
    int64_t most_ds = 36'000;
    int64_t most_repeats = 100;
    int64_t most_ms = 3'600'000;    // of one step of a sequence in milliseconds
    int64_t load_milliwatts = 200;  // of the coil, while it has current
  };
  // A sequence holds the coil so for a time, and goes on to the next step.
  struct Step {
    bool energised;
    Time duration;
  };

  Relay(Timeline& timeline, const Build& build)
      : build_(build), settings_(build.settings), timer_(timeline), timeline_(timeline) {}

  const Build& build() const { return build_; }
  const Settings& settings() const { return settings_; }
  // A sequence that runs keeps what it was started with, unless the relay is not enabled any more.
  void configure(const Settings& settings);
  void reset();

  // Whether the coil has current. Without supply it has none, whatever it is set to, and the contact rests.
  bool energised() const { return energised_ && alive_; }
  bool contact_open() const { return energised() == settings_.normally_closed; }
  // Whether the coil has current when the contact stands so.
  bool energised_for(bool contact_open) const { return contact_open == settings_.normally_closed; }

  // Ends a sequence. A monostable relay falls back later.
  void set(bool energised);
  // Runs through the steps and leaves the coil in `last`. Not while a sequence runs.
  void run(std::vector<Step> steps, bool last);
  // The sequence that the settings describe: after the delay, on and off time and their repeats, or for a
  // monostable relay one pulse.
  void trigger();
  bool in_sequence() const { return timer_.running() && !pulse_; }

  void supply(bool alive) { alive_ = alive; }
  int64_t load_milliwatts() const { return energised_ ? build_.load_milliwatts : 0; }

  Watchers<> changed;         // the coil
  Watchers<> sequence_ended;  // came to its end; not when it was broken off

 private:
  void put(bool energised);
  void end();
  void advance();

  const Build build_;
  Settings settings_;
  bool energised_ = false;
  bool alive_ = true;
  std::vector<Step> steps_;
  std::size_t next_ = 0;
  bool last_ = false;
  bool pulse_ = false;  // the way back of a monostable relay, which is no sequence
  Timer timer_;
  Timeline& timeline_;
};

}  // namespace rovk::unit::things
