// The order matters: what others are wired to is made first, on all boards, before what is wired to it.
#include "unit/build.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "unit/fittings.h"
#include "unit/profiles/eeprom_factory.h"
#include "unit/things/converter.h"
#include "unit/things/overlay.h"

namespace rovk::unit {
namespace {

using things::Board;
using things::Body;

// Makes each of a kind. What is wrong with one is told with its place in the unit file, or the board's.
template <typename Build, typename Make>
void each(const BoardDescription& from, const char* kind, const std::vector<Build>& builds, Make make) {
  for (std::size_t i = 0; i < builds.size(); ++i) {
    try {
      make(builds[i]);
    } catch (const DescriptionError& error) {
      const auto known = from.places.find(kind);
      const bool has_place = known != from.places.end() && i < known->second.size();
      fail_at({has_place ? known->second[i] : "", from.where}, error.what());
    }
  }
}

// What something is wired to by its place. A first one that is not there means that there is none.
template <typename Thing>
Thing* wired_to(Thing* found, unsigned place, const char* kind) {
  if (!found && place > 0) {
    throw DescriptionError("it is wired to " + std::string(kind) + " " + std::to_string(place) +
                           ", which is not there");
  }
  return found;
}

template <typename Thing>
Thing& wired_surely(const Body& body, unsigned place, const char* kind) {
  if (Thing* const thing = body.find<Thing>(place)) return *thing;
  throw DescriptionError("it is wired to " + std::string(kind) + " " + std::to_string(place) + ", which is not there");
}

// Bodies, rails and all that others stand on or are fed by.
void build_supplies(const BoardDescription& from, Timeline& timeline, Body& body, Board& board) {
  for (const auto& mass : from.thermal_masses) {
    auto& made = board.add<things::ThermalMass>(timeline, mass, body.surroundings().degrees());
    body.surroundings().air_changed.add([&made, &body] { made.set_ambient(body.surroundings().degrees()); });
  }
  for (const auto& rail : from.rails) board.add<things::Rail>(rail);
}

things::ThermalMass* find_mass(const Body& body, const std::string& name) {
  for (unsigned i = 0; i < body.count<things::ThermalMass>(); ++i) {
    auto* const mass = body.find<things::ThermalMass>(i);
    if (mass->build().name == name) return mass;
  }
  throw DescriptionError("there is no thermal mass " + name);
}

void build_sensors(const BoardDescription& from, Body& body, Board& board) {
  each(from, "temperature_sensor", from.temperature_sensors, [&](const auto& sensor) {
    board.add<things::TemperatureSensor>(sensor, sensor.on.empty() ? nullptr : find_mass(body, sensor.on));
  });
}

// Heaters, illuminators and fans, on their rails and with what they act on and look at.
void build_drives(const BoardDescription& from, Timeline& timeline, Body& body, Board& board) {
  const auto rail = [&](const auto& drive) {
    return wired_to(body.find_near<things::Rail>(board, drive.rail), drive.rail, "rail");
  };
  const auto sensor = [&](const auto& drive) {
    return wired_to(body.find<things::TemperatureSensor>(drive.senses), drive.senses, "temperature sensor");
  };
  const auto mass = [&](const std::string& name) { return name.empty() ? nullptr : find_mass(body, name); };
  each(from, "heater", from.heaters, [&](const auto& heater) {
    board.add<things::Heater>(timeline, heater, rail(heater), sensor(heater), mass(heater.warms));
  });
  each(from, "illuminator", from.illuminators, [&](const auto& illuminator) {
    board.add<things::Illuminator>(timeline, illuminator, rail(illuminator), body.surroundings());
  });
  each(from, "fan", from.fans,
       [&](const auto& fan) { board.add<things::Fan>(timeline, fan, rail(fan), sensor(fan), mass(fan.cools)); });
}

// Takes its power from the board's first rail, and dies with it.
template <typename Thing>
void supply(const Body& body, const Board& board, Thing& thing) {
  auto* const rail = body.find_near<things::Rail>(board);
  if (!rail) return;
  thing.changed.add([rail, &thing] { rail->draw(&thing, things::Rail::Load::rigid, thing.load_milliwatts()); });
  rail->supply_changed.add([rail, &thing] { thing.supply(rail->alive()); });
}

void build_panel(const BoardDescription& from, Timeline& timeline, const Body& body, Board& board) {
  for (const auto& light : from.lights) supply(body, board, board.add<things::Light>(timeline, light));
  for (const auto& button : from.buttons) board.add<things::Button>(button);
  for (const auto& given : from.switches) board.add<things::Switch>(given);
  for (const auto& line : from.alarm_lines) board.add<things::AlarmLine>(timeline, line);
  for (const auto& relay : from.relays) supply(body, board, board.add<things::Relay>(timeline, relay));
}

void build_converters(const BoardDescription& from, const Body& body, Board& board) {
  using Source = ConverterDescription::Source;
  each(from, "converter", from.converters, [&](const ConverterDescription& converter) {
    auto& made = board.add<things::Converter>();
    for (const ConverterDescription::Channel& channel : converter.channels) {
      if (channel.source == Source::alarm_line) {
        auto& line = wired_surely<things::AlarmLine>(body, channel.thing, "alarm line");
        made.add_channel(
            {[&line] { return line.millivolts(); }, [&line](int64_t value) { line.set_millivolts(value); }});
      } else if (channel.source == Source::temperature) {
        auto& sensor = wired_surely<things::TemperatureSensor>(body, channel.thing, "temperature sensor");
        made.add_channel(
            {[&sensor] { return sensor.millivolts(); }, [&sensor](int64_t value) { sensor.force_millivolts(value); }});
      } else {
        made.add_free_channel(channel.millivolts);
      }
    }
  });
}

things::EepromMemory make_memory(const things::EepromBuild& from, uint8_t location) {
  if (!from.partitions.empty()) return {from.size, from.partitions, from.tags};
  const EepromContents factory = factory_eeprom(location);
  return {from.size, factory.partitions, from.tags.empty() ? factory.tags : from.tags};
}

// What a description says is tried at once, so that its mistakes are found; what the factory does need
// not be tried.
void build_storage(const BoardDescription& from, Timeline& timeline, Board& board) {
  for (const auto& store : from.file_stores) board.add<things::FileStore>(store);
  each(from, "eeprom", from.eeproms, [&](const auto& eeprom) {
    std::vector<uint8_t> image;
    if (eeprom.image) {
      std::ifstream file(*eeprom.image, std::ios::binary);
      image.assign(std::istreambuf_iterator<char>(file), {});
      if (!file.is_open() || file.bad()) throw DescriptionError("cannot read the image " + *eeprom.image);
    }
    auto& made = board.add<things::Eeprom>(timeline, eeprom, [&eeprom, image, location = from.location] {
      things::EepromMemory memory = make_memory(eeprom, location);
      if (eeprom.image && !memory.restore(image)) {
        throw DescriptionError("the image " + *eeprom.image + " is longer than the EEPROM's " +
                               std::to_string(eeprom.size) + " bytes");
      }
      return memory;
    });
    const bool factory = eeprom.partitions.empty() && eeprom.tags.empty() && !eeprom.image;
    if (factory && eeprom.size >= factory_eeprom_size(from.location)) return;
    try {
      made.memory();
    } catch (const things::EepromError& error) {
      throw DescriptionError("partitions and tags do not fit into an EEPROM of board " + from.name + ": " + error.name);
    }
  });
}

// The same for what moves or sleeps: `changed` is what tells of it.
template <typename Thing, typename Changed>
void supply(const Body& body, const Board& board, Thing& thing, Changed& changed) {
  auto* const rail = body.find_near<things::Rail>(board);
  if (!rail) return;
  const auto draw = [rail, &thing](auto...) { rail->draw(&thing, things::Rail::Load::rigid, thing.load_milliwatts()); };
  draw();
  changed.add(draw);
  rail->supply_changed.add([rail, &thing] { thing.supply(rail->alive()); });
}

void check(const things::Settings::Build& settings) {
  for (const auto& [setting, limits] : settings) {
    if (limits.low > limits.high || limits.initial < limits.low || limits.initial > limits.high) {
      throw DescriptionError("limits and initial value of an imager's setting do not agree");
    }
  }
}

void check(const things::LensMotor::Build& motor) {
  const auto on_the_way = [&motor](int64_t place) { return place >= 0 && place <= motor.high; };
  if (motor.high <= 0 || !on_the_way(motor.home) || !on_the_way(motor.start) || motor.lowest_speed <= 0 ||
      motor.speed < motor.lowest_speed || motor.speed > motor.highest_speed) {
    throw DescriptionError("way and speed of a lens motor do not agree");
  }
}

// Lenses and the imagers behind them.
void build_optics(const BoardDescription& from, Timeline& timeline, Body& body, Board& board) {
  const auto warmth_of = [&body](const things::Lens::Build& lens) -> things::TemperatureSensor* {
    return lens.warmth ? &wired_surely<things::TemperatureSensor>(body, *lens.warmth, "temperature sensor") : nullptr;
  };
  each(from, "lens", from.lenses, [&](const things::Lens::Build& lens) {
    for (const auto* motor : {&lens.focus, &lens.zoom, &lens.iris, &lens.filter}) check(*motor);
    if (lens.wide_decix <= 0 || lens.tele_decix < lens.wide_decix) {
      throw DescriptionError("magnifications of a lens do not agree");
    }
    auto& made = board.add<things::Lens>(timeline, lens, warmth_of(lens));
    for (things::LensMotor* motor : {&made.focus(), &made.zoom(), &made.iris(), &made.filter()}) {
      supply(body, board, *motor, motor->movement_changed);
    }
  });
  each(from, "imager", from.imagers, [&](const things::Imager::Build& imager) {
    check(imager.settings);
    auto* const lens = board.find<things::Lens>(board.count<things::Imager>());
    auto& made = board.add<things::Imager>(timeline, imager, lens, lens ? warmth_of(lens->build()) : nullptr,
                                           body.surroundings());
    supply(body, board, made, made.settings().changed);
    board.add<things::Overlay>(imager.triangles);
  });
}

void build_heads(const BoardDescription& from, Timeline& timeline, Body& body, Board& board) {
  each(from, "head", from.heads, [&](const things::Head::Build& head) {
    for (const things::Head::Limits& axis : head.limits) {
      if (axis.min_position > axis.max_position || axis.min_velocity <= 0 || axis.max_velocity < axis.min_velocity) {
        throw DescriptionError("limits of a head do not agree");
      }
    }
    auto& made =
        board.add<things::Head>(timeline, head, wired_to(body.find<things::Lens>(head.lens), head.lens, "lens"));
    supply(body, board, made, made.movement_changed);
  });
}

}  // namespace

void build(const UnitDescription& unit, Timeline& timeline, Body& body) {
  for (const BoardDescription& board : unit.boards) body.add_board(board.name, board.location);
  const auto on_all = [&](auto work) {
    for (std::size_t i = 0; i < unit.boards.size(); ++i) work(unit.boards[i], *body.boards()[i]);
  };
  on_all([&](const BoardDescription& from, Board& board) { build_supplies(from, timeline, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_sensors(from, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_drives(from, timeline, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_optics(from, timeline, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_heads(from, timeline, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_panel(from, timeline, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_converters(from, body, board); });
  on_all([&](const BoardDescription& from, Board& board) { build_storage(from, timeline, board); });
}

}  // namespace rovk::unit
