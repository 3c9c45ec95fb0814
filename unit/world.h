// The surroundings of the unit: what its sensors, buttons and contacts see. The one place where the
// outside enters; models read it, test programs and scripts write it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string_view>

namespace rovk::unit {

enum class Input : uint8_t {
  temperature,     // millidegrees Celsius; index: the devices of temperature_sensor_0009
  light,           // millilux
  bus_voltage,     // millivolts; index: monitored rail
  current,         // milliamperes; index: monitored rail
  analog,          // millivolts; index: A/D input
  button,          // 0 released, 1 pressed; index: button
  alarm,           // 0 open, 1 closed, 2 sabotaged; index: alarm contact, both generations see the same
  switch_contact,  // 0 off, 1 on; index: switch
  fan_blocked,     // 0 turns freely, 1 blocked; index: fan
  motor_blocked,   // 0 moves freely, 1 blocked; index: lens motor, 0 focus, 1 zoom, 2 thermal focus
  port_taken,      // 0 free, 1 another program listens on the port of the file server
};

inline constexpr std::size_t input_count = 11;

// What an input can be. A quantity has a unit, anything else a few states.
struct InputRow {
  const char* name;
  std::span<const int64_t> at_start;  // one value for each index
  int64_t low;
  int64_t high;
  const char* unit;
  const char* states;
};

// In the order of Input.
std::span<const InputRow, input_count> inputs();
std::optional<Input> find_input(std::string_view name);

class World {
 public:
  World();
  // An index that was never set reads the value of index 0.
  int64_t get(Input input, unsigned index = 0) const;
  void set(Input input, unsigned index, int64_t value);

 private:
  std::array<std::map<unsigned, int64_t>, input_count> values_;
};

}  // namespace rovk::unit
