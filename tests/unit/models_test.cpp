// Behaviour of the models beyond get and set, in time.
#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

using Inputs = UnitTest;
using Alarms = UnitTest;
using Relays = UnitTest;
using Unittest = UnitTest;

TEST_F(Inputs, ButtonRemembersHowItWasAtPowerOn) {
  play(R"(input button 0 1; button_0002 get_state -> 1; get_initial_state -> 0;
          common@button_0002 reset; input button 0 0; button_0002 get_state -> 0; get_initial_state -> 1;)");
}

TEST_F(Inputs, SensorsTellWhatTheySee) {
  play(
      R"(input temperature 2 -40125; temperature_sensor_0009 get_millidegree_celsius index=2 -> -40125;
          input temperature 3 900000; get_millidegree_celsius index=3 -> 150000;
          input light 0 4000000000; light_sensor_0007 get_millilux -> 4000000000;
          input analog 6 1650; a_d_converter_0016 get_voltage adc_index=1 channel_index=2 -> 1650;
          get_value adc_index=1 channel_index=2 -> 2048;
          input analog 6 5000; get_value adc_index=1 channel_index=2 -> 4095;
          get_voltage adc_index=2 ! invalid_payload 0; get_voltage channel_index=4 ! invalid_payload 1;
          input analog 4 1650; a_d_converter_0029 get_raw index=1 -> 2048; get_voltage index=1 -> 1650;
          input current 0 1500; power_monitor_000f get_power -> 18000000;
          input current 0 -1500; power_monitor_002e get_power -> -18000000;
          input current 0 400000; get_power -> 2147483647;
          input current 0 2147483647; get_voltages -> 21474836;)");
}

// Contact, configuration and the state that both generations make of it.
TEST_F(Alarms, TellTheirStateByConfiguration) {
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
    for (const char* service : {"alarm_0004", "alarm_diagnostic_0018"}) {
      EXPECT_EQ(bench.ask(service, "get_comparator_values").values,
                (Values{{"pin_y", row.contact != 1}, {"pin_z", row.contact == 0}}));
    }
  }
}

TEST_F(Alarms, BelieveAContactAfterTheDebounceTime) {
  play(R"(listen alarm_0004; alarm_0004 set_debounce_ms debounce_ms=300;
          input alarm 0 1; wait 299 ms; input alarm 0 0; wait 10 s;)");
  const auto glitch = events();
  ASSERT_EQ(glitch.size(), 1U);
  EXPECT_EQ(glitch[0].body, ROVK_COMMON_EVENT_SPONTANEOUS_ERROR);
  EXPECT_EQ(glitch[0]["id"], ROVK_COMMON_ERROR_DEBOUNCE_FILTER_GLITCH);
  play(
      "input alarm 0 1; wait 299999999 ns; alarm_0004 get_state -> 0; wait 1 "
      "ns; get_state -> 1; events 1;");
}

TEST_F(Alarms, DwellOnAnAlarmThatIsOver) {
  // The contact opens again before the dwell time is over: the same alarm goes
  // on.
  play(
      R"(listen alarm_0004; alarm_0004 set_debounce_ms debounce_ms=0; set_dwell_ds dwell_ds=20;
          input alarm 0 1; input alarm 0 0; wait 1999 ms; input alarm 0 1; wait 5 s; input alarm 0 0;
          wait 1999999999 ns; alarm_0004 get_state -> 1; wait 1 ns; get_state -> 0; events 2;)");
}

TEST_F(Alarms, SayNothingWhileNotEnabled) {
  play(
      R"(listen alarm_0004; listen alarm_0017; alarm_0004 set_configuration; alarm_0017 set_configuration;
          input alarm 0 1; wait 1 s; input alarm 0 0; wait 1 ms; input alarm 0 1; wait 1 s; events 0;)");
}

// The state of a relay over time, as "time in ms:state" at each change, and
// when the sequence ended.
TEST_F(Relays, RunTheirSequences) {
  const struct {
    const char *service, *story, *trace;
  } rows[] = {
      {"relay_0005",
       "set_configuration enable=1 delay_ds=3 on_time_ds=2 off_time_ds=1; "
       "trigger;",
       "0 300:1 500:0 600:end0"},
      {"relay_0005",
       "set_configuration enable=1 on_time_ds=2 off_time_ds=5 repeat_cycles=1; "
       "trigger;",
       "1 200:0 700:1 900:0 1400:end0"},
      {"relay_0005",
       "set_configuration enable=1 monostable=1 on_time_ds=2 off_time_ds=5 "
       "repeat_cycles=9; trigger;",
       "1 200:end0"},
      {"relay_0019",
       "trigger initial_state_open=1 open_time_ms=30 close_time_ms=50 "
       "num_cycles=2;",
       "1 30:0 80:1 110:0 160:end0"},
      {"relay_0019",
       "trigger open_time_ms=30 close_time_ms=50 num_cycles=1 "
       "final_state_open=1;",
       "0 50:1 80:end1"},
  };
  for (const auto& row : rows) {
    Bench bench;
    bench.listen(row.service);
    bench.play(std::string(row.service) + " " + row.story);
    std::string trace = std::to_string(bench.get(row.service, "get_state"));
    while (const auto due = bench.unit.next_due()) {
      bench.unit.advance_to(*due);
      trace += " " + std::to_string(*due / 1ms) + (bench.events().empty() ? ":" : ":end");
      trace += std::to_string(bench.get(row.service, "get_state"));
    }
    EXPECT_EQ(trace, row.trace);
  }
}

TEST_F(Relays, SetStateEndsASequence) {
  play(R"(listen relay_0005; listen relay_0019; relay_0005 trigger; trigger ! busy; relay_0019 trigger ! busy;
          set_state open=0; wait 3600 s; events 0; relay_0005 get_state -> 1;
          relay_0019 trigger open_time_ms=100 close_time_ms=100 num_cycles=5; relay_0005 trigger ! busy;
          set_state state=0; wait 3600 s; events 0; relay_0019 get_state -> 1;)");
}

// What one generation is told, the other shows: the two speak of one coil, one line, one configuration.
TEST_F(Relays, AndAlarmsAreOneToBothGenerations) {
  play(R"(relay_0019 set_state index=1 open=0; relay_0005 get_state index=1 -> 1; set_state index=1 state=0;
          relay_0019 get_state index=1 -> 1; relay_0005 set_configuration index=1 enable=1 normally_closed=1;
          relay_0019 get_state index=1 -> 0; relay_0005 set_configuration index=1 enable=0;
          relay_0019 set_state index=1 ! invalid_sequence 33;
          listen relay_0005; listen relay_0019; relay_0005 trigger; wait 3 s; events 2;
          alarm_0004 set_configuration index=1 enable=1 normally_closed=1 supervised=1;
          set_debounce_ms index=1 debounce_ms=70;
          alarm_0017 get_configuration index=1 -> idle_state_open=0 enable=1 supervised=1 debounce_time_ms=70;
          set_configuration index=1 idle_state_open=1 enable=1 debounce_time_ms=40;
          alarm_0004 get_configuration index=1 -> enable=1 normally_closed=0 supervised=0;
          get_debounce_ms index=1 -> 40; input alarm 1 1; a_d_converter_0016 get_voltage channel_index=1 -> 0;
          input analog 1 1650; alarm_diagnostic_0018 get_comparator_values index=1 -> pin_y=1 pin_z=0;
          wait 1 s; common@alarm_0004 reset; alarm_0017 get_configuration index=1 -> debounce_time_ms=20;)");
}

TEST_F(Relays, MonostableFallsBackAndDisabledRests) {
  play(
      R"(listen relay_0005; relay_0005 set_configuration enable=1 monostable=1 on_time_ds=4;
          set_state state=1; wait 399 ms; get_state -> 1; wait 1 ms; get_state -> 0; events 0;
          set_configuration enable=0;)");
  play("trigger ! invalid_sequence " + std::to_string(ROVK_RELAY_0005_COMMAND_TRIGGER));
}

TEST_F(Unittest, AddsWithinTheWidthOfTheField) {
  play(R"(unittest_ffff add_one input=255 -> 0; add_two input=65535 -> 1;
          add_one_to_types i1=127 i2=255 i3=-1 i4=65535 i5=2147483647 i6=7
            -> o1=-128 o2=0 o3=0 o4=0 o5=-2147483648 o6=8;
          group_in_both one=9 two=8 -> rone=9 rtwo=8;)");
}

TEST_F(Unittest, FailsAsTold) {
  const auto fail = [&](int64_t code) { return ask("unittest_ffff", "fail", {{"error_code", code}}); };
  EXPECT_EQ(fail(0).error, 0);
  for (const int code : {1, 2, 7, 12, 32, 33}) EXPECT_EQ(fail(code).error, code);
  EXPECT_EQ(fail(33).detail[0], 33);
  for (const int code : {13, 31, 34, 255}) EXPECT_EQ(fail(code).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

}  // namespace
}  // namespace rovk::unit
