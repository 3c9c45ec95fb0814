// The ways between applications and peripherals: the inboxes of those who have joined, and what messages meet with
// before they arrive: the plan's rules, disturbances, peripherals that are silent, messages held back so that
// another one overtakes them.
#pragma once

#include <rovk/types.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <vector>

#include "unit/agenda.h"
#include "unit/coverage.h"
#include "unit/peripherals.h"
#include "unit/plan.h"
#include "wire/queue.h"

namespace rovk::unit {

class Traffic {
 public:
  using Direction = Rule::Direction;

  // The unit at the end of the ways.
  class Station {
   public:
    virtual ~Station() = default;
    // A command has arrived, maybe after its application has left.
    virtual void arrive(uint16_t application, const rovk_message& command) = 0;
    // What the plan does to the unit, for a message of that direction.
    virtual void reset_from_outside(uint16_t address, Direction met) = 0;
    virtual void switch_off(int64_t off_ms) = 0;  // 0: for good
  };

  // `delay`: how long an answer is on its way.
  Traffic(Time delay, const PlanDescription& plan, Agenda& agenda, const Peripherals& peripherals, Coverage& coverage,
          Station& station)
      : delay_(delay),
        agenda_(agenda),
        peripherals_(peripherals),
        coverage_(coverage),
        station_(station),
        plan_(plan) {}

  uint16_t join();
  void leave(uint16_t application) { applications_.erase(application); }
  bool knows(uint16_t application) const { return applications_.contains(application); }
  const wire::Queue& inbox(uint16_t application) const { return applications_.at(application).inbox; }
  bool take(uint16_t application, rovk_message& message);
  std::vector<uint16_t> take_reached();

  // Each sends a message on its way, or whatever the plan makes of it. An answer to an application that has left
  // since it asked goes nowhere. `ended` is when what is answered has ended.
  void answer(uint16_t application, const rovk_message& message, Time ended);
  void event(uint16_t application, const rovk_message& message) {
    dispatch(Direction::event, application, message, agenda_.now());
  }
  // A command that meets with nothing need not come this way.
  bool is_disturbed() const { return !plan_.empty() || !silent_.empty(); }
  void command(uint16_t application, const rovk_message& message) {
    travel(Direction::command, application, message, agenda_.now());
  }

  void set_plan(const PlanDescription& plan);
  const Plan& plan() const { return plan_; }
  // False: no such application.
  bool disturb(uint16_t application, const Disturbance& what, uint32_t count, uint32_t value);

 private:
  struct Disturbed {
    const Disturbance* what;
    uint32_t count;
    uint32_t value;
  };
  // A message that lets the next one of its kind pass.
  struct Held {
    rovk_message message;
    uint64_t number;
  };
  struct Application {
    wire::Queue inbox;
    std::deque<Disturbed> disturbed;
    std::map<Direction, Held> held;
    bool told = false;  // stands in `reached_`
  };

  bool is_silent(uint16_t address) const;
  void dispatch(Direction direction, uint16_t application, const rovk_message& message, Time when);
  void travel(Direction direction, uint16_t application, rovk_message message, Time when);
  void release(Direction direction, uint16_t application, uint64_t number);
  void refuse(rovk_message& message, const Rule& rule);
  void pass(Direction direction, uint16_t application, const rovk_message& message, Time when);
  void send(uint16_t application, const rovk_message& message, Time when);
  void deliver(uint16_t application, const rovk_message& message);

  const Time delay_;
  Agenda& agenda_;
  const Peripherals& peripherals_;
  Coverage& coverage_;
  Station& station_;
  Plan plan_;
  std::map<uint16_t, Time> silent_;  // until when a peripheral neither hears nor answers
  std::map<uint16_t, Application> applications_;
  std::vector<uint16_t> reached_;  // who got something since somebody asked
  uint16_t last_joined_ = 0;
  uint64_t held_ = 0;  // messages so far
};

}  // namespace rovk::unit
