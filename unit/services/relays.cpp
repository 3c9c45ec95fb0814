// Relay outputs of both generations: the older one speaks of the coil, the newer one of the contact, which
// follows from the coil and from how it is wired. A sequence is one sequence whoever started it: its end is
// told by both, and a trigger while one runs is answered with busy. set_state ends it without the event.
#include <rovk/constants.h>

#include <utility>

#include "unit/services/views.h"
#include "unit/things/relay.h"

namespace rovk::unit {
namespace {

using things::Relay;

static_assert(ROVK_RELAY_0005_STATE_ACTIVE == 1 && ROVK_RELAY_0019_STATE_OPEN == 1);

class Relays : public View {
 public:
  Relays(const Setup& setup, std::string_view told_at_end) : View(setup, {}), relays_(all_things<Relay>()) {
    const catalogue::Event& ended = event(told_at_end);
    for (unsigned i = 0; i < devices(); ++i) {
      relays_[i]->sequence_ended.add([this, i, &ended] { host().raise(*this, ended, {i}); });
    }
  }

  void reset() override {
    View::reset();
    for (Relay* relay : relays_) relay->reset();
  }

 protected:
  Relay& relay(const Call& call) { return *relays_[device(call)]; }
  // One that is not enabled rests, and what would move it comes in the wrong order.
  Relay& enabled_relay(const Call& call) {
    if (!relay(call).settings().enabled) call.refuse("invalid_sequence", {call.command().opcode});
    return relay(call);
  }
  Relay& idle_relay(const Call& call) {
    if (enabled_relay(call).in_sequence()) call.refuse("busy");
    return relay(call);
  }

 private:
  std::vector<Relay*> relays_;
};

class Relay0005 final : public Relays {
 public:
  explicit Relay0005(const Setup& setup) : Relays(setup, "sequence_complete") {
    on("get_configuration", [this](Call& call) {
      const Relay::Settings& settings = relay(call).settings();
      call.set("enable", settings.enabled);
      call.set("normally_closed", settings.normally_closed);
      call.set("monostable", settings.monostable);
      call.set("delay_ds", settings.delay_ds);
      call.set("on_time_ds", settings.on_time_ds);
      call.set("off_time_ds", settings.off_time_ds);
      call.set("repeat_cycles", settings.repeat_cycles);
    });
    on("set_configuration", [this](Call& call) {
      const Relay::Build& build = relay(call).build();
      Relay::Settings settings;
      settings.enabled = call.within("enable", 0, 1) != 0;
      settings.normally_closed = call.within("normally_closed", 0, 1) != 0;
      settings.monostable = call.within("monostable", 0, 1) != 0;
      settings.delay_ds = call.within("delay_ds", 0, build.most_ds);
      settings.on_time_ds = call.within("on_time_ds", 0, build.most_ds);
      settings.off_time_ds = call.within("off_time_ds", 0, build.most_ds);
      settings.repeat_cycles = call.within("repeat_cycles", 0, build.most_repeats);
      relay(call).configure(settings);
    });
    on("get_state", [this](Call& call) { call.set("state", relay(call).energised()); });
    on("set_state", [this](Call& call) {
      const bool active = call.within("state", 0, 1) == ROVK_RELAY_0005_STATE_ACTIVE;
      enabled_relay(call).set(active);
    });
    on("trigger", [this](Call& call) { idle_relay(call).trigger(); });
  }
};

// The command carries the whole sequence: from the initial state on, open and closed times take turns for
// as many cycles as told, then the contact goes to its final state.
class Relay0019 final : public Relays {
 public:
  explicit Relay0019(const Setup& setup) : Relays(setup, "trigger_sequence_complete") {
    on("get_state", [this](Call& call) { call.set("open", relay(call).contact_open()); });
    on("set_state", [this](Call& call) {
      const bool open = call.within("open", 0, 1) == ROVK_RELAY_0019_STATE_OPEN;
      enabled_relay(call).set(relay(call).energised_for(open));
    });
    on("trigger", [this](Call& call) { trigger(call); });
  }

 private:
  void trigger(Call& call) {
    const Relay& wired = relay(call);
    const int64_t longest = wired.build().most_ms;
    const bool open_first = call.within("initial_state_open", 0, 1) != 0;
    Relay::Step first = {wired.energised_for(true), call.within("open_time_ms", 0, longest) * 1ms};
    Relay::Step second = {wired.energised_for(false), call.within("close_time_ms", 0, longest) * 1ms};
    const bool last = wired.energised_for(call.within("final_state_open", 0, 1) != 0);
    if (!open_first) std::swap(first, second);
    std::vector<Relay::Step> steps;
    for (int64_t i = call.number("num_cycles"); i > 0; --i) steps.insert(steps.end(), {first, second});
    idle_relay(call).run(std::move(steps), last);
  }
};

}  // namespace

std::unique_ptr<View> make_relay_0005(const Setup& setup) { return std::make_unique<Relay0005>(setup); }

std::unique_ptr<View> make_relay_0019(const Setup& setup) { return std::make_unique<Relay0019>(setup); }

}  // namespace rovk::unit
