#include "unit/services/views.h"

#include <algorithm>
#include <array>
#include <utility>

namespace rovk::unit {
namespace {

using Row = std::pair<std::string_view, Maker>;

constexpr Row makers[] = {
    {"led_0001", make_led_0001},
    {"button_0002", make_button_0002},
    {"alarm_0004", make_alarm_0004},
    {"relay_0005", make_relay_0005},
    {"imgctrl_0006", make_imgctrl_0006},
    {"light_sensor_0007", make_light_sensor_0007},
    {"ir_illuminator_0008", make_ir_illuminator_0008},
    {"temperature_sensor_0009", make_temperature_sensor_0009},
    {"heater_000a", make_heater_000a},
    {"fan_000b", make_fan_000b},
    {"bulk_dump_000c", make_bulk_dump_000c},
    {"linear_actuator_000d", make_linear_actuator_000d},
    {"power_monitor_000f", make_power_monitor_000f},
    {"iris_0010", make_iris_0010},
    {"day_night_0011", make_day_night_0011},
    {"eeprom_raw_0012", make_eeprom_raw_0012},
    {"eeprom_partition_table_0013", make_eeprom_partition_table_0013},
    {"power_policy_0014", make_power_policy},
    {"calibration_0015", make_calibration_0015},
    {"a_d_converter_0016", make_a_d_converter_0016},
    {"alarm_0017", make_alarm_0017},
    {"alarm_diagnostic_0018", make_alarm_diagnostic_0018},
    {"relay_0019", make_relay_0019},
    {"imaging_001a", make_imaging},
    {"white_balance_001b", make_imaging},
    {"exposure_001c", make_imaging},
    {"day_night_001d", make_day_night_001d},
    {"lens_focus_001f", make_lens_focus_001f},
    {"auto_back_focus_0020", make_auto_back_focus_0020},
    {"zoom_0021", make_zoom_0021},
    {"imaging_control_loops_0022", make_imaging},
    {"sensor_0023", make_sensor_0023},
    {"imaging_pipe_statistics_0024", make_imaging_pipe_statistics_0024},
    {"power_pwm_0025", make_power_pwm_0025},
    {"speed_pwm_0026", make_speed_pwm_0026},
    {"switch_0027", make_switch_0027},
    {"linear_actuator_0028", make_linear_actuator_0028},
    {"a_d_converter_0029", make_a_d_converter_0029},
    {"positioning_002a", make_positioning_002a},
    {"triangle_overlay_002b", make_triangle_overlay_002b},
    {"power_policy_002c", make_power_policy},
    {"power_monitor_002e", make_power_monitor_002e},
    {"flicker_correction_002f", make_imaging},
    {"spatial_noise_filter_0030", make_imaging},
    {"temporal_noise_filter_0031", make_imaging},
    {"temperature_control_0032", make_temperature_control_0032},
    {"unittest_ffff", make_unittest_ffff},
};

constexpr auto makers_by_name = [] {
  auto rows = std::to_array(makers);
  std::sort(rows.begin(), rows.end(), [](const Row& one, const Row& other) { return one.first < other.first; });
  return rows;
}();

}  // namespace

Maker find_maker(std::string_view service) {
  const auto found = std::lower_bound(makers_by_name.begin(), makers_by_name.end(), service,
                                      [](const Row& row, std::string_view name) { return row.first < name; });
  return found == makers_by_name.end() || found->first != service ? make_plain : found->second;
}

}  // namespace rovk::unit
