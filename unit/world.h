// The surroundings of the unit: what its sensors, buttons and contacts see. The one place where the
// outside enters; models read it, test programs and scripts write it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace rovk::unit {

enum class Input : uint8_t {
  temperature,      // millidegrees Celsius; index: temperature sensor
  light,            // millilux
  bus_voltage,      // millivolts; index: monitored rail
  current,          // milliamperes; index: monitored rail
  analog,           // millivolts; index: A/D input
  button,           // 0 released, 1 pressed; index: button
  alarm,            // 0 open, 1 closed, 2 sabotaged; index: alarm contact, both generations see the same
  switch_contact,   // 0 off, 1 on; index: switch
  fan_blocked,      // 0 turns freely, 1 blocked; index: fan
  motor_blocked,    // 0 moves freely, 1 blocked; index: lens motor: focus and zoom of each lens, irises, filters
  port_taken,       // 0 free, 1 another program listens on the port of the file server
  air_temperature,  // millidegrees Celsius, of the air around the unit
};

inline constexpr std::size_t input_count = 12;

// How an input is called. A quantity has a unit, anything else a few states.
struct InputRow {
  std::string_view name;  // ends with a zero as well
  const char* unit;
  const char* states;
};

// In the order of Input.
std::span<const InputRow, input_count> inputs();
std::optional<Input> find_input(std::string_view name);

class World {
 public:
  // What an input acts on: so many of them, with values from low to high.
  struct Hand {
    unsigned count = 0;
    int64_t low = 0;
    int64_t high = 0;
    std::function<int64_t(unsigned index)> get;
    std::function<void(unsigned index, int64_t value)> set;
    std::function<void(unsigned index)> release;  // empty: what is set stays
  };

  World();
  // From now on the input is that of things.
  void bind(Input input, Hand hand) { hands_[static_cast<std::size_t>(input)] = std::move(hand); }
  void bind_release(Input input, std::function<void(unsigned index)> release) {
    hands_[static_cast<std::size_t>(input)].release = std::move(release);
  }

  const Hand& hand(Input input) const { return hands_[static_cast<std::size_t>(input)]; }

  // An index that is not there reads the value of index 0, or 0.
  int64_t get(Input input, unsigned index = 0) const;
  // False: not there, or beyond the limits; nothing has changed then.
  bool set(Input input, unsigned index, int64_t value);
  // Lets go what was set: the unit's own temperatures and loads count again. False: not there, or nothing
  // but what is set decides.
  bool release(Input input, unsigned index);

 private:
  void keep(Input input, int64_t low, int64_t high, std::vector<int64_t> values);

  std::array<Hand, input_count> hands_;
};

}  // namespace rovk::unit
