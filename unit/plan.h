// Bad days on demand: rules that say which messages between applications and unit meet with what. A plan
// decides and counts; the unit carries out what it decided. With the same seed and the same messages it
// decides the same.
#pragma once

#include <rovk/constants.h>
#include <rovk/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "unit/clock.h"

namespace rovk::catalogue {
struct Service;
}

namespace rovk::unit {

struct Rule {
  enum class Direction : uint8_t { any, command, answer, event };
  enum class Action : uint8_t { drop, delay, duplicate, reorder, corrupt, refuse, silence, reset, power_off };

  // Which messages; what is left out matches all.
  Direction direction = Direction::any;
  std::string service;  // as in "led_0001"
  std::string command;  // command or event by its name; an answer has no opcode and is known by its uuid
  std::optional<uint16_t> address;
  std::optional<uint16_t> application;
  // Of those, the n-th alone (from 1), and at most so many; 0: all.
  uint32_t nth = 0;
  uint32_t times = 0;
  double probability = 1;

  Action action = Action::drop;
  int64_t ms = 0;                // of delay, silence, power_off (0: for good), and how long reorder waits at most
  std::optional<unsigned> byte;  // of corrupt; left out: any
  std::optional<uint8_t> value;  // of corrupt; left out: any other than what is there
  uint16_t error = 0;            // of refuse
  std::array<uint8_t, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE> detail = {};
  std::string where;  // "FILE:LINE"
};

struct PlanDescription {
  uint64_t seed = 1;
  std::vector<Rule> rules;
};

// What becomes of one message.
struct Fate {
  bool lost = false;
  bool doubled = false;
  bool swapped = false;  // goes behind the next message of its kind
  bool resets = false;
  bool switches_off = false;
  std::optional<int64_t> silent_ms;
  int64_t off_ms = 0;
  int64_t swap_ms = 0;
  Time late{0};
  const Rule* refusal = nullptr;
};

// What befalls an application's next answers, one after the other, before the plan sees them. No rows of a plan:
// rules strike a message together, go when another plan comes, and draw random numbers.
struct Disturbance {
  std::string_view name;
  void (*befall)(Fate& fate, uint8_t* bytes, uint32_t value);
};

const Disturbance* find_disturbance(std::string_view name);  // null: there is none of that name
std::string disturbance_names();                             // as a list for people

class Plan {
 public:
  explicit Plan(PlanDescription description);

  bool empty() const { return description_.rules.empty(); }
  // Decides about a message that is on its way now, and changes its bytes when it is to be corrupted.
  // `service` null: nobody stands at its address.
  Fate judge(Rule::Direction direction, const catalogue::Service* service, rovk_message& message);

  const PlanDescription& description() const { return description_; }
  // How often each rule has struck.
  std::span<const uint64_t> struck() const { return struck_; }

 private:
  bool matches(const Rule& rule, Rule::Direction direction, const catalogue::Service* service,
               const rovk_message& message) const;
  double draw();

  PlanDescription description_;
  std::vector<uint64_t> met_;
  std::vector<uint64_t> struck_;
  std::mt19937_64 random_;
};

}  // namespace rovk::unit
