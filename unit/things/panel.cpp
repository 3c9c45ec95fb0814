#include "unit/things/panel.h"

namespace rovk::unit::things {

void Button::press(bool pressed) {
  if (pressed_ == pressed) return;
  pressed_ = pressed;
  changed.tell();
}

void Switch::turn(bool on) {
  if (on_ == on) return;
  on_ = on;
  changed.tell();
}

void Switch::move_contact(bool contact) {
  contact_ = contact;
  turn(contact);
}

void Light::set(const State& state) {
  state_ = state;
  since_ = timeline_.now();
  changed.tell();
}

bool Light::lit(Time now) const {
  if (steady() || !alive_) return state_.on && alive_;
  const Time cycle = (state_.on_ms + state_.off_ms) * 1ms;
  return (now - since_) % cycle < state_.on_ms * 1ms;
}

int64_t Light::load_milliwatts() const {
  const int64_t full = state_.on ? build_.load_milliwatts : 0;
  return steady() ? full : full * state_.on_ms / (state_.on_ms + state_.off_ms);
}

}  // namespace rovk::unit::things
