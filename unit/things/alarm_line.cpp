#include "unit/things/alarm_line.h"

#include <algorithm>

namespace rovk::unit::things {

AlarmLine::AlarmLine(Timeline& timeline, const Build& build)
    : build_(build),
      settings_(build.settings),
      millivolts_(build.millivolts),
      settled_(contact()),
      told_(shown_contact()),
      alarm_(judge()),
      timeline_(timeline),
      debounce_(timeline),
      dwell_(timeline) {}

void AlarmLine::configure(const Settings& settings) {
  const bool same = settings.enabled == settings_.enabled && settings.normally_closed == settings_.normally_closed &&
                    settings.supervised == settings_.supervised;
  settings_ = settings;
  if (same) return;
  update();
}

void AlarmLine::reset() {
  debounce_.stop();
  dwell_.stop();
  settings_ = build_.settings;
  settled_ = contact();
  told_ = shown_contact();
  alarm_ = judge();
}

Contact AlarmLine::contact() const {
  if (!above_lower()) return Contact::closed;
  return above_upper() ? Contact::open : Contact::sabotaged;
}

void AlarmLine::set_millivolts(int64_t millivolts) {
  const Contact before = contact();
  millivolts_ = std::clamp<int64_t>(millivolts, 0, supply_millivolts);
  if (contact() != before) moved();
}

void AlarmLine::set_contact(Contact contact) {
  set_millivolts(contact == Contact::closed ? 0 : contact == Contact::open ? supply_millivolts : supply_millivolts / 2);
}

void AlarmLine::moved() {
  const bool was_settling = debounce_.running();
  debounce_.stop();
  if (contact() == settled_) {
    if (was_settling && settings_.enabled) glitched.tell();
    return;
  }
  debounce_.set(timeline_.now() + std::chrono::milliseconds(settings_.debounce_ms), [this] { settle(); });
}

void AlarmLine::settle() {
  settled_ = contact();
  update();
}

Contact AlarmLine::shown_contact() const {
  if (!settings_.enabled) return settings_.normally_closed ? Contact::closed : Contact::open;
  return settled_ == Contact::sabotaged && !settings_.supervised ? Contact::open : settled_;
}

AlarmLine::Alarm AlarmLine::judge() const {
  const Contact shown = shown_contact();
  if (shown == Contact::sabotaged) return Alarm::tampered;
  return (shown == Contact::closed) != settings_.normally_closed ? Alarm::active : Alarm::inactive;
}

// Both states follow the line; an alarm that is over may dwell.
void AlarmLine::update() {
  if (const Contact shown = shown_contact(); shown != told_) {
    told_ = shown;
    contact_changed.tell();
  }
  const Alarm now = judge();
  dwell_.stop();
  if (now == alarm_) return;
  if (now == Alarm::inactive && settings_.enabled && settings_.dwell_ds > 0) {
    dwell_.set(timeline_.now() + settings_.dwell_ds * 100ms, [this] {
      alarm_ = Alarm::inactive;
      alarm_changed.tell();
    });
    return;
  }
  alarm_ = now;
  alarm_changed.tell();
}

}  // namespace rovk::unit::things
