// Behaviour of the models beyond get and set, in time.
#include <rovk/constants.h>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

TEST(Inputs, ButtonRemembersHowItWasAtPowerOn) {
  Bench bench;
  bench.unit.set_input(Input::button, 0, 1);
  EXPECT_EQ(bench.get("button_0002", "get_state"), 1);
  EXPECT_EQ(bench.get("button_0002", "get_initial_state"), 0);
  bench.ask("common", "reset", {}, address_of("button_0002"));
  bench.unit.set_input(Input::button, 0, 0);
  EXPECT_EQ(bench.get("button_0002", "get_state"), 0);
  EXPECT_EQ(bench.get("button_0002", "get_initial_state"), 1);
}

TEST(Inputs, SensorsTellWhatTheySee) {
  Bench bench;
  const auto check = [&](Input input, unsigned index, int64_t value, const char* service, const char* command,
                         const Values& inputs, int64_t expected) {
    bench.unit.set_input(input, index, value);
    EXPECT_EQ(bench.get(service, command, inputs), expected) << service << " " << command << " " << value;
  };
  check(Input::temperature, 2, -40'125, "temperature_sensor_0009", "get_millidegree_celsius", {{"index", 2}}, -40'125);
  check(Input::temperature, 3, 900'000, "temperature_sensor_0009", "get_millidegree_celsius", {{"index", 3}}, 150'000);
  check(Input::light, 0, 4'000'000'000, "light_sensor_0007", "get_millilux", {}, 4'000'000'000);
  check(Input::light, 0, -1, "light_sensor_0007", "get_millilux", {}, 0);
  const Values temperature_channel = {{"adc_index", 1}, {"channel_index", 2}};
  check(Input::analog, 6, 1'650, "a_d_converter_0016", "get_voltage", temperature_channel, 1'650);
  check(Input::analog, 6, 1'650, "a_d_converter_0016", "get_value", temperature_channel, 2'048);
  check(Input::analog, 6, 5'000, "a_d_converter_0016", "get_value", temperature_channel, 4'095);
  check(Input::analog, 4, 1'650, "a_d_converter_0029", "get_raw", {{"index", 1}}, 2'048);
  check(Input::analog, 4, 1'650, "a_d_converter_0029", "get_voltage", {{"index", 1}}, 1'650);
  check(Input::current, 0, 1'500, "power_monitor_000f", "get_power", {}, 18'000'000);
  check(Input::current, 0, -1'500, "power_monitor_002e", "get_power", {}, -18'000'000);
  check(Input::current, 0, 400'000, "power_monitor_002e", "get_power", {}, INT32_MAX);
  for (const auto& [adc, channel, offset] : {std::tuple{2, 0, 0}, {0, 4, 1}}) {
    const Received refused =
        bench.ask("a_d_converter_0016", "get_voltage", {{"adc_index", adc}, {"channel_index", channel}});
    EXPECT_EQ(refused.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
    EXPECT_EQ(refused.detail[0], offset);
  }
}

// Contact, configuration and the state that both generations make of it.
TEST(Alarms, TellTheirStateByConfiguration) {
  struct Row {
    int64_t contact, enable, normally_closed, supervised, state_0004, state_0017;
  };
  const Row rows[] = {
      {0, 1, 0, 0, 0, 0}, {1, 1, 0, 0, 1, 1}, {0, 1, 1, 0, 1, 0}, {1, 1, 1, 0, 0, 1}, {2, 1, 0, 1, 2, 2},
      {2, 1, 0, 0, 0, 0}, {2, 1, 1, 0, 1, 0}, {1, 0, 0, 0, 0, 0}, {0, 0, 1, 1, 0, 1}, {2, 0, 0, 1, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.contact << row.enable << row.normally_closed << row.supervised);
    Bench bench;
    bench.ask("alarm_0004", "set_configuration",
              {{"enable", row.enable}, {"normally_closed", row.normally_closed}, {"supervised", row.supervised}});
    bench.ask("alarm_0017", "set_configuration",
              {{"enable", row.enable}, {"idle_state_open", !row.normally_closed}, {"supervised", row.supervised}});
    bench.unit.set_input(Input::alarm, 0, row.contact);
    bench.advance(1s);
    EXPECT_EQ(bench.get("alarm_0004", "get_state"), row.state_0004);
    EXPECT_EQ(bench.get("alarm_0017", "get_state"), row.state_0017);
    const Values comparators = bench.ask("alarm_0004", "get_comparator_values").values;
    EXPECT_EQ(bench.ask("alarm_diagnostic_0018", "get_comparator_values").values, comparators);
    EXPECT_EQ(comparators, (Values{{"pin_y", row.contact != 1}, {"pin_z", row.contact == 0}}));
  }
}

TEST(Alarms, BelieveAContactAfterTheDebounceTime) {
  Bench bench;
  bench.listen("alarm_0004");
  bench.ask("alarm_0004", "set_debounce_ms", {{"debounce_ms", 300}});
  bench.unit.set_input(Input::alarm, 0, 1);
  bench.advance(299ms);
  // Back in time: a glitch, and no alarm.
  bench.unit.set_input(Input::alarm, 0, 0);
  bench.advance(10s);
  auto events = bench.events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].body, ROVK_COMMON_EVENT_SPONTANEOUS_ERROR);
  EXPECT_EQ(events[0]["id"], ROVK_COMMON_ERROR_DEBOUNCE_FILTER_GLITCH);
  bench.unit.set_input(Input::alarm, 0, 1);
  bench.advance(300ms - 1ns);
  EXPECT_EQ(bench.get("alarm_0004", "get_state"), 0);
  bench.advance(1ns);
  EXPECT_EQ(bench.get("alarm_0004", "get_state"), 1);
  EXPECT_EQ(bench.events().size(), 1U);
}

TEST(Alarms, DwellOnAnAlarmThatIsOver) {
  Bench bench;
  bench.listen("alarm_0004");
  bench.ask("alarm_0004", "set_debounce_ms", {{"debounce_ms", 0}});
  bench.ask("alarm_0004", "set_dwell_ds", {{"dwell_ds", 20}});
  const auto contact = [&](int64_t closed) { bench.unit.set_input(Input::alarm, 0, closed); };
  contact(1);
  contact(0);
  bench.advance(1'999ms);
  contact(1);  // again before the dwell time is over: the same alarm goes on
  bench.advance(5s);
  contact(0);
  bench.advance(2s - 1ns);
  EXPECT_EQ(bench.get("alarm_0004", "get_state"), 1);
  bench.advance(1ns);
  EXPECT_EQ(bench.get("alarm_0004", "get_state"), 0);
  EXPECT_EQ(bench.events().size(), 2U);
}

TEST(Alarms, SayNothingWhileNotEnabled) {
  Bench bench;
  bench.listen("alarm_0004");
  bench.listen("alarm_0017");
  bench.ask("alarm_0004", "set_configuration");
  bench.ask("alarm_0017", "set_configuration");
  bench.unit.set_input(Input::alarm, 0, 1);
  bench.advance(1s);
  EXPECT_TRUE(bench.events().empty());
}

// The state of a relay over time, as "time in ms, state" at each change, and when the sequence ended.
std::string trace(Bench& bench, const char* service, Time until) {
  std::string text;
  int64_t state = bench.get(service, "get_state");
  const Time start = bench.unit.clock().now();
  for (;;) {
    text += std::to_string(state);
    const auto due = bench.unit.next_due();
    if (!due || *due - start > until) break;
    bench.unit.advance_to(*due);
    text += " " + std::to_string((*due - start) / 1ms) + ":";
    if (!bench.events().empty()) text += "end";
    state = bench.get(service, "get_state");
  }
  return text;
}

TEST(Relays, FirstGenerationRunsItsConfiguration) {
  struct Row {
    Values configuration;
    const char* trace;
  };
  const Row rows[] = {
      {{{"delay_ds", 3}, {"on_time_ds", 2}, {"off_time_ds", 1}}, "0 300:1 500:0 600:end0"},
      {{{"on_time_ds", 2}, {"off_time_ds", 5}, {"repeat_cycles", 1}}, "1 200:0 700:1 900:0 1400:end0"},
      {{{"monostable", 1}, {"on_time_ds", 2}, {"off_time_ds", 5}, {"repeat_cycles", 9}}, "1 200:end0"},
  };
  for (const Row& row : rows) {
    Bench bench;
    bench.listen("relay_0005");
    Values configuration = row.configuration;
    configuration["enable"] = 1;
    ASSERT_EQ(bench.ask("relay_0005", "set_configuration", configuration).error, 0);
    ASSERT_EQ(bench.ask("relay_0005", "trigger").error, 0);
    EXPECT_EQ(trace(bench, "relay_0005", 10s), row.trace);
  }
}

TEST(Relays, SecondGenerationRunsItsCommand) {
  struct Row {
    int64_t initial, cycles, last;
    const char* trace;
  };
  for (const Row& row : {Row{1, 2, 0, "1 30:0 80:1 110:0 160:end0"}, Row{0, 1, 1, "0 50:1 80:end1"}}) {
    Bench bench;
    bench.listen("relay_0019");
    ASSERT_EQ(bench
                  .ask("relay_0019", "trigger",
                       {{"initial_state_open", row.initial},
                        {"open_time_ms", 30},
                        {"close_time_ms", 50},
                        {"num_cycles", row.cycles},
                        {"final_state_open", row.last}})
                  .error,
              0);
    EXPECT_EQ(trace(bench, "relay_0019", 10s), row.trace);
  }
}

TEST(Relays, SetStateEndsASequence) {
  for (const auto& [service, field, inputs] :
       {std::tuple{"relay_0005", "state", Values{}},
        {"relay_0019", "open", Values{{"open_time_ms", 100}, {"close_time_ms", 100}, {"num_cycles", 5}}}}) {
    Bench bench;
    bench.listen(service);
    bench.ask(service, "trigger", inputs);
    EXPECT_EQ(bench.ask(service, "trigger", inputs).error, ROVK_COMMON_ERROR_BUSY) << service;
    EXPECT_EQ(bench.ask(service, "set_state", {{field, 1}}).error, 0);
    bench.advance(1h);
    EXPECT_TRUE(bench.events().empty()) << service;
    EXPECT_EQ(bench.get(service, "get_state"), 1);
    EXPECT_EQ(bench.ask(service, "trigger", inputs).error, 0) << service;
  }
}

TEST(Relays, MonostableFallsBackAndDisabledRests) {
  Bench bench;
  bench.listen("relay_0005");
  bench.ask("relay_0005", "set_configuration", {{"enable", 1}, {"monostable", 1}, {"on_time_ds", 4}});
  bench.ask("relay_0005", "set_state", {{"state", 1}});
  bench.advance(399ms);
  EXPECT_EQ(bench.get("relay_0005", "get_state"), 1);
  bench.advance(1ms);
  EXPECT_EQ(bench.get("relay_0005", "get_state"), 0);
  EXPECT_TRUE(bench.events().empty()) << "no sequence was triggered";
  bench.ask("relay_0005", "set_configuration", {{"enable", 0}});
  const Received refused = bench.ask("relay_0005", "trigger");
  EXPECT_EQ(refused.error, ROVK_COMMON_ERROR_INVALID_SEQUENCE);
  EXPECT_EQ(refused.detail[0], ROVK_RELAY_0005_COMMAND_TRIGGER);
}

TEST(Drives, KeepPwmAndAmountTogether) {
  struct Row {
    const char *service, *amount, *field;
    int64_t full;
  };
  for (const Row& row : {Row{"ir_illuminator_0008", "power", "milliWatts", 8'000},
                         Row{"heater_000a", "power", "milliWatts", 15'000}, Row{"fan_000b", "speed", "rpm", 6'000}}) {
    SCOPED_TRACE(row.service);
    Bench bench;
    const std::string get = std::string("get_") + row.amount;
    const std::string set = std::string("set_") + row.amount;
    const int64_t frequency = bench.ask(row.service, "get_pwm")["frequency_hz"];
    bench.ask(row.service, "set_pwm", {{"frequency_hz", frequency}, {"duty_cycle_percent", 75}});
    EXPECT_EQ(bench.get(row.service, get), row.full * 3 / 4);
    bench.ask(row.service, set, {{row.field, row.full / 2}});
    EXPECT_EQ(bench.ask(row.service, "get_pwm")["duty_cycle_percent"], 50);
    EXPECT_EQ(bench.get(row.service, get), row.full / 2);
    bench.ask(row.service, "set_control_loop_enable", {{"enable", 1}});
    EXPECT_EQ(bench.ask(row.service, "set_state", {{"state", 1}}).error, ROVK_COMMON_ERROR_INVALID_SEQUENCE);
  }
}

TEST(Drives, ControlLoopsFollowTheSurroundings) {
  struct Row {
    const char* service;
    Input input;
    int64_t off, on;
  };
  for (const Row& row :
       {Row{"ir_illuminator_0008", Input::light, 300'000, 100}, Row{"heater_000a", Input::temperature, 20'000, 0},
        Row{"fan_000b", Input::temperature, 30'000, 70'000}}) {
    Bench bench;
    bench.unit.set_input(row.input, 0, row.on);
    EXPECT_EQ(bench.get(row.service, "get_state"), 0) << row.service;
    bench.ask(row.service, "set_control_loop_enable", {{"enable", 1}});
    EXPECT_EQ(bench.get(row.service, "get_state"), 1) << row.service;
    bench.unit.set_input(row.input, 0, row.off);
    EXPECT_EQ(bench.get(row.service, "get_state"), 0) << row.service;
  }
}

TEST(Drives, FanFeedbackTellsAStall) {
  Bench bench;
  bench.ask("fan_000b", "set_state", {{"state", 1}});
  EXPECT_EQ(bench.ask("fan_000b", "get_feedback").values, (Values{{"enabled", 1}, {"rpm", 3'000}, {"stall", 0}}));
  bench.unit.set_input(Input::fan_blocked, 0, 1);
  EXPECT_EQ(bench.ask("fan_000b", "get_feedback").values, (Values{{"enabled", 1}, {"rpm", 0}, {"stall", 1}}));
  bench.ask("fan_000b", "set_state", {{"state", 0}});
  EXPECT_EQ(bench.ask("fan_000b", "get_feedback").values, (Values{{"enabled", 0}, {"rpm", 0}, {"stall", 0}}));
}

TEST(Drives, OutputsKeepBothModes) {
  Bench bench;
  bench.ask("power_pwm_0025", "set_manual_control_loop_parameters",
            {{"duty_cycle_percent", 30}, {"frequency_hz", 500}});
  bench.ask("power_pwm_0025", "set_auto_power", {{"power_milliwatts", 16'000}});
  EXPECT_EQ(bench.get("power_pwm_0025", "get_power"), 0) << "off";
  for (const auto& [automatic, duty, power] : {std::tuple{0, 30, 6'000}, {1, 80, 16'000}}) {
    bench.ask("power_pwm_0025", "set_enable", {{"output", 1}, {"auto_mode", automatic}});
    const Received loop = bench.ask("power_pwm_0025", "get_control_loop_parameters");
    EXPECT_EQ(loop["duty_cycle_percent"], duty);
    EXPECT_EQ(loop["frequency_hz"], 500);
    const Received told = bench.ask("power_pwm_0025", "get_power");
    EXPECT_EQ(told["power_milliwatts"], power);
    EXPECT_EQ(told["auto_power_milliwatts"], 16'000);
  }
  const Received limits = bench.ask("speed_pwm_0026", "get_speed");
  const Received refused = bench.ask("speed_pwm_0026", "set_auto_speed", {{"speed_rpm", limits["max_speed_rpm"] + 1}});
  EXPECT_EQ(refused.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST(Unittest, AddsWithinTheWidthOfTheField) {
  Bench bench;
  EXPECT_EQ(bench.get("unittest_ffff", "add_one", {{"input", 255}}), 0);
  EXPECT_EQ(bench.get("unittest_ffff", "add_two", {{"input", 65'535}}), 1);
  EXPECT_EQ(bench
                .ask("unittest_ffff", "add_one_to_types",
                     {{"i1", 127}, {"i2", 255}, {"i3", -1}, {"i4", 65'535}, {"i5", INT32_MAX}, {"i6", 7}})
                .values,
            (Values{{"o1", -128}, {"o2", 0}, {"o3", 0}, {"o4", 0}, {"o5", INT32_MIN}, {"o6", 8}}));
  EXPECT_EQ(bench.ask("unittest_ffff", "group_in_both", {{"one", 9}, {"two", 8}}).values,
            (Values{{"rone", 9}, {"rtwo", 8}}));
}

TEST(Unittest, FailsAsTold) {
  Bench bench;
  const auto fail = [&](int64_t code) { return bench.ask("unittest_ffff", "fail", {{"error_code", code}}); };
  EXPECT_EQ(fail(0).error, 0);
  for (const int code : {1, 2, 7, 12, 32, 33}) EXPECT_EQ(fail(code).error, code);
  EXPECT_EQ(fail(33).detail[0], 33);
  for (const int code : {13, 31, 34, 255}) EXPECT_EQ(fail(code).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

}  // namespace
}  // namespace rovk::unit
