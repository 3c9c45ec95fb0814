// The surroundings as the unit finds them when it is switched on: a room at daylight, contacts open,
// nothing pressed, nothing stuck.
#include "unit/world.h"

#include <algorithm>

namespace rovk::unit {
namespace {

constexpr std::array<std::string_view, input_count> names = {
    "temperature", "light",          "bus_voltage", "current",       "analog",     "button",
    "alarm",       "switch_contact", "fan_blocked", "motor_blocked", "port_taken",
};

}  // namespace

std::string_view input_name(Input input) { return names[static_cast<std::size_t>(input)]; }

std::optional<Input> find_input(std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<Input>(found - names.begin());
}

World::World() {
  const auto fill = [this](Input input, std::initializer_list<int64_t> values) {
    unsigned index = 0;
    for (const int64_t value : values) set(input, index++, value);
  };
  fill(Input::temperature, {48'000, 41'500, 52'250, 39'750});  // processor, sensor, FPGA, imager board
  fill(Input::light, {320'000});
  fill(Input::bus_voltage, {12'000});
  fill(Input::current, {450});
  fill(Input::analog, {3'300, 3'300, 1'650, 0, 742, 681, 793, 664});  // alarm converter, temperature converter
  fill(Input::button, {0});
  fill(Input::alarm, {0, 0});
  fill(Input::switch_contact, {0});
  fill(Input::fan_blocked, {0});
  fill(Input::motor_blocked, {0, 0, 0});
  fill(Input::port_taken, {0});
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
