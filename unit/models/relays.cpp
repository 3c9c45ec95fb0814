// Relay outputs of both generations. A triggered relay runs through its steps by the unit's clock and
// tells by an event that it came to the end; set_state ends a sequence on the way, without the event.
// A trigger while a sequence runs is answered with busy.
#include <rovk/constants.h>

#include <optional>

#include "unit/models/models.h"

namespace rovk::unit {
namespace {

class Relays : public Model {
 public:
  Relays(const Setup& setup, std::span<const Register> registers, std::string_view subject_field,
         std::string_view complete)
      : Model(setup, registers), field_(subject_field), complete_(complete), runs_(devices()) {}

  void reset() override {
    for (unsigned i = 0; i < devices(); ++i) end(i);
    Model::reset();
  }

 protected:
  struct Step {
    bool value;  // what the relay's state field shows
    Time duration;
  };

  void put(unsigned index, bool value) { registers().set("state", field_, index, value); }
  bool running(unsigned index) const { return runs_[index].timer.has_value() && !runs_[index].silent; }

  void end(unsigned index) {
    Run& run = runs_[index];
    if (run.timer) host().cancel(*run.timer);
    run = {};
  }

  // Takes the relay through the steps and leaves it in `last`. `silent`: without the event.
  void start(unsigned index, std::vector<Step> steps, bool last, bool silent = false) {
    end(index);
    runs_[index] = {std::move(steps), 0, last, silent, std::nullopt};
    advance(index);
  }

 private:
  struct Run {
    std::vector<Step> steps;
    std::size_t next = 0;
    bool last = false;
    bool silent = false;
    std::optional<TimerId> timer;
  };

  void advance(unsigned index) {
    Run& run = runs_[index];
    run.timer.reset();
    if (run.next < run.steps.size()) {
      const Step& step = run.steps[run.next++];
      put(index, step.value);
      run.timer = host().at(host().now() + step.duration, [this, index] { advance(index); });
      return;
    }
    put(index, run.last);
    if (!run.silent) host().raise(*this, complete_, {index});
  }

  std::string_view field_;
  std::string_view complete_;
  std::vector<Run> runs_;
};

constexpr Register registers_0005[] = {
    {"configuration", "enable", 0, 1, 1},
    {"configuration", "normally_closed", 0, 1, 0},
    {"configuration", "delay_ds", 0, 36'000, 0},
    {"configuration", "monostable", 0, 1, 0},
    {"configuration", "repeat_cycles", 0, 100, 0},
    {"configuration", "on_time_ds", 0, 36'000, 10},
    {"configuration", "off_time_ds", 0, 36'000, 10},
    {"state", "state", 0, 1, ROVK_RELAY_0005_STATE_INACTIVE},
};

// Configured once, then fired. A bistable relay runs, after the delay, through on and off time, and
// repeats that repeat_cycles times. A monostable one falls back by itself: whatever makes it active
// lasts for the on time, and a sequence is one such pulse, without off time and repeats.
// normally_closed tells how the contact is wired and leaves `state` as it is. A relay that is not
// enabled rests inactive, and what would move it comes in the wrong order.
class Relay0005 final : public Relays {
 public:
  explicit Relay0005(const Setup& setup) : Relays(setup, registers_0005, "state", "sequence_complete") {
    on("set_configuration", [this](Call& call) { configure(call); });
    on("set_state", [this](Call& call) { set_state(call); });
    on("trigger", [this](Call& call) { trigger(call); });
  }

 private:
  int64_t setting(unsigned index, std::string_view field) const {
    return registers().get("configuration", field, index);
  }
  Time deciseconds(unsigned index, std::string_view field) const { return setting(index, field) * 100ms; }

  // A sequence that runs keeps the configuration it was started with.
  void configure(Call& call) {
    const unsigned index = device(call);
    registers().run(call, index);
    if (setting(index, "enable") != 0) return;
    end(index);
    put(index, false);
  }

  void want_enabled(const Call& call) const {
    if (setting(device(call), "enable") == 0) call.refuse("invalid_sequence", {call.command().opcode});
  }

  void set_state(Call& call) {
    const unsigned index = device(call);
    const bool active = call.within("state", 0, 1) == ROVK_RELAY_0005_STATE_ACTIVE;
    want_enabled(call);
    end(index);
    put(index, active);
    if (active && setting(index, "monostable") != 0) {
      start(index, {{true, deciseconds(index, "on_time_ds")}}, false, true);
    }
  }

  void trigger(Call& call) {
    const unsigned index = device(call);
    want_enabled(call);
    if (running(index)) call.refuse("busy");
    const bool monostable = setting(index, "monostable") != 0;
    std::vector<Step> steps = {{registers().get("state", "state", index) != 0, deciseconds(index, "delay_ds")}};
    const int64_t cycles = monostable ? 1 : 1 + setting(index, "repeat_cycles");
    for (int64_t i = 0; i < cycles; ++i) {
      steps.push_back({true, deciseconds(index, "on_time_ds")});
      if (!monostable) steps.push_back({false, deciseconds(index, "off_time_ds")});
    }
    start(index, std::move(steps), false);
  }
};

constexpr Register registers_0019[] = {
    {"state", "open", 0, 1, ROVK_RELAY_0019_STATE_OPEN},
};

// The command carries the whole sequence: from the initial state on, open and closed times take turns
// for as many cycles as told, then the contact goes to its final state.
class Relay0019 final : public Relays {
 public:
  explicit Relay0019(const Setup& setup) : Relays(setup, registers_0019, "open", "trigger_sequence_complete") {
    on("set_state", [this](Call& call) {
      const bool open = call.within("open", 0, 1) != 0;
      end(device(call));
      put(device(call), open);
    });
    on("trigger", [this](Call& call) { trigger(call); });
  }

 private:
  static constexpr int64_t longest_ms = 3'600'000;

  void trigger(Call& call) {
    const bool open_first = call.within("initial_state_open", 0, 1) != 0;
    const Step open = {true, std::chrono::milliseconds(call.within("open_time_ms", 0, longest_ms))};
    const Step closed = {false, std::chrono::milliseconds(call.within("close_time_ms", 0, longest_ms))};
    const bool open_last = call.within("final_state_open", 0, 1) != 0;
    if (running(device(call))) call.refuse("busy");
    std::vector<Step> steps;
    for (int64_t i = call.number("num_cycles"); i > 0; --i) {
      steps.push_back(open_first ? open : closed);
      steps.push_back(open_first ? closed : open);
    }
    start(device(call), std::move(steps), open_last);
  }
};

}  // namespace

std::unique_ptr<Model> make_relay_0005(const Setup& setup) { return std::make_unique<Relay0005>(setup); }

std::unique_ptr<Model> make_relay_0019(const Setup& setup) { return std::make_unique<Relay0019>(setup); }

}  // namespace rovk::unit
