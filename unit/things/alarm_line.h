// An alarm input: the two-wire line of a contact, and how its alarm is recognised. The one truth about
// the contact is the voltage on the line: comparators and converters read it as it is, the state behind
// the debounce filter follows it.
#pragma once

#include <cstdint>

#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

enum class Contact : uint8_t { open = 0, closed = 1, sabotaged = 2 };

class AlarmLine {
 public:
  static constexpr int64_t supply_millivolts = 3'300;

  struct Settings {
    bool enabled = true;
    bool normally_closed = false;
    bool supervised = false;  // a sabotaged line shows as such, else as what it electrically is, open
    int64_t debounce_ms = 20;
    int64_t dwell_ds = 0;  // how long an alarm is still shown after its cause has gone
  };
  struct Build {
    Settings settings;  // at power-on
    int64_t most_debounce_ms = 1'000;
    int64_t most_dwell_ds = 600;
    int64_t millivolts = supply_millivolts;  // what the line reads when the unit is made
  };
  enum class Alarm : uint8_t { inactive = 0, active = 1, tampered = 2 };

  AlarmLine(Timeline& timeline, const Build& build);

  const Build& build() const { return build_; }
  const Settings& settings() const { return settings_; }
  void configure(const Settings& settings);
  // Power-on settings; the line is believed as it is.
  void reset();

  // The line from outside. A closed contact pulls it to ground, an open one leaves it at the supply, a
  // line that was tampered with lies between.
  int64_t millivolts() const { return millivolts_; }
  void set_millivolts(int64_t millivolts);
  void set_contact(Contact contact);
  // As it is, unfiltered, by two comparators at a quarter and three quarters of the supply.
  bool above_lower() const { return millivolts_ > supply_millivolts / 4; }
  bool above_upper() const { return millivolts_ > supply_millivolts * 3 / 4; }
  Contact contact() const;

  // Behind the debounce filter: the contact, in its idle state while the input is not enabled.
  Contact shown_contact() const;
  // Whether that is an alarm, with its dwell time.
  Alarm alarm() const { return alarm_; }

  Watchers<> contact_changed;  // the shown one
  Watchers<> alarm_changed;
  Watchers<> glitched;  // the contact moved and moved back within the debounce time

 private:
  void moved();
  void settle();
  void update();
  Alarm judge() const;

  const Build build_;
  Settings settings_;
  int64_t millivolts_;
  Contact settled_;
  Contact told_;  // shown last
  Alarm alarm_ = Alarm::inactive;
  Timeline& timeline_;
  Timer debounce_;
  Timer dwell_;
};

}  // namespace rovk::unit::things
