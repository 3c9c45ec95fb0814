#include "unit/inputs.h"

#include <limits>

#include "unit/things/alarm_line.h"
#include "unit/things/converter.h"
#include "unit/things/panel.h"
#include "unit/things/thermal.h"

namespace rovk::unit {
namespace {

using things::Body;

// One row: every thing of a class, with the values that it can have.
template <typename Thing, typename Get, typename Set>
void bind(Body& body, World& outside, Input input, int64_t low, int64_t high, Get get, Set set) {
  outside.bind(input, {body.count<Thing>(), low, high,
                       [&body, get](unsigned index) -> int64_t { return get(*body.find<Thing>(index)); },
                       [&body, set](unsigned index, int64_t value) { set(*body.find<Thing>(index), value); }});
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
  // Far below what a sensor can tell up to what it cannot.
  bind<things::TemperatureSensor>(
      body, outside, Input::temperature, -273'150, std::numeric_limits<int32_t>::max(),
      [](const things::TemperatureSensor& sensor) { return sensor.millidegrees(); },
      [](things::TemperatureSensor& sensor, int64_t value) { sensor.force(value); });
  unsigned channels = 0;
  for (unsigned i = 0; i < body.count<things::Converter>(); ++i)
    channels += body.find<things::Converter>(i)->channels();
  outside.bind(Input::analog, {channels, 0, std::numeric_limits<int16_t>::max(),
                               [&body](unsigned index) -> int64_t {
                                 const auto [converter, place] = channel(body, index);
                                 return converter->millivolts(place);
                               },
                               [&body](unsigned index, int64_t value) {
                                 const auto [converter, place] = channel(body, index);
                                 converter->drive(place, value);
                               }});
}

}  // namespace rovk::unit
