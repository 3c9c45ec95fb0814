// The surroundings as the unit finds them when it is switched on: a room at daylight, contacts open,
// nothing pressed, nothing stuck.
#include "unit/world.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace rovk::unit {
namespace {

constexpr int64_t lowest = std::numeric_limits<int32_t>::min();
constexpr int64_t highest = std::numeric_limits<int32_t>::max();
constexpr int64_t absolute_zero = -273'150;

// One value for each place.
constexpr int64_t temperatures[] = {48'000, 41'500, 52'250, 39'750};  // processor, sensor, FPGA, imager board
constexpr int64_t light[] = {320'000};
constexpr int64_t bus_voltage[] = {12'000};
constexpr int64_t current[] = {450};
constexpr int64_t analog[] = {3'300, 3'300, 1'650, 0, 742, 681, 793, 664};  // alarm converter, temperature converter
constexpr int64_t one_at_rest[] = {0};
constexpr int64_t contacts[] = {0, 0};
constexpr int64_t motors[] = {0, 0, 0};

constexpr InputRow rows[input_count] = {
    {"temperature", temperatures, absolute_zero, highest, "millidegrees Celsius", nullptr},
    {"light", light, 0, std::numeric_limits<uint32_t>::max(), "millilux", nullptr},
    {"bus_voltage", bus_voltage, 0, highest, "millivolts", nullptr},
    {"current", current, lowest, highest, "milliamperes", nullptr},
    {"analog", analog, lowest, highest, "millivolts", nullptr},
    {"button", one_at_rest, 0, 1, nullptr, "0 (released) or 1 (pressed)"},
    {"alarm", contacts, 0, 2, nullptr, "0 (open), 1 (closed) or 2 (sabotaged)"},
    {"switch_contact", one_at_rest, 0, 1, nullptr, "0 (off) or 1 (on)"},
    {"fan_blocked", one_at_rest, 0, 1, nullptr, "0 (turns freely) or 1 (blocked)"},
    {"motor_blocked", motors, 0, 1, nullptr, "0 (moves freely) or 1 (blocked)"},
    {"port_taken", one_at_rest, 0, 1, nullptr, "0 (free) or 1 (taken)"},
};

}  // namespace

std::span<const InputRow, input_count> inputs() { return rows; }

std::optional<Input> find_input(std::string_view name) {
  const auto found =
      std::find_if(std::begin(rows), std::end(rows), [name](const InputRow& row) { return row.name == name; });
  if (found == std::end(rows)) return std::nullopt;
  return static_cast<Input>(found - std::begin(rows));
}

World::World() {
  for (std::size_t input = 0; input < input_count; ++input) {
    unsigned index = 0;
    for (const int64_t value : rows[input].at_start) values_[input].emplace(index++, value);
  }
}

int64_t World::get(Input input, unsigned index) const {
  const auto& values = values_[static_cast<std::size_t>(input)];
  const auto found = values.find(index);
  return found == values.end() ? values.at(0) : found->second;
}

void World::set(Input input, unsigned index, int64_t value) {
  values_[static_cast<std::size_t>(input)].insert_or_assign(index, value);
}

}  // namespace rovk::unit
