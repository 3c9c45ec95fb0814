#include "unit/profiles/members.h"

#include <rovk/constants.h>

#include <filesystem>
#include <limits>
#include <system_error>

namespace rovk::unit {
namespace {

constexpr double most = std::numeric_limits<int32_t>::max();
constexpr double coldest = -273.15;

}  // namespace

namespace reading {

std::string Table::keys() const {
  std::string all;
  for (const Row& row : rows_) all += (all.empty() ? "" : ", ") + std::string(row.key);
  return all;
}

void Table::read(const Node& node, void* build) const {
  for (const auto& [key, value] : node.table().entries) {
    const auto found =
        std::find_if(rows_.begin(), rows_.end(), [&key = key](const Row& row) { return row.key == key; });
    if (found == rows_.end()) value.fail("no key '" + key + "' belongs here; there are " + keys());
    found->read(value, static_cast<char*>(build) + found->offset, found->low, found->high, found->more);
  }
  if (check_) check_(node, build, 0, 0, check_more_);
}

void assign_all(const Node& node, void* list, const List& type) {
  constexpr std::size_t longest = 255;  // an index is a byte
  const auto read = [&](const Node& item, std::size_t place) {
    type.read(item, type.data(list) + place * type.step, 0, 0, nullptr);
  };
  if (node.kind == Node::Kind::integer) {
    const auto count = static_cast<std::size_t>(node.whole(0, longest));
    type.resize(list, 0);
    type.resize(list, count);
  } else if (node.kind == Node::Kind::list) {
    if (node.entries.size() > longest) node.fail("at most 255 can stand here");
    type.resize(list, 0);
    type.resize(list, node.entries.size());
    for (std::size_t place = 0; place < node.entries.size(); ++place) read(node.entries[place].second, place);
  } else {
    if (node.kind != Node::Kind::table) node.fail("a number of them, a list or a table by places is wanted");
    for (const auto& [key, item] : node.entries) {
      std::size_t place = key.empty() ? longest + 1 : 0;
      for (const char digit : key) {
        const bool goes_on = digit >= '0' && digit <= '9' && place <= longest;
        place = goes_on ? place * 10 + static_cast<std::size_t>(digit - '0') : longest + 1;
      }
      const std::size_t size = type.size(list);
      if (place > size || place >= longest) {
        item.fail("'" + key + "' is no place; there are 0 to " + std::to_string(size) + ", the last to add one");
      }
      if (place == size) type.resize(list, size + 1);
      read(item, place);
    }
  }
}

}  // namespace reading

using namespace things;

template <>
const Members<Surroundings::Build>& members() {
  using B = Surroundings::Build;
  static const auto rows =
      Members<B>().add("millilux", &B::millilux, 0, most).add("degrees", &B::degrees, coldest, 1'000);
  return rows;
}

template <>
const Members<Light::State>& members() {
  using B = Light::State;
  static const auto rows =
      Members<B>().add("on", &B::on).add("on_ms", &B::on_ms, 0, 65'535).add("off_ms", &B::off_ms, 0, 65'535);
  return rows;
}

template <>
const Members<Light::Build>& members() {
  using B = Light::Build;
  static const auto rows = Members<B>()
                               .add("state", &B::state)
                               .add("most_ms", &B::most_ms, 1, 65'535)
                               .add("load_milliwatts", &B::load_milliwatts, 0, most);
  return rows;
}

template <>
const Members<Button::Build>& members() {
  static const auto rows = Members<Button::Build>().add("pressed", &Button::Build::pressed);
  return rows;
}

template <>
const Members<Switch::Build>& members() {
  static const auto rows = Members<Switch::Build>().add("contact", &Switch::Build::contact);
  return rows;
}

template <>
const Members<AlarmLine::Settings>& members() {
  using B = AlarmLine::Settings;
  static const auto rows = Members<B>()
                               .add("enabled", &B::enabled)
                               .add("normally_closed", &B::normally_closed)
                               .add("supervised", &B::supervised)
                               .add("debounce_ms", &B::debounce_ms, 0, 65'535)
                               .add("dwell_ds", &B::dwell_ds, 0, 65'535);
  return rows;
}

template <>
const Members<AlarmLine::Build>& members() {
  using B = AlarmLine::Build;
  static const auto rows = Members<B>()
                               .add("settings", &B::settings)
                               .add("most_debounce_ms", &B::most_debounce_ms, 0, 65'535)
                               .add("most_dwell_ds", &B::most_dwell_ds, 0, 65'535)
                               .add("millivolts", &B::millivolts, 0, AlarmLine::supply_millivolts);
  return rows;
}

template <>
const Members<Relay::Settings>& members() {
  using B = Relay::Settings;
  static const auto rows = Members<B>()
                               .add("enabled", &B::enabled)
                               .add("normally_closed", &B::normally_closed)
                               .add("monostable", &B::monostable)
                               .add("delay_ds", &B::delay_ds, 0, 65'535)
                               .add("on_time_ds", &B::on_time_ds, 0, 65'535)
                               .add("off_time_ds", &B::off_time_ds, 0, 65'535)
                               .add("repeat_cycles", &B::repeat_cycles, 0, 65'535);
  return rows;
}

template <>
const Members<Relay::Build>& members() {
  using B = Relay::Build;
  static const auto rows = Members<B>()
                               .add("settings", &B::settings)
                               .add("most_ds", &B::most_ds, 1, 65'535)
                               .add("most_repeats", &B::most_repeats, 0, 65'535)
                               .add("most_ms", &B::most_ms, 1, most)
                               .add("load_milliwatts", &B::load_milliwatts, 0, most);
  return rows;
}

template <ConverterDescription::Source source>
static void wire(const Node& node, ConverterDescription::Channel& channel) {
  channel.source = source;
  channel.thing = static_cast<unsigned>(node.whole(0, 255));
}

template <>
const Members<ConverterDescription::Channel>& members() {
  using B = ConverterDescription::Channel;
  static const auto rows = Members<B>()
                               .add("alarm_line", wire<ConverterDescription::Source::alarm_line>)
                               .add("temperature_sensor", wire<ConverterDescription::Source::temperature>)
                               .add("millivolts", [](const Node& node, B& channel) {
                                 channel.source = ConverterDescription::Source::free;
                                 channel.millivolts = node.whole(0, std::numeric_limits<int16_t>::max());
                               });
  return rows;
}

template <>
const Members<ConverterDescription>& members() {
  static const auto rows = Members<ConverterDescription>().add("channel", &ConverterDescription::channels);
  return rows;
}

template <>
const Members<ThermalMass::Build>& members() {
  using B = ThermalMass::Build;
  static const auto rows = Members<B>()
                               .add("name", &B::name)
                               .add("own_watts", &B::own_watts, 0, 10'000)
                               .add("degrees_per_watt", &B::degrees_per_watt, 0.001, 1'000)
                               .add("seconds", &B::seconds, 0.001, 1e6)
                               .add("start_degrees", &B::start_degrees, coldest, 1'000);
  return rows;
}

template <>
const Members<TemperatureSensor::Build>& members() {
  using B = TemperatureSensor::Build;
  constexpr double low = coldest * 1'000;
  static const auto rows = Members<B>()
                               .add("on", &B::on)
                               .add("above_body", &B::above_body, -most, most)
                               .add("millidegrees", &B::millidegrees, low, most)
                               .add("lowest", &B::lowest, low, most)
                               .add("highest", &B::highest, low, most);
  return rows;
}

template <>
const Members<Rail::Build>& members() {
  using B = Rail::Build;
  static const auto rows = Members<B>()
                               .add("millivolts", &B::millivolts, 0, most)
                               .add("base_milliwatts", &B::base_milliwatts, 0, most)
                               .add("shunt_milliohms", &B::shunt_milliohms, 1, most)
                               .add("threshold_microwatts", &B::threshold_microwatts, 0, most)
                               .add("policy_milliwatts", &B::policy_milliwatts, 0, most)
                               .add("lowest_policy_milliwatts", &B::lowest_policy_milliwatts, 0, most)
                               .add("highest_policy_milliwatts", &B::highest_policy_milliwatts, 0, most)
                               .add("dead_below_millivolts", &B::dead_below_millivolts, 0, most);
  return rows;
}

namespace {

// What all outputs behind a PWM have.
template <typename B>
Members<B> drive_rows() {
  using D = Drive::Build;
  return Members<B>()
      .add("full", &D::full, 1, most)
      .add("lowest_percent", &D::lowest_percent, 0, 100)
      .add("start_percent", &D::start_percent, 0, 100)
      .add("lowest_hz", &D::lowest_hz, 0, most)
      .add("highest_hz", &D::highest_hz, 0, most)
      .add("start_hz", &D::start_hz, 0, most)
      .add("full_load_milliwatts", &D::full_load_milliwatts, 0, most)
      .add("rail", &D::rail, 0, 255)
      .add("senses", &D::senses, 0, 255)
      .add("loop_on", &D::loop_on, -most, most)
      .add("loop_off", &D::loop_off, -most, most);
}

}  // namespace

template <>
const Members<Heater::Build>& members() {
  static const auto rows = drive_rows<Heater::Build>()
                               .add("warms", &Heater::Build::warms)
                               .add("reaches", &Heater::Build::reaches, 0, 1)
                               .add("hottest", &Heater::Build::hottest, coldest * 1'000, most)
                               .add("cooled_down", &Heater::Build::cooled_down, coldest * 1'000, most);
  return rows;
}

template <>
const Members<Illuminator::Build>& members() {
  using B = Illuminator::Build;
  static const auto rows = drive_rows<B>().add("full_millilux", &B::full_millilux, 0, most);
  return rows;
}

template <>
const Members<Fan::Build>& members() {
  using B = Fan::Build;
  static const auto rows = drive_rows<B>()
                               .add("cools", &B::cools)
                               .add("full_cooling", &B::full_cooling, 1, 1'000)
                               .add("rpm_per_second", &B::rpm_per_second, 1, 1e6);
  return rows;
}

template <>
const Members<LensMotor::Build>& members() {
  using B = LensMotor::Build;
  static const auto rows = Members<B>()
                               .add("high", &B::high, 1, 32'767)
                               .add("home", &B::home, 0, 32'767)
                               .add("start", &B::start, 0, 32'767)
                               .add("speed", &B::speed, 1, 65'535)
                               .add("lowest_speed", &B::lowest_speed, 1, 65'535)
                               .add("highest_speed", &B::highest_speed, 1, 65'535)
                               .add("load_milliwatts", &B::load_milliwatts, 0, most);
  return rows;
}

template <>
const Members<Lens::Build>& members() {
  using B = Lens::Build;
  static const auto rows = Members<B>()
                               .add("thermal", &B::thermal)
                               .add("focus", &B::focus)
                               .add("zoom", &B::zoom)
                               .add("iris", &B::iris)
                               .add("filter", &B::filter)
                               .add("has_zoom", &B::has_zoom)
                               .add("has_iris", &B::has_iris)
                               .add("has_filter", &B::has_filter)
                               .add("warmth", &B::warmth, 0, 255)
                               .add("reference_degrees", &B::reference_degrees, coldest, 1'000)
                               .add("focus_steps_per_degree", &B::focus_steps_per_degree, 0, 32'767)
                               .add("night_focus_steps", &B::night_focus_steps, -32'768, 32'767)
                               .add("wide_decix", &B::wide_decix, 1, 65'535)
                               .add("tele_decix", &B::tele_decix, 1, 65'535)
                               .add("widest_degrees", &B::widest_degrees, 0.1, 180);
  return rows;
}

template <>
const Members<Settings::Limits>& members() {
  using B = Settings::Limits;
  static const auto rows = Members<B>()
                               .add("low", &B::low, -most, most)
                               .add("high", &B::high, -most, most)
                               .add("initial", &B::initial, -most, most)
                               .then([](const Node& node, B& limits) {
                                 if (limits.low > limits.initial || limits.initial > limits.high) {
                                   node.fail("low, initial and high do not rise");
                                 }
                               });
  return rows;
}

template <>
const Members<Imager::Build>& members() {
  using B = Imager::Build;
  // A setting that the file names differs from the built-in one in what it says.
  static const auto settings = [](const Node& node, B& build) {
    for (const auto& [key, item] : node.table().entries) {
      const auto setting = find_setting(key);
      if (!setting) item.fail("an imager has no setting '" + key + "'");
      Settings::Limits& limits = build.settings.try_emplace(*setting, built_in_limits(*setting)).first->second;
      reading::assign(item, limits, 0, 0);
    }
  };
  static const auto rows = Members<B>()
                               .add("thermal", &B::thermal)
                               .add("height", &B::height, 1, 8'192)
                               .add("width", &B::width, 1, 8'192)
                               .add("raw_address", &B::raw_address, 0, std::numeric_limits<uint32_t>::max())
                               .add("triangles", &B::triangles, 0, 65'535)
                               .add("settings", settings)
                               .add("load_milliwatts", &B::load_milliwatts, 0, most);
  return rows;
}

template <>
const Members<Head::Limits>& members() {
  using B = Head::Limits;
  static const auto rows = Members<B>()
                               .add("min_position", &B::min_position, -most, most)
                               .add("max_position", &B::max_position, -most, most)
                               .add("min_velocity", &B::min_velocity, 1, most)
                               .add("max_velocity", &B::max_velocity, 1, most)
                               .add("separation", &B::separation, 0, most);
  return rows;
}

template <Head::Axis which>
static void read_axis(const Node& node, Head::Build& build) {
  reading::assign(node, build.limits[which], 0, 0);
}

template <>
const Members<Head::Build>& members() {
  using B = Head::Build;
  static const auto rows = Members<B>()
                               .add("pan", read_axis<Head::pan>)
                               .add("tilt", read_axis<Head::tilt>)
                               .add("zoom", read_axis<Head::zoom>)
                               .add("load_milliwatts", &B::load_milliwatts, 0, most)
                               .add("lens", &B::lens, 0, 255);
  return rows;
}

template <>
const Members<EepromBuild::Partition>& members() {
  using B = EepromBuild::Partition;
  static const auto rows = Members<B>()
                               .add("id",
                                    [](const Node& node, B& partition) {
                                      partition.id =
                                          static_cast<uint16_t>(node.constant("ROVK_EPT_PARTITION_TYPE_", UINT16_MAX));
                                    })
                               .add("tagged", &B::tagged)
                               .add("size", &B::size, 1, 0x100'0000);
  return rows;
}

template <>
const Members<EepromBuild::Tag>& members() {
  using B = EepromBuild::Tag;
  static const auto rows = Members<B>()
                               .add("partition",
                                    [](const Node& node, B& tag) {
                                      tag.partition_id =
                                          static_cast<uint16_t>(node.constant("ROVK_EPT_PARTITION_TYPE_", UINT16_MAX));
                                    })
                               .add("id", &B::id, 0, UINT16_MAX)
                               .add("data", &B::data);
  return rows;
}

template <>
const Members<EepromBuild>& members() {
  using B = EepromBuild;
  static const auto check_image = [](const Node& node, B& build) {
    const Node* const named = node.find("image");
    if (!named) return;
    std::error_code error;
    const auto bytes = std::filesystem::file_size(*build.image, error);
    if (error) named->fail("cannot read the image " + *build.image + ": " + error.message());
    if (bytes > build.size) {
      named->fail("the image has " + std::to_string(bytes) + " bytes, the EEPROM has " + std::to_string(build.size));
    }
  };
  static const auto rows = Members<B>()
                               .add("size", &B::size, 256, 0x100'0000)
                               .add("partition", &B::partitions)
                               .add("tag", &B::tags)
                               .add("image",
                                    [](const Node& node, B& build) {
                                      build.image =
                                          (std::filesystem::path(*node.file).parent_path() / node.word()).string();
                                    })
                               .add("partition_format_ms", &B::partition_format_ms, 0, day_ms)
                               .add("format_ms", &B::format_ms, 0, day_ms)
                               .then(check_image);
  return rows;
}

template <>
const Members<FileStore::Build>& members() {
  using B = FileStore::Build;
  static const auto rows = Members<B>()
                               .add("folder",
                                    [](const Node& node, B& build) {
                                      build.folder =
                                          (std::filesystem::path(*node.file).parent_path() / node.word()).string();
                                    })
                               .add("most_bytes", &B::most_bytes, 0, most)
                               .add("http_port", &B::http_port, 0, 65'535);
  return rows;
}

template <>
const Members<BoardDescription>& members() {
  using B = BoardDescription;
  static const auto rows = Members<B>()
                               .add("light", &B::lights)
                               .add("button", &B::buttons)
                               .add("switch", &B::switches)
                               .add("alarm_line", &B::alarm_lines)
                               .add("relay", &B::relays)
                               .add("converter", &B::converters)
                               .add("thermal_mass", &B::thermal_masses)
                               .add("temperature_sensor", &B::temperature_sensors)
                               .add("rail", &B::rails)
                               .add("heater", &B::heaters)
                               .add("illuminator", &B::illuminators)
                               .add("fan", &B::fans)
                               .add("lens", &B::lenses)
                               .add("imager", &B::imagers)
                               .add("head", &B::heads)
                               .add("eeprom", &B::eeproms)
                               .add("file_store", &B::file_stores)
                               .add("location",
                                    [](const Node& node, B& board) {
                                      board.location = static_cast<uint8_t>(node.constant("ROVK_GPI_LOCATION_", 255));
                                    })
                               .add("peripheral", read_peripherals);
  return rows;
}

}  // namespace rovk::unit
