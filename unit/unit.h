// The simulated unit: peripherals at their addresses, applications that talk to them, and a clock.
// Commands go in as 32-byte messages; answers and events come out of the application's inbox when
// their time has come.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rovk/types.h"
#include "unit/clock.h"
#include "unit/coverage.h"
#include "unit/plan.h"
#include "unit/profiles/description.h"
#include "unit/things/board.h"
#include "unit/world.h"
#include "wire/queue.h"

namespace rovk::unit {

// The `type` of reset_occurred. Other numbers may be given from outside.
enum class ResetType : uint16_t { power_on = 0, commanded = 1, watchdog = 2 };

struct Options {
  bool virtual_clock = false;
  Time latency{0};     // from a command's arrival to its answer's, on top of what the command itself takes
  Time processing{0};  // what the unit needs for any command; a virtual clock moves on by it

  bool operator==(const Options&) const = default;
};

// Belongs to one thread at a time and starts none. What throws is memory running out, or a defect of a
// view (std::logic_error): a name that the catalogue does not know.
class Unit {
 public:
  // Throws DescriptionError. The description is copied.
  explicit Unit(const Options& options, const UnitDescription& description = everything());
  ~Unit();
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;

  // An application joins and gets its address, never 0; it leaves with all its subscriptions and
  // reservations, and with what is still on the way to it.
  uint16_t join();
  void leave(uint16_t application);

  // Takes a message from an application and carries it out at once; what is due at once lies in the
  // inbox when the call returns. A message that is no command, or that comes from an application that
  // has not joined, is dropped and counted.
  void submit(uint16_t application, const rovk_message& message);
  uint64_t dropped() const;
  // The next message for an application, in order of their due times, then of their making.
  bool take(uint16_t application, rovk_message& message);
  // What has come to an application that has joined, as of the last call that did what was due. Stays where it is
  // until the application leaves.
  const wire::Queue& inbox(uint16_t application) const;

  // The applications into whose inboxes something has come since the last call.
  std::vector<uint16_t> take_reached();

  // Does all that is due at the clock's present reading.
  void run();
  // When the next timer or answer falls due. Empty: nothing is planned.
  std::optional<Time> next_due() const;
  // Moves a virtual clock to `when`, doing on the way, each at its own time, all that falls due.
  void advance_to(Time when);
  // Plans nothing for that time but that it is somebody's next due time, at which a wait ends.
  void stop_at(Time when);
  Clock& clock();

  const UnitDescription& description() const;
  // The things themselves, for who looks on.
  things::Body& body();

  // What happens to the unit from outside. False: nobody stands at the address.
  World& world();
  // False: no such thing, or a value that it cannot have.
  bool set_input(Input input, unsigned index, int64_t value);
  // What was set is let go. False: no such thing, or nothing but what is set decides there.
  bool release_input(Input input, unsigned index);
  // Off, nothing hears and nothing answers, and what was under way is gone; on again, all peripherals boot
  // and raise reset_occurred. EEPROMs and files stay.
  void set_power(bool on);
  bool powered() const;
  bool reset_peripheral(uint16_t address, uint16_t type);
  bool set_fault(uint16_t address, uint16_t fault_id);
  bool spontaneous_error(uint16_t address, uint16_t error_id, const uint8_t* payload);
  // Disturbs the next `count` answers to an application: "lose", "duplicate", "delay" (by `value`
  // milliseconds), "corrupt" (another type byte), "misdirect" (another uuid), as disturbance_names() lists them.
  // False: no such disturbance.
  bool disturb(uint16_t application, std::string_view what, uint32_t count, uint32_t value);
  // Goes on from what the file at `path` has kept, and keeps settings and EEPROMs there from now on, files in
  // the folder `path`.files beside it unless the description names another one. Throws
  // DescriptionError when the file is damaged, of another unit or in use.
  void keep_state(const std::string& path);
  // From now on messages meet with what these rules say, in place of the rules before.
  void set_plan(const PlanDescription& plan);
  const Plan& plan() const;
  const Coverage& coverage() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace rovk::unit
