// What a unit is made of, as data: its boards with their things, the peripherals that show them, their
// addresses and devices, and where the unit stands. The unit is built from this struct and from nothing
// else; how a thing behaves is its class's matter, and each class names its own limits and initial values
// in its Build. Everything has a default, so that a description says only what differs.
#pragma once

#include <rovk/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "unit/plan.h"
#include "unit/things/alarm_line.h"
#include "unit/things/drives.h"
#include "unit/things/eeprom.h"
#include "unit/things/file_store.h"
#include "unit/things/head.h"
#include "unit/things/imager.h"
#include "unit/things/lens.h"
#include "unit/things/panel.h"
#include "unit/things/rail.h"
#include "unit/things/relay.h"
#include "unit/things/surroundings.h"
#include "unit/things/thermal.h"

namespace rovk::unit {

// One of a peripheral's devices, at an index.
struct DeviceDescription {
  uint32_t id = 0;  // ROVK_PERIPHERAL_DEVICE_ID_*
  // Which thing it is: its place among those of the kind that the service shows, on the peripheral's
  // board, or where that has none of the kind, over all boards. Left out: the place is the index.
  std::optional<unsigned> thing = {};
};

// A value that a service keeps by plain get and set, where it differs from what the service brings: the
// field of the commands get_<subject> and set_<subject>.
struct ValueDescription {
  std::string subject;
  std::string field;
  std::optional<int64_t> low = {};
  std::optional<int64_t> high = {};
  std::optional<int64_t> initial = {};
};

struct PeripheralDescription {
  std::string service;  // as in "led_0001"
  // Left out: the first free one of 0x0100 + the service's id, and 0x1000 more each. The router and the
  // self-check service always have their fixed ones.
  std::optional<uint16_t> address = {};
  std::vector<uint16_t> aliases = {};  // other addresses at which it answers; 10 at most
  std::vector<DeviceDescription> devices = {{}};
  // A command that takes time: with a queue it waits its turn, `busy` when queue_depth commands are there
  // already; without one it is `busy` while another is under way.
  bool queued = true;
  uint8_t queue_depth = 16;
  // A command that waits already, from the same application with the same inputs, is `already_queued`.
  bool refuses_repeats = false;
  int64_t boot_ms = 20;  // from a reset to its event; meanwhile it answers with `busy`
  rovk_version implementation = {1, 0};
  std::vector<ValueDescription> values = {};
  // What a file calls it, unique on its board; left out: the service.
  std::string name = {};
  std::string where = {};  // "FILE:LINE" of a unit file
};

struct ConverterDescription {
  enum class Source : uint8_t { free, alarm_line, temperature };
  struct Channel {
    Source source = Source::free;
    unsigned thing = 0;      // place of the alarm line or temperature sensor over all boards
    int64_t millivolts = 0;  // of a free one
  };
  std::vector<Channel> channels;
};

struct BoardDescription {
  std::string name;
  uint8_t location = 0;  // ROVK_GPI_LOCATION_*

  // Things, in the order in which indexes count them.
  std::vector<things::Light::Build> lights = {};
  std::vector<things::Button::Build> buttons = {};
  std::vector<things::Switch::Build> switches = {};
  std::vector<things::AlarmLine::Build> alarm_lines = {};
  std::vector<things::Relay::Build> relays = {};
  std::vector<ConverterDescription> converters = {};
  std::vector<things::ThermalMass::Build> thermal_masses = {};
  std::vector<things::TemperatureSensor::Build> temperature_sensors = {};
  std::vector<things::Rail::Build> rails = {};
  std::vector<things::Heater::Build> heaters = {};
  std::vector<things::Illuminator::Build> illuminators = {};
  std::vector<things::Fan::Build> fans = {};
  std::vector<things::Lens::Build> lenses = {};
  std::vector<things::Imager::Build> imagers = {};  // the n-th looks through the board's n-th lens
  std::vector<things::Head::Build> heads = {};
  std::vector<things::EepromBuild> eeproms = {};
  std::vector<things::FileStore::Build> file_stores = {};

  std::vector<PeripheralDescription> peripherals = {};
  std::string where = {};  // "FILE:LINE" of a unit file
  // The same for its things, by the file's name for their kind; those that no file speaks of have none.
  std::map<std::string, std::vector<std::string>> places = {};
};

struct UnitDescription {
  std::string name;
  std::vector<BoardDescription> boards;  // the router is part of the unit and stands in none of them
  things::Surroundings::Build surroundings = {};
  int64_t boot_ms = 500;  // from power-on until the peripherals start to boot
  PlanDescription plan = {};
};

// The default unit: every service of the catalogue, every numbered device.
const UnitDescription& everything();

}  // namespace rovk::unit
