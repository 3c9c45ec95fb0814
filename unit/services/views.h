// The makers of all views. A service that is nothing but plain get and set has a row of registers
// in plain.cpp; the others have a file each, or one for a group of like services.
#pragma once

#include <memory>

#include "unit/services/view.h"

namespace rovk::unit {

using Maker = std::unique_ptr<View> (*)(const Setup& setup);

// A service without a view of its own gets one that is plain get and set.
Maker find_maker(std::string_view service);

// plain.cpp: services without behaviour of their own
std::unique_ptr<View> make_plain(const Setup& setup);
bool is_plain(std::string_view service);

// alarms.cpp
std::unique_ptr<View> make_alarm_0004(const Setup& setup);
std::unique_ptr<View> make_alarm_0017(const Setup& setup);
std::unique_ptr<View> make_alarm_diagnostic_0018(const Setup& setup);
// relays.cpp
std::unique_ptr<View> make_relay_0005(const Setup& setup);
std::unique_ptr<View> make_relay_0019(const Setup& setup);
// eeprom.cpp: one memory a board, seen by both services
std::unique_ptr<View> make_eeprom_raw_0012(const Setup& setup);
std::unique_ptr<View> make_eeprom_partition_table_0013(const Setup& setup);
// imaging.cpp: picture, balance, exposure, loops and filters as settings of an imager
std::unique_ptr<View> make_imaging(const Setup& setup);
// image_control.cpp
std::unique_ptr<View> make_imgctrl_0006(const Setup& setup);
// lens.cpp: the motors of the lens
std::unique_ptr<View> make_linear_actuator_000d(const Setup& setup);
std::unique_ptr<View> make_linear_actuator_0028(const Setup& setup);
std::unique_ptr<View> make_iris_0010(const Setup& setup);
std::unique_ptr<View> make_zoom_0021(const Setup& setup);
std::unique_ptr<View> make_auto_back_focus_0020(const Setup& setup);
// lens_focus.cpp
std::unique_ptr<View> make_lens_focus_001f(const Setup& setup);
// day_night.cpp
std::unique_ptr<View> make_day_night_0011(const Setup& setup);
std::unique_ptr<View> make_day_night_001d(const Setup& setup);
// positioning.cpp
std::unique_ptr<View> make_positioning_002a(const Setup& setup);
// calibration.cpp
std::unique_ptr<View> make_calibration_0015(const Setup& setup);
// bulk_dump.cpp
std::unique_ptr<View> make_bulk_dump_000c(const Setup& setup);
// panel.cpp: lights, buttons, switches
std::unique_ptr<View> make_led_0001(const Setup& setup);
std::unique_ptr<View> make_button_0002(const Setup& setup);
std::unique_ptr<View> make_switch_0027(const Setup& setup);
// sensors.cpp
std::unique_ptr<View> make_light_sensor_0007(const Setup& setup);
std::unique_ptr<View> make_temperature_sensor_0009(const Setup& setup);
// converters.cpp
std::unique_ptr<View> make_a_d_converter_0016(const Setup& setup);
std::unique_ptr<View> make_a_d_converter_0029(const Setup& setup);
// drives.cpp: outputs behind a PWM
std::unique_ptr<View> make_ir_illuminator_0008(const Setup& setup);
std::unique_ptr<View> make_heater_000a(const Setup& setup);
std::unique_ptr<View> make_fan_000b(const Setup& setup);
std::unique_ptr<View> make_power_pwm_0025(const Setup& setup);
std::unique_ptr<View> make_speed_pwm_0026(const Setup& setup);
std::unique_ptr<View> make_temperature_control_0032(const Setup& setup);
// power.cpp
std::unique_ptr<View> make_power_monitor_000f(const Setup& setup);
std::unique_ptr<View> make_power_monitor_002e(const Setup& setup);
std::unique_ptr<View> make_power_policy(const Setup& setup);  // 0014 and 002c
// pipeline.cpp: sensors, statistics, triangles
std::unique_ptr<View> make_sensor_0023(const Setup& setup);
std::unique_ptr<View> make_imaging_pipe_statistics_0024(const Setup& setup);
std::unique_ptr<View> make_triangle_overlay_002b(const Setup& setup);
// unittest.cpp
std::unique_ptr<View> make_unittest_ffff(const Setup& setup);

}  // namespace rovk::unit
