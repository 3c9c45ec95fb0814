#include "unit/devices.h"

#include <rovk/constants.h>

#include <algorithm>
#include <iterator>

namespace rovk::unit {
namespace {

constexpr uint8_t processor_board = ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD;
constexpr uint8_t imager_board = ROVK_GPI_LOCATION_IMAGER_BOARD;

struct Devices {
  std::string_view service;
  std::vector<uint32_t> ids;
};

// Services that stand more than once, or whose devices have numbers of their own. All others have one
// device without a number.
const std::vector<Devices>& numbered() {
  static const std::vector<Devices> rows = {
      {"led_0001",
       {ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_GREEN, ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED,
        ROVK_PERIPHERAL_DEVICE_ID_LED_ETHERNET_ENABLE}},
      {"button_0002", {ROVK_PERIPHERAL_DEVICE_ID_BUTTON_RESET}},
      {"alarm_0004", {ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO, ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}},
      {"relay_0005", {ROVK_PERIPHERAL_DEVICE_ID_RELAY_GPIO, ROVK_PERIPHERAL_DEVICE_ID_RELAY_USB}},
      {"temperature_sensor_0009",
       {ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_PROCESSOR, ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_SENSOR,
        ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_FPGA, ROVK_PERIPHERAL_DEVICE_ID_TEMPERATURE_SENSOR_IMAGER_BOARD}},
      {"linear_actuator_000d",
       {ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_FOCUS, ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM}},
      {"iris_0010", {ROVK_PERIPHERAL_DEVICE_ID_IRIS_OPTICAL, ROVK_PERIPHERAL_DEVICE_ID_IRIS_THERMAL}},
      {"eeprom_raw_0012",
       {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_PROCESSOR_BOARD, ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_BOARD,
        ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_0_BOARD, ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_1_BOARD,
        ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_2_BOARD, ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_3_BOARD}},
      {"a_d_converter_0016",
       {ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_ALARM, ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_TEMPERATURE}},
      {"alarm_0017", {ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO, ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}},
      {"alarm_diagnostic_0018", {ROVK_PERIPHERAL_DEVICE_ID_ALARM_GPIO, ROVK_PERIPHERAL_DEVICE_ID_ALARM_USB}},
      {"relay_0019", {ROVK_PERIPHERAL_DEVICE_ID_RELAY_GPIO, ROVK_PERIPHERAL_DEVICE_ID_RELAY_USB}},
      {"lens_focus_001f", {ROVK_PERIPHERAL_DEVICE_ID_FOCUS_OPTICAL, ROVK_PERIPHERAL_DEVICE_ID_FOCUS_THERMAL}},
      {"sensor_0023", {ROVK_PERIPHERAL_DEVICE_ID_SENSOR_OPTICAL, ROVK_PERIPHERAL_DEVICE_ID_SENSOR_THERMAL}},
      {"linear_actuator_0028",
       {ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_FOCUS, ROVK_PERIPHERAL_DEVICE_ID_LINEAR_ACTUATOR_ZOOM}},
      {"a_d_converter_0029",
       {ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_ALARM, ROVK_PERIPHERAL_DEVICE_ID_A_D_CONVERTER_TEMPERATURE}},
      {"positioning_002a",
       {ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_OPTICAL, ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_THERMAL}},
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

uint16_t address_of(const catalogue::Service& service, unsigned board) {
  if (service.id == ROVK_ROUTER_0000_PERIPHERAL_ID) return ROVK_ROUTER_PERIPHERAL_ADDRESS;
  if (service.id == ROVK_UNITTEST_FFFF_PERIPHERAL_ID) return ROVK_UNITTEST_PERIPHERAL_ADDRESS;
  return static_cast<uint16_t>(0x0100 + service.id + static_cast<int>(board) * 0x1000);
}

}  // namespace

std::vector<Fitting> fittings() {
  std::vector<Fitting> all;
  for (const catalogue::Service& service : catalogue::services()) {
    if (service.id < 0) continue;
    const std::string_view name = service.name;
    if (name == "eeprom_partition_table_0013") {
      for (unsigned board = 0; board < std::size(partition_tables); ++board) {
        all.push_back({&service, address_of(service, board), static_cast<uint8_t>(board), {partition_tables[board]}});
      }
      continue;
    }
    const bool imager =
        std::find(std::begin(on_imager_board), std::end(on_imager_board), name) != std::end(on_imager_board);
    const auto own =
        std::find_if(numbered().begin(), numbered().end(), [name](const Devices& row) { return row.service == name; });
    all.push_back({&service, address_of(service, 0), imager ? imager_board : processor_board,
                   own == numbered().end() ? std::vector<uint32_t>{ROVK_PERIPHERAL_DEVICE_ID_NONE} : own->ids});
  }
  return all;
}

}  // namespace rovk::unit
