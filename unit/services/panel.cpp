// Lights, buttons and switches.
#include "unit/things/panel.h"

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

class Lights final : public View {
 public:
  explicit Lights(const Setup& setup) : View(setup, {}), lights_(all_things<things::Light>()) {
    on("get_state", [this](Call& call) {
      const things::Light::State& state = lights_[device(call)]->state();
      call.set("on", state.on);
      call.set("duty_cycle_on_ms", state.on_ms);
      call.set("duty_cycle_off_ms", state.off_ms);
    });
    on("set_state", [this](Call& call) {
      things::Light& light = *lights_[device(call)];
      const int64_t most = light.build().most_ms;
      light.set({call.within("on", 0, 1) != 0, call.within("duty_cycle_on_ms", 0, most),
                 call.within("duty_cycle_off_ms", 0, most)});
    });
  }

  void reset() override {
    for (things::Light* light : lights_) light->reset();
  }

 private:
  std::vector<things::Light*> lights_;
};

class Buttons final : public View {
 public:
  explicit Buttons(const Setup& setup) : View(setup, {}), buttons_(all_things<things::Button>()) {
    const catalogue::Event& change = event("state_change");
    for (unsigned i = 0; i < devices(); ++i) {
      buttons_[i]->changed.add([this, i, &change] { host().raise(*this, change, {i, buttons_[i]->pressed()}); });
    }
    on("get_state", [this](Call& call) { call.set("pressed", buttons_[device(call)]->pressed()); });
    on("get_initial_state", [this](Call& call) { call.set("pressed", buttons_[device(call)]->pressed_at_start()); });
  }

  void reset() override {
    for (things::Button* button : buttons_) button->reset();
  }

 private:
  std::vector<things::Button*> buttons_;
};

class Switches final : public View {
 public:
  explicit Switches(const Setup& setup) : View(setup, {}), switches_(all_things<things::Switch>()) {
    const catalogue::Event& change = event("state_change");
    for (unsigned i = 0; i < devices(); ++i) {
      switches_[i]->changed.add([this, i, &change] { host().raise(*this, change, {i, switches_[i]->on()}); });
    }
    on("get_state", [this](Call& call) { call.set("on", switches_[device(call)]->on()); });
    on("set_state", [this](Call& call) { switches_[device(call)]->turn(call.within("on", 0, 1) != 0); });
  }

  void reset() override {
    for (things::Switch* given : switches_) given->reset();
  }

 private:
  std::vector<things::Switch*> switches_;
};

}  // namespace

std::unique_ptr<View> make_led_0001(const Setup& setup) { return std::make_unique<Lights>(setup); }

std::unique_ptr<View> make_button_0002(const Setup& setup) { return std::make_unique<Buttons>(setup); }

std::unique_ptr<View> make_switch_0027(const Setup& setup) { return std::make_unique<Switches>(setup); }

}  // namespace rovk::unit
