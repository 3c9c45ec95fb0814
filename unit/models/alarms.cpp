// Alarm inputs of both generations and their diagnosis: three views of the same contacts.
//
// A contact that moves is believed when it has stayed for the debounce time; one that moves back
// before that is a glitch of the filter and told as a spontaneous error. A sabotaged line shows as
// such where the input is supervised, else as what it electrically is, an open one.
#include <rovk/constants.h>

#include <optional>

#include "unit/models/models.h"

namespace rovk::unit {
namespace {

enum Contact : int64_t { contact_open = 0, contact_closed = 1, contact_sabotaged = 2 };

constexpr int64_t most_debounce_ms = 1'000;
constexpr int64_t usual_debounce_ms = 20;

class AlarmInputs : public Model {
 public:
  AlarmInputs(const Setup& setup, std::span<const Register> registers) : Model(setup, registers), lines_(devices()) {
    on("get_state", [this](Call& call) { call.set("state", lines_[device(call)].state); });
    on("set_configuration", [this](Call& call) {
      this->registers().run(call, device(call));
      configured(device(call));
      update(device(call));
    });
  }

  void reset() override {
    Model::reset();
    for (unsigned i = 0; i < devices(); ++i) {
      stop(lines_[i].debounce);
      lines_[i].seen = lines_[i].settled = world().get(Input::alarm, i);
      configured(i);
      lines_[i].state = state(i);
    }
  }

  void sense(Input input, unsigned index, int64_t value) override {
    if (input != Input::alarm || index >= devices() || lines_[index].seen == value) return;
    Line& line = lines_[index];
    line.seen = value;
    const bool was_settling = line.debounce.has_value();
    stop(line.debounce);
    if (value == line.settled) {
      if (was_settling && enabled(index)) host().report(*this, "debounce_filter_glitch", {index});
      return;
    }
    line.debounce = host().at(host().now() + std::chrono::milliseconds(debounce_ms(index)), [this, index] {
      Line& settling = lines_[index];
      settling.debounce.reset();
      settling.settled = settling.seen;
      update(index);
    });
  }

 protected:
  // The state that the service shows for a line as it is.
  virtual int64_t state(unsigned index) const = 0;
  virtual int64_t debounce_ms(unsigned index) const = 0;
  // The state changes now, or as the model decides later.
  virtual void update(unsigned index) { show(index, state(index)); }
  // What runs under an earlier configuration ends.
  virtual void configured(unsigned /*index*/) {}

  bool enabled(unsigned index) const { return registers().get("configuration", "enable", index) != 0; }
  bool supervised(unsigned index) const { return registers().get("configuration", "supervised", index) != 0; }
  int64_t settled(unsigned index) const { return lines_[index].settled; }
  int64_t shown(unsigned index) const { return lines_[index].state; }
  void show(unsigned index, int64_t state) {
    if (lines_[index].state == state) return;
    lines_[index].state = state;
    if (enabled(index)) host().raise(*this, "state_change", {index, state});
  }
  void stop(std::optional<TimerId>& timer) {
    if (timer) host().cancel(*timer);
    timer.reset();
  }

 private:
  struct Line {
    int64_t seen = contact_open;     // the contact itself
    int64_t settled = contact_open;  // behind the debounce filter
    int64_t state = 0;               // what the service shows
    std::optional<TimerId> debounce;
  };
  std::vector<Line> lines_;
};

constexpr Register registers_0004[] = {
    {"configuration", "enable", 0, 1, 1},
    {"configuration", "normally_closed", 0, 1, 0},
    {"configuration", "supervised", 0, 1, 0},
    {"dwell_ds", "dwell_ds", 0, 600, 0},
    {"debounce_ms", "debounce_ms", 0, most_debounce_ms, usual_debounce_ms},
};

// Tells whether there is an alarm. An input that is not enabled is inactive. The dwell time is how long
// an alarm is still shown after its cause has gone.
class Alarm0004 final : public AlarmInputs {
 public:
  explicit Alarm0004(const Setup& setup) : AlarmInputs(setup, registers_0004), dwell_(devices()) {
    on("get_comparator_values", [this](Call& call) { comparator_values(call, world(), device(call)); });
  }

  static void comparator_values(Call& call, World& world, unsigned index) {
    // Two comparators tell the line's voltage from a lower and an upper threshold: a closed contact
    // pulls it below both, an open one leaves it above both, a line tampered with lies between.
    const int64_t contact = world.get(Input::alarm, index);
    call.set("pin_y", contact != contact_closed);
    call.set("pin_z", contact == contact_open);
  }

 private:
  int64_t state(unsigned index) const override {
    if (!enabled(index)) return ROVK_ALARM_0004_STATE_INACTIVE;
    if (settled(index) == contact_sabotaged && supervised(index)) return ROVK_ALARM_0004_STATE_ACTIVE_TAMPERED;
    const bool closed = settled(index) == contact_closed;
    const bool normally_closed = registers().get("configuration", "normally_closed", index) != 0;
    return closed != normally_closed ? ROVK_ALARM_0004_STATE_ACTIVE : ROVK_ALARM_0004_STATE_INACTIVE;
  }

  int64_t debounce_ms(unsigned index) const override { return registers().get("debounce_ms", "debounce_ms", index); }

  void configured(unsigned index) override { stop(dwell_[index]); }

  void update(unsigned index) override {
    const int64_t now = state(index);
    const int64_t dwell_ds = registers().get("dwell_ds", "dwell_ds", index);
    stop(dwell_[index]);
    if (now != ROVK_ALARM_0004_STATE_INACTIVE || !enabled(index) || dwell_ds == 0) return show(index, now);
    if (shown(index) == now) return;
    dwell_[index] = host().at(host().now() + dwell_ds * 100ms, [this, index] {
      dwell_[index].reset();
      show(index, state(index));
    });
  }

  std::vector<std::optional<TimerId>> dwell_;
};

constexpr Register registers_0017[] = {
    {"configuration", "idle_state_open", 0, 1, 1},
    {"configuration", "enable", 0, 1, 1},
    {"configuration", "supervised", 0, 1, 0},
    {"configuration", "debounce_time_ms", 0, most_debounce_ms, usual_debounce_ms},
};

// Tells the contact itself. An input that is not enabled shows its idle state.
class Alarm0017 final : public AlarmInputs {
 public:
  explicit Alarm0017(const Setup& setup) : AlarmInputs(setup, registers_0017) {}

 private:
  int64_t state(unsigned index) const override {
    if (!enabled(index)) {
      const bool open = registers().get("configuration", "idle_state_open", index) != 0;
      return open ? ROVK_ALARM_0017_STATE_OPEN : ROVK_ALARM_0017_STATE_CLOSED;
    }
    if (settled(index) == contact_sabotaged && supervised(index)) return ROVK_ALARM_0017_STATE_SABOTAGE;
    return settled(index) == contact_closed ? ROVK_ALARM_0017_STATE_CLOSED : ROVK_ALARM_0017_STATE_OPEN;
  }

  int64_t debounce_ms(unsigned index) const override {
    return registers().get("configuration", "debounce_time_ms", index);
  }
};

// Reads the contacts as they are, without a filter.
class AlarmDiagnostic final : public Model {
 public:
  explicit AlarmDiagnostic(const Setup& setup) : Model(setup, {}) {
    on("get_comparator_values", [this](Call& call) { Alarm0004::comparator_values(call, world(), device(call)); });
  }
};

}  // namespace

std::unique_ptr<Model> make_alarm_0004(const Setup& setup) { return std::make_unique<Alarm0004>(setup); }

std::unique_ptr<Model> make_alarm_0017(const Setup& setup) { return std::make_unique<Alarm0017>(setup); }

std::unique_ptr<Model> make_alarm_diagnostic_0018(const Setup& setup) {
  return std::make_unique<AlarmDiagnostic>(setup);
}

}  // namespace rovk::unit
