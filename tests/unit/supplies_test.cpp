// Heat, light and power: what heaters, fans, illuminators, monitors and policies do to one another.
#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

using Drives = UnitTest;
using Heat = UnitTest;
using Rails = UnitTest;

TEST_F(Drives, KeepPwmAndAmountTogetherAndFollowTheSurroundings) {
  const struct {
    const char *service, *amount, *field;
    int64_t full;
    Input input;
    unsigned index;
    int64_t off, on;
  } rows[] = {
      {"ir_illuminator_0008", "power", "milliWatts", 8'000, Input::light, 0, 300'000, 100},
      {"heater_000a", "power", "milliWatts", 15'000, Input::temperature, 3, 20'000, 0},
      {"fan_000b", "speed", "rpm", 6'000, Input::temperature, 0, 30'000, 70'000},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.service);
    Bench bench;
    const std::string get = std::string("get_") + row.amount;
    const int64_t frequency = bench.ask(row.service, "get_pwm")["frequency_hz"];
    bench.ask(row.service, "set_pwm", {{"frequency_hz", frequency}, {"duty_cycle_percent", 75}});
    EXPECT_EQ(bench.get(row.service, get), row.full * 3 / 4);
    bench.ask(row.service, std::string("set_") + row.amount, {{row.field, row.full / 2}});
    EXPECT_EQ(bench.ask(row.service, "get_pwm")["duty_cycle_percent"], 50);
    EXPECT_EQ(bench.get(row.service, get), row.full / 2);
    bench.unit.set_input(row.input, row.index, row.on);
    EXPECT_EQ(bench.get(row.service, "get_state"), 0);
    bench.ask(row.service, "set_control_loop_enable", {{"enable", 1}});
    EXPECT_EQ(bench.ask(row.service, "set_state", {{"state", 1}}).error, 0) << "is so already";
    EXPECT_EQ(bench.ask(row.service, "set_state", {{"state", 0}}).error, ROVK_COMMON_ERROR_INVALID_SEQUENCE);
    EXPECT_EQ(bench.get(row.service, "get_state"), 1);
    bench.unit.set_input(row.input, row.index, row.off);
    EXPECT_EQ(bench.get(row.service, "get_state"), 0);
  }
}

TEST_F(Drives, AreOneToBothGenerations) {
  play(R"(power_pwm_0025 set_manual_control_loop_parameters duty_cycle_percent=30 frequency_hz=500;
          set_auto_power power_milliwatts=12000; get_power -> 0;
          heater_000a get_pwm -> duty_cycle_percent=30 frequency_hz=500; get_power -> 4500;
          power_pwm_0025 set_enable output=1; heater_000a get_state -> 1;
          power_pwm_0025 get_power -> power_milliwatts=4500 auto_power_milliwatts=12000;
          set_enable output=1 auto_mode=1; get_control_loop_parameters -> duty_cycle_percent=80 frequency_hz=500;
          get_power -> power_milliwatts=12000; heater_000a get_power -> 12000; set_power milliWatts=3000;
          power_pwm_0025 get_power -> power_milliwatts=3000 auto_power_milliwatts=3000;
          temperature_control_0032 set_enable enable=1; heater_000a get_control_loop_enable -> 1; get_state -> 0;
          power_pwm_0025 set_enable output=1 ! invalid_sequence; get_enable -> output=0 auto_mode=1;
          common@temperature_control_0032 reset; heater_000a get_control_loop_enable -> 0;
          fan_000b set_speed rpm=1500; speed_pwm_0026 get_enable -> output=0 auto_mode=1;
          get_speed -> speed_rpm=0 auto_speed_rpm=1500; set_enable output=1; fan_000b get_state -> 1;)");
  const Received limits = ask("speed_pwm_0026", "get_speed");
  expect_refused(ask("speed_pwm_0026", "set_auto_speed", {{"speed_rpm", limits["max_speed_rpm"] + 1}}), 2);
}

// A fan spins up. Blocked it stalls, is switched off and gives its peripherals a fault, which stays for as
// long as the block does and until it is cleared.
TEST_F(Drives, AFanThatStallsHasAFault) {
  play(R"(fan_000b set_state state=1; get_feedback -> enabled=1 rpm=0; wait 500 ms; get_feedback -> rpm=1500;
          wait 500 ms; get_feedback -> rpm=3000; speed_pwm_0026 get_speed -> 3000; listen fan_000b;
          input fan_blocked 0 1; events 2; fan_000b get_feedback -> enabled=0 rpm=0 stall=1;
          set_state ! fault_exists 2; common@fan_000b self_test ! self_test_failed; clear_fault; get_fault -> 2;
          common@speed_pwm_0026 get_fault -> 2; input fan_blocked 0 0; get_fault -> 2; clear_fault; get_fault -> 0;
          common@fan_000b clear_fault; self_test disruptive=1; fan_000b set_state state=1; wait 1 s;
          get_feedback -> rpm=3000 stall=0; set_state; input fan_blocked 0 1; common@fan_000b self_test;
          self_test disruptive=1 ! self_test_failed; get_fault -> 0; fan_000b set_state state=1; get_state -> 0;)");
}

// The heater warms what stands near it, the fan cools what it blows at, and both need their time.
TEST_F(Heat, SpreadsWithItsLag) {
  const auto degrees = [this](int64_t sensor) {
    return static_cast<double>(get("temperature_sensor_0009", "get_millidegree_celsius", {{"index", sensor}})) / 1e3;
  };
  play("heater_000a set_power milliWatts=15000; set_state state=1; wait 600 s;");
  constexpr double risen = 15 * 0.3 * 8.875;
  constexpr double part = 0.63212;  // after one time constant
  EXPECT_NEAR(degrees(3), 39.75 + risen * part, 0.01);
  EXPECT_NEAR(degrees(1), 41.5 + risen * part, 0.01);
  EXPECT_NEAR(degrees(0), 48, 0.01);
  play("a_d_converter_0016 get_voltage adc_index=1 channel_index=0 -> 980; fan_000b set_speed rpm=6000;");
  play("set_state state=1; heater_000a set_state; wait 3600 s;");
  EXPECT_NEAR(degrees(0), 22 + 26 / 3.0, 0.01);
  EXPECT_NEAR(degrees(2), 22 + 26 / 3.0 + 4.25, 0.01);
  EXPECT_NEAR(degrees(3), 39.75, 0.2);
  // Off it cools down to the air around, on again it warms up.
  unit.set_power(false);
  play("wait 36000 s; input air_temperature 0 10000;");
  unit.set_power(true);
  advance(521ms);
  EXPECT_NEAR(degrees(0), 22, 0.1);
  advance(36000s);
  EXPECT_NEAR(degrees(0), 36, 0.01);
}

// In the cold the loop holds the imager between its two levels, switching where they are passed and
// planning nothing between; in the heat the heater is cut off.
TEST_F(Heat, LoopsHoldTheirLevelsAndHeatersAreCutOff) {
  play(R"(listen heater_000a; heater_000a set_control_loop_enable enable=1; set_power milliWatts=15000;
          input air_temperature 0 -35000; wait 36000 s;)");
  const std::vector<Received> switched = events();
  EXPECT_GT(switched.size(), 10U);
  for (std::size_t i = 0; i < switched.size(); ++i) EXPECT_EQ(switched[i]["state"], i % 2 == 0);
  const int64_t held = get("temperature_sensor_0009", "get_millidegree_celsius", {{"index", 3}});
  EXPECT_GE(held, 1'999);
  EXPECT_LE(held, 8'001);
  play(R"(heater_000a set_control_loop_enable; set_state state=1; input air_temperature 0 55000; wait 36000 s;
          get_state -> 0; common@heater_000a get_fault -> 3; input air_temperature 0 20000; wait 36000 s;
          get_fault -> 3; clear_fault; get_fault -> 0; heater_000a set_state state=1;
          input temperature 3 90000; get_state -> 0;)");
  EXPECT_TRUE(unit.release_input(Input::temperature, 3));
  EXPECT_FALSE(unit.release_input(Input::light, 0));
  play("common@heater_000a clear_fault; self_test; get_fault -> 0;");
}

// Current and power are those of what is switched on, the alert follows them, a policy holds them down.
TEST_F(Rails, AddUpTheirLoadsUnderThePolicy) {
  play(R"(power_monitor_002e get_current -> 450; get_power -> 5400000; get_voltages -> shunt_voltage_millivolts=4;
          listen power_monitor_000f; listen power_monitor_002e;
          heater_000a set_power milliWatts=15000; set_state state=1; power_monitor_002e get_current -> 1700; events 2;
          relay_0005 set_state state=1; led_0001 set_state on=1 duty_cycle_on_ms=100 duty_cycle_off_ms=200;
          power_monitor_000f get_power -> 20616000; relay_0005 set_state; led_0001 set_state;
          power_policy_002c set_max_peripheral_power max_power_milliwatts=8300;
          power_policy_0014 get_max_peripheral_power -> 8300;
          power_pwm_0025 get_power -> 7500; heater_000a get_power -> 15000; power_monitor_000f get_power -> 12900000;
          events 2; ir_illuminator_0008 set_power milliWatts=7500; set_state state=1; power_pwm_0025 get_power -> 5000;
          power_policy_0014 set_max_peripheral_power max_power_milliwatts=999 ! invalid_payload 2;
          set_max_peripheral_power max_power_milliwatts=90000; power_pwm_0025 get_power -> 15000;
          common@power_policy_0014 reset; power_policy_002c get_max_peripheral_power -> 25500;)");
  EXPECT_EQ(unit.body().surroundings().infrared_millilux(), 37'500);
}

TEST_F(Rails, WithoutVoltageNothingOnThemWorks) {
  play(R"(heater_000a set_state state=1; fan_000b set_state state=1; ir_illuminator_0008 set_state state=1;
          relay_0005 set_state state=1; led_0001 set_state on=1; wait 5 s; listen heater_000a;
          input bus_voltage 0 0; events 2; heater_000a get_state -> 0; power_pwm_0025 get_power -> 0;
          fan_000b get_feedback -> enabled=0; relay_0019 get_state -> open=1; wait 5 s; fan_000b get_feedback -> rpm=0;
          power_monitor_000f get_power -> 0; get_voltages -> bus_voltage_millivolts=0;
          heater_000a set_state state=1 ! fault_exists 4; common@power_monitor_002e self_test ! self_test_failed;
          common@heater_000a clear_fault; get_fault -> 4;)");
  EXPECT_EQ(unit.body().surroundings().infrared_millilux(), 0);
  EXPECT_FALSE(unit.body().find<things::Light>()->lit());
  EXPECT_TRUE(unit.release_input(Input::bus_voltage, 0));
  EXPECT_TRUE(unit.body().find<things::Light>()->lit());
  play(R"(common@heater_000a clear_fault; heater_000a get_state -> 0; set_state state=1; get_state -> 1;
          relay_0005 get_state -> 1;)");
}

}  // namespace
}  // namespace rovk::unit
