// The unit one gets without asking for another: all services, all devices that have a number, the
// peripherals of both generations side by side on the same things.
#include <rovk/constants.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "catalogue/catalogue.h"
#include "unit/profiles/description.h"

namespace rovk::unit {
namespace {

struct Devices {
  std::string_view service;
  std::vector<DeviceDescription> devices;
};

// Services that stand more than once, or whose devices have numbers of their own. All others have one
// device without a number.
const std::vector<Devices>& numbered() {
  static const std::vector<Devices> rows = {
      {"led_0001",
       {{ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_GREEN},
        {ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED},
        {ROVK_PERIPHERAL_DEVICE_ID_LED_ETHERNET_ENABLE}}},
      {"button_0002", {{ROVK_PERIPHERAL_DEVICE_ID_BUTTON_RESET}}},
      {"alarm_0004", {{ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO}, {ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}}},
      {"relay_0005", {{ROVK_PERIPHERAL_DEVICE_ID_RELAY_GPIO}, {ROVK_PERIPHERAL_DEVICE_ID_RELAY_USB}}},
      {"temperature_sensor_0009",
       {{ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_PROCESSOR},
        {ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_SENSOR},
        {ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_FPGA},
        {ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_IMAGER_BOARD}}},
      {"linear_actuator_000d",
       {{ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_FOCUS}, {ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM}}},
      {"iris_0010", {{ROVK_PERIPHERAL_DEVICE_ID_IRIS_OPTICAL}, {ROVK_PERIPHERAL_DEVICE_ID_IRIS_THERMAL}}},
      {"eeprom_raw_0012",
       {{ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_PROCESSOR_BOARD},
        {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_BOARD},
        {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_0_BOARD},
        {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_1_BOARD},
        {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_2_BOARD},
        {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_3_BOARD}}},
      {"a_d_converter_0016",
       {{ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_ALARM}, {ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_TEMPERATURE}}},
      {"alarm_0017", {{ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO}, {ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}}},
      {"alarm_diagnostic_0018", {{ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO}, {ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}}},
      {"relay_0019", {{ROVK_PERIPHERAL_DEVICE_ID_RELAY_GPIO}, {ROVK_PERIPHERAL_DEVICE_ID_RELAY_USB}}},
      {"lens_focus_001f", {{ROVK_PERIPHERAL_DEVICE_ID_FOCUS_OPTICAL}, {ROVK_PERIPHERAL_DEVICE_ID_FOCUS_THERMAL}}},
      {"sensor_0023", {{ROVK_PERIPHERAL_DEVICE_ID_SENSOR_OPTICAL}, {ROVK_PERIPHERAL_DEVICE_ID_SENSOR_THERMAL}}},
      {"linear_actuator_0028",
       {{ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_FOCUS}, {ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM}}},
      {"a_d_converter_0029",
       {{ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_ALARM}, {ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_TEMPERATURE}}},
      {"positioning_002a",
       {{ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_OPTICAL}, {ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_THERMAL}}},
  };
  return rows;
}

// The partition tables, one a board, in the order of the boards' numbers.
constexpr uint32_t partition_tables[] = {
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_PROCESSOR_BOARD,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_BOARD,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_0_BOARD,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_1_BOARD,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_2_BOARD,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_3_BOARD,
};

// What sits with the lens and the image sensor; the rest is on the main processor board.
constexpr std::string_view on_imager_board[] = {
    "imgctrl_0006",
    "linear_actuator_000d",
    "angular_actuator_000e",
    "iris_0010",
    "day_night_0011",
    "calibration_0015",
    "imaging_001a",
    "white_balance_001b",
    "exposure_001c",
    "day_night_001d",
    "lens_focus_001f",
    "auto_back_focus_0020",
    "zoom_0021",
    "imaging_control_loops_0022",
    "sensor_0023",
    "imaging_pipe_statistics_0024",
    "linear_actuator_0028",
    "flicker_correction_002f",
    "spatial_noise_filter_0030",
    "temporal_noise_filter_0031",
};

PeripheralDescription peripheral(std::string_view service) {
  PeripheralDescription made;
  made.service = service;
  const auto own = std::find_if(numbered().begin(), numbered().end(),
                                [service](const Devices& row) { return row.service == service; });
  if (own != numbered().end()) made.devices = own->devices;
  // A run that is waiting need not wait twice.
  made.refuses_repeats = service == "calibration_0015" || service == "auto_back_focus_0020";
  // Software alone, with nothing to start.
  if (service == "unittest_ffff") made.boot_ms = 0;
  return made;
}

BoardDescription processor_board() {
  using Source = ConverterDescription::Source;
  BoardDescription board;
  board.name = "processor";
  board.location = ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD;
  board.lights.resize(3);
  board.buttons.resize(1);
  board.switches.resize(1);
  board.alarm_lines.resize(2);
  board.relays.resize(2);
  board.converters = {
      {{{Source::alarm_line, 0}, {Source::alarm_line, 1}, {Source::free, 0, 1'650}, {Source::free, 0, 0}}},
      {{{Source::temperature, 0}, {Source::temperature, 1}, {Source::temperature, 2}, {Source::temperature, 3}}},
  };
  // As warm as a unit gets that has been on for a while: 48 degrees here, 39.75 at the imager.
  board.thermal_masses = {{.name = "processor", .own_watts = 3.25},
                          {.name = "imager", .own_watts = 2.0, .degrees_per_watt = 8.875, .seconds = 600}};
  board.temperature_sensors = {{.on = "processor"},
                               {.on = "imager", .above_body = 1'750},
                               {.on = "processor", .above_body = 4'250},
                               {.on = "imager"}};
  board.rails = {{.base_milliwatts = 4'600}};  // 5.4 W with both imagers awake
  things::Heater::Build heater;
  heater.warms = "imager";
  heater.senses = 3;
  board.heaters = {heater};
  board.illuminators.resize(1);
  things::Fan::Build fan;
  fan.cools = "processor";
  fan.senses = 0;
  board.fans = {fan};
  board.eeproms.resize(1);
  board.file_stores.resize(1);
  return board;
}

// Two imagers behind lenses of their own, one for light and one for warmth.
void fit_optics(BoardDescription& board) {
  constexpr unsigned sensor_warmth = 1;
  things::Lens::Build optical;
  optical.warmth = sensor_warmth;
  things::Lens::Build thermal;
  thermal.thermal = true;
  thermal.warmth = sensor_warmth;
  thermal.focus.home = thermal.focus.start = 200;
  thermal.zoom.high = 3'000;
  thermal.tele_decix = 40;
  thermal.widest_degrees = 25;
  thermal.has_filter = false;
  board.lenses = {optical, thermal};
  things::Imager::Build warm;
  warm.thermal = true;
  warm.height = 512;
  warm.width = 640;
  warm.raw_address = 0x1f00'0000;
  board.imagers = {{}, warm};
  things::Head::Build thermal_head;
  thermal_head.lens = 1;
  thermal_head.limits[things::Head::zoom] = {10, 40, 1, 20, 5};
  board.heads = {{}, thermal_head};
}

UnitDescription make_everything() {
  UnitDescription unit;
  unit.name = "everything";
  unit.boards.push_back(processor_board());
  for (const auto& [name, location] :
       {std::pair{"imager", ROVK_GPI_LOCATION_IMAGER_BOARD}, std::pair{"imager 0", ROVK_GPI_LOCATION_IMAGER_0_BOARD},
        std::pair{"imager 1", ROVK_GPI_LOCATION_IMAGER_1_BOARD},
        std::pair{"imager 2", ROVK_GPI_LOCATION_IMAGER_2_BOARD},
        std::pair{"imager 3", ROVK_GPI_LOCATION_IMAGER_3_BOARD}}) {
    unit.boards.push_back({.name = name, .location = static_cast<uint8_t>(location)});
    unit.boards.back().eeproms = {{.size = 8'192}};
  }
  fit_optics(unit.boards[1]);
  for (const catalogue::Service& service : catalogue::services()) {
    if (service.id <= ROVK_ROUTER_0000_PERIPHERAL_ID) continue;  // the common one and the router
    const std::string_view name = service.name;
    if (name == "eeprom_partition_table_0013") continue;
    const bool imager =
        std::find(std::begin(on_imager_board), std::end(on_imager_board), name) != std::end(on_imager_board);
    unit.boards[imager ? 1 : 0].peripherals.push_back(peripheral(name));
  }
  for (std::size_t board = 0; board < std::size(partition_tables); ++board) {
    PeripheralDescription table = peripheral("eeprom_partition_table_0013");
    table.devices = {{partition_tables[board]}};
    unit.boards[board].peripherals.push_back(std::move(table));
  }
  return unit;
}

}  // namespace

const UnitDescription& everything() {
  static const UnitDescription unit = make_everything();
  return unit;
}

}  // namespace rovk::unit
