// Alarm inputs of both generations and their diagnosis: three views of the same lines. The older one tells
// whether there is an alarm, the newer one the contact itself; both have the one configuration.
#include <rovk/constants.h>

#include "unit/services/views.h"
#include "unit/things/alarm_line.h"

namespace rovk::unit {
namespace {

using things::AlarmLine;
using things::Contact;

static_assert(static_cast<int>(AlarmLine::Alarm::tampered) == ROVK_ALARM_0004_STATE_ACTIVE_TAMPERED);
static_assert(static_cast<int>(Contact::sabotaged) == ROVK_ALARM_0017_STATE_SABOTAGE);

class AlarmInputs : public View {
 public:
  explicit AlarmInputs(const Setup& setup) : View(setup, {}), lines_(all_things<AlarmLine>()) {
    for (unsigned i = 0; i < devices(); ++i) {
      lines_[i]->glitched.add([this, i] { host().report(*this, "debounce_filter_glitch", {i}); });
    }
  }

  void reset() override {
    View::reset();
    for (AlarmLine* line : lines_) line->reset();
  }

 protected:
  AlarmLine& line(unsigned index) { return *lines_[index]; }
  AlarmLine& line(const Call& call) { return line(device(call)); }
  // An input that is not enabled says nothing.
  void tell(unsigned index, int64_t state) {
    if (line(index).settings().enabled) host().raise(*this, change_, {index, state});
  }

 private:
  const catalogue::Event& change_ = event("state_change");
  std::vector<AlarmLine*> lines_;
};

void tell_comparators(const AlarmLine& line, Call& call) {
  call.set("pin_y", line.above_lower());
  call.set("pin_z", line.above_upper());
}

class Alarm0004 final : public AlarmInputs {
 public:
  explicit Alarm0004(const Setup& setup) : AlarmInputs(setup) {
    for (unsigned i = 0; i < devices(); ++i) {
      line(i).alarm_changed.add([this, i] { tell(i, static_cast<int64_t>(line(i).alarm())); });
    }
    on("get_state", [this](Call& call) { call.set("state", static_cast<int64_t>(line(call).alarm())); });
    on("get_comparator_values", [this](Call& call) { tell_comparators(line(call), call); });
    on("get_configuration", [this](Call& call) {
      const AlarmLine::Settings& settings = line(call).settings();
      call.set("enable", settings.enabled);
      call.set("normally_closed", settings.normally_closed);
      call.set("supervised", settings.supervised);
    });
    on("set_configuration", [this](Call& call) {
      AlarmLine::Settings settings = line(call).settings();
      settings.enabled = call.within("enable", 0, 1) != 0;
      settings.normally_closed = call.within("normally_closed", 0, 1) != 0;
      settings.supervised = call.within("supervised", 0, 1) != 0;
      line(call).configure(settings);
    });
    on("get_dwell_ds", [this](Call& call) {
      call.set("dwell_ds", line(call).settings().dwell_ds);
      call.set("max_dwell_ds", line(call).build().most_dwell_ds);
    });
    on("set_dwell_ds", [this](Call& call) {
      AlarmLine::Settings settings = line(call).settings();
      settings.dwell_ds = call.within("dwell_ds", 0, line(call).build().most_dwell_ds);
      line(call).configure(settings);
    });
    on("get_debounce_ms", [this](Call& call) {
      call.set("debounce_ms", line(call).settings().debounce_ms);
      call.set("max_debounce_ms", line(call).build().most_debounce_ms);
    });
    on("set_debounce_ms", [this](Call& call) {
      AlarmLine::Settings settings = line(call).settings();
      settings.debounce_ms = call.within("debounce_ms", 0, line(call).build().most_debounce_ms);
      line(call).configure(settings);
    });
  }
};

class Alarm0017 final : public AlarmInputs {
 public:
  explicit Alarm0017(const Setup& setup) : AlarmInputs(setup) {
    for (unsigned i = 0; i < devices(); ++i) {
      line(i).contact_changed.add([this, i] { tell(i, static_cast<int64_t>(line(i).shown_contact())); });
    }
    on("get_state", [this](Call& call) { call.set("state", static_cast<int64_t>(line(call).shown_contact())); });
    on("get_configuration", [this](Call& call) {
      const AlarmLine::Settings& settings = line(call).settings();
      call.set("idle_state_open", !settings.normally_closed);
      call.set("enable", settings.enabled);
      call.set("supervised", settings.supervised);
      call.set("debounce_time_ms", settings.debounce_ms);
      call.set("max_debounce_time_ms", line(call).build().most_debounce_ms);
    });
    on("set_configuration", [this](Call& call) {
      AlarmLine::Settings settings = line(call).settings();
      settings.normally_closed = call.within("idle_state_open", 0, 1) == 0;
      settings.enabled = call.within("enable", 0, 1) != 0;
      settings.supervised = call.within("supervised", 0, 1) != 0;
      settings.debounce_ms = call.within("debounce_time_ms", 0, line(call).build().most_debounce_ms);
      line(call).configure(settings);
    });
  }
};

// Reads the lines as they are, without a filter.
class AlarmDiagnostic final : public View {
 public:
  explicit AlarmDiagnostic(const Setup& setup) : View(setup, {}) {
    on("get_comparator_values",
       [lines = all_things<AlarmLine>()](Call& call) { tell_comparators(*lines[device(call)], call); });
  }
};

}  // namespace

std::unique_ptr<View> make_alarm_0004(const Setup& setup) { return std::make_unique<Alarm0004>(setup); }

std::unique_ptr<View> make_alarm_0017(const Setup& setup) { return std::make_unique<Alarm0017>(setup); }

std::unique_ptr<View> make_alarm_diagnostic_0018(const Setup& setup) {
  return std::make_unique<AlarmDiagnostic>(setup);
}

}  // namespace rovk::unit
