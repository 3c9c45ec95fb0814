#include "unit/inputs.h"

#include <cmath>
#include <limits>

#include "unit/things/alarm_line.h"
#include "unit/things/converter.h"
#include "unit/things/drives.h"
#include "unit/things/lens.h"
#include "unit/things/panel.h"
#include "unit/things/rail.h"
#include "unit/things/thermal.h"

namespace rovk::unit {
namespace {

using things::Body;

// One row: every thing of a class, with the values that it can have.
template <typename Thing, typename Get, typename Set>
void bind(Body& body, World& outside, Input input, int64_t low, int64_t high, Get get, Set set,
          void (*release)(Thing&) = nullptr) {
  std::vector<Thing*> all;
  for (unsigned i = 0; i < body.count<Thing>(); ++i) all.push_back(body.find<Thing>(i));
  outside.bind(input, {static_cast<unsigned>(all.size()),
                       low,
                       high,
                       [all, get](unsigned index) -> int64_t { return get(*all[index]); },
                       [all, set](unsigned index, int64_t value) { set(*all[index], value); },
                       {}});
  if (release) outside.bind_release(input, [all, release](unsigned index) { release(*all[index]); });
}

// The channels of all converters, one after the other.
std::pair<things::Converter*, unsigned> channel(const Body& body, unsigned index) {
  for (unsigned i = 0; i < body.count<things::Converter>(); ++i) {
    auto* const converter = body.find<things::Converter>(i);
    if (index < converter->channels()) return {converter, index};
    index -= converter->channels();
  }
  return {nullptr, 0};
}

// Focus and zoom of all lenses, then their irises, then their filters.
std::vector<things::LensMotor*> lens_motors(const Body& body) {
  std::vector<things::LensMotor*> all;
  const auto each = [&](auto work) {
    for (unsigned i = 0; i < body.count<things::Lens>(); ++i) work(*body.find<things::Lens>(i));
  };
  each([&](things::Lens& lens) {
    all.push_back(&lens.focus());
    if (lens.build().has_zoom) all.push_back(&lens.zoom());
  });
  each([&](things::Lens& lens) {
    if (lens.build().has_iris) all.push_back(&lens.iris());
  });
  each([&](things::Lens& lens) {
    if (lens.build().has_filter) all.push_back(&lens.filter());
  });
  return all;
}

}  // namespace

void bind_inputs(Body& body, World& outside) {
  using things::AlarmLine, things::Button, things::Contact, things::Switch;
  bind<Button>(
      body, outside, Input::button, 0, 1, [](const Button& button) { return button.pressed(); },
      [](Button& button, int64_t value) { button.press(value != 0); });
  bind<Switch>(
      body, outside, Input::switch_contact, 0, 1, [](const Switch& given) { return given.contact(); },
      [](Switch& given, int64_t value) { given.move_contact(value != 0); });
  bind<AlarmLine>(
      body, outside, Input::alarm, 0, 2, [](const AlarmLine& line) { return static_cast<int64_t>(line.contact()); },
      [](AlarmLine& line, int64_t value) { line.set_contact(static_cast<Contact>(value)); });
  constexpr int64_t most = std::numeric_limits<int32_t>::max();
  constexpr int64_t coldest = -273'150;
  // Far below what a sensor can tell up to what it cannot.
  bind<things::TemperatureSensor>(
      body, outside, Input::temperature, coldest, most,
      [](const things::TemperatureSensor& sensor) { return sensor.millidegrees(); },
      [](things::TemperatureSensor& sensor, int64_t value) { sensor.force(value); },
      [](things::TemperatureSensor& sensor) { sensor.release(); });
  bind<things::Rail>(
      body, outside, Input::bus_voltage, 0, most, [](const things::Rail& rail) { return rail.millivolts(); },
      [](things::Rail& rail, int64_t value) { rail.set_millivolts(value); },
      [](things::Rail& rail) { rail.set_millivolts(rail.build().millivolts); });
  bind<things::Rail>(
      body, outside, Input::current, -most, most, [](const things::Rail& rail) { return rail.milliamps(); },
      [](things::Rail& rail, int64_t value) { rail.force_milliamps(value); },
      [](things::Rail& rail) { rail.force_milliamps({}); });
  bind<things::Fan>(
      body, outside, Input::fan_blocked, 0, 1, [](const things::Fan& fan) { return fan.blocked(); },
      [](things::Fan& fan, int64_t value) { fan.block(value != 0); });
  things::Surroundings& around = body.surroundings();
  outside.bind(Input::light, {1,
                              0,
                              std::numeric_limits<uint32_t>::max(),
                              [&around](unsigned) { return around.daylight_millilux(); },
                              [&around](unsigned, int64_t value) { around.set_daylight(value); },
                              {}});
  outside.bind(Input::air_temperature,
               {1,
                coldest,
                most,
                [&around](unsigned) -> int64_t { return std::llround(around.degrees() * 1e3); },
                [&around](unsigned, int64_t value) { around.set_degrees(static_cast<double>(value) / 1e3); },
                {}});
  const std::vector<things::LensMotor*> motors = lens_motors(body);
  outside.bind(Input::motor_blocked, {static_cast<unsigned>(motors.size()),
                                      0,
                                      1,
                                      [motors](unsigned index) -> int64_t { return motors[index]->blocked(); },
                                      [motors](unsigned index, int64_t value) { motors[index]->block(value != 0); },
                                      {}});
  unsigned channels = 0;
  for (unsigned i = 0; i < body.count<things::Converter>(); ++i)
    channels += body.find<things::Converter>(i)->channels();
  outside.bind(Input::analog, {channels,
                               0,
                               std::numeric_limits<int16_t>::max(),
                               [&body](unsigned index) -> int64_t {
                                 const auto [converter, place] = channel(body, index);
                                 return converter->millivolts(place);
                               },
                               [&body](unsigned index, int64_t value) {
                                 const auto [converter, place] = channel(body, index);
                                 converter->drive(place, value);
                               },
                               {}});
}

}  // namespace rovk::unit
