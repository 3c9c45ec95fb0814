// The surroundings as the unit finds them when it is switched on: a room at daylight, contacts open,
// nothing pressed, nothing stuck.
#include "unit/world.h"

#include <memory>

namespace rovk::unit {
namespace {

constexpr InputRow rows[input_count] = {
    {"temperature", "millidegrees Celsius", nullptr},
    {"light", "millilux", nullptr},
    {"bus_voltage", "millivolts", nullptr},
    {"current", "milliamperes", nullptr},
    {"analog", "millivolts", nullptr},
    {"button", nullptr, "0 (released) or 1 (pressed)"},
    {"alarm", nullptr, "0 (open), 1 (closed) or 2 (sabotaged)"},
    {"switch_contact", nullptr, "0 (off) or 1 (on)"},
    {"fan_blocked", nullptr, "0 (turns freely) or 1 (blocked)"},
    {"motor_blocked", nullptr, "0 (moves freely) or 1 (blocked)"},
    {"port_taken", nullptr, "0 (free) or 1 (taken)"},
    {"air_temperature", "millidegrees Celsius", nullptr},
};

}  // namespace

std::span<const InputRow, input_count> inputs() { return rows; }

std::optional<Input> find_input(std::string_view name) {
  for (const InputRow& row : rows) {
    // Their lengths tell most of them apart without a call.
    if (row.name.size() == name.size() && row.name == name) return static_cast<Input>(&row - rows);
  }
  return std::nullopt;
}

World::World() { keep(Input::port_taken, 0, 1, {0}); }

// An input that no thing has yet: the value is kept here.
void World::keep(Input input, int64_t low, int64_t high, std::vector<int64_t> values) {
  auto kept = std::make_shared<std::vector<int64_t>>(std::move(values));
  const auto count = static_cast<unsigned>(kept->size());
  bind(input, {count,
               low,
               high,
               [kept](unsigned index) { return (*kept)[index]; },
               [kept](unsigned index, int64_t value) { (*kept)[index] = value; },
               {}});
}

int64_t World::get(Input input, unsigned index) const {
  const Hand& hand = hands_[static_cast<std::size_t>(input)];
  if (hand.count == 0) return 0;
  return hand.get(index < hand.count ? index : 0);
}

bool World::set(Input input, unsigned index, int64_t value) {
  const Hand& hand = hands_[static_cast<std::size_t>(input)];
  if (index >= hand.count || value < hand.low || value > hand.high) return false;
  hand.set(index, value);
  return true;
}

bool World::release(Input input, unsigned index) {
  const Hand& hand = hands_[static_cast<std::size_t>(input)];
  if (index >= hand.count || !hand.release) return false;
  hand.release(index);
  return true;
}

}  // namespace rovk::unit
