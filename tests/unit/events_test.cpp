// Each event of the catalogue has a cause in the unit.
#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

struct Cause {
  const char* service;
  const char* event;
  const char* story;
  const char* expected;  // of all events of this kind; null: at least one,
                         // whatever it tells
};

constexpr const char* night =
    "day_night_001d set_manual_mode_enable enable=1; "
    "set_manual_filter_position_day day=0;";
constexpr const char* move_focus = "send linear_actuator_000d set_position position=100;";

const Cause causes[] = {
    {"button_0002", "state_change", "input button 0 1; input button 0 1; input button 0 0;",
     "index=0 pressed=1 | index=0 pressed=0"},
    {"alarm_0004", "state_change", "input alarm 1 1;", "index=1 state=1"},
    {"relay_0005", "sequence_complete", "relay_0005 trigger index=1;", "index=1"},
    {"imgctrl_0006", "day_night_movement_change", night, nullptr},
    {"imgctrl_0006", "focus_movement_change", move_focus, nullptr},
    {"ir_illuminator_0008", "state_change",
     "ir_illuminator_0008 set_state state=1; set_state state=1; set_state "
     "state=0;",
     "state=1 | state=0"},
    {"heater_000a", "state_change",
     "heater_000a set_control_loop_enable enable=1; input temperature 0 -5000; "
     "input temperature 0 5000;"
     "input temperature 0 9000;",
     "state=1 | state=0"},
    {"fan_000b", "state_change",
     "fan_000b set_speed rpm=1500; set_state state=1; input fan_blocked 0 1; "
     "input fan_blocked 0 0;",
     "rpm=1500 stall=0 state=1 | rpm=0 stall=1 state=1 | rpm=1500 stall=0 "
     "state=1"},
    {"power_monitor_000f", "alert", "input current 0 2000; input current 0 2100; input current 0 300;",
     "active=1 index=0 | active=0 index=0"},
    {"eeprom_partition_table_0013", "lock_time_out", "eeprom_partition_table_0013 lock timeout_ms=200;",
     "partition_index=0"},
    {"alarm_0017", "state_change", "input alarm 0 1; wait 20 ms; input alarm 0 0;",
     "index=0 state=1 | index=0 state=0"},
    {"relay_0019", "trigger_sequence_complete", "relay_0019 trigger open_time_ms=10 close_time_ms=10 num_cycles=2;",
     "index=0"},
    {"day_night_001d", "movement_change", night, nullptr},
    {"lens_focus_001f", "movement_change", move_focus, nullptr},
    {"power_pwm_0025", "state_change",
     "power_pwm_0025 set_enable output=1; set_enable output=1; set_enable "
     "output=0;",
     "index=0 on=1 | index=0 on=0"},
    {"speed_pwm_0026", "state_change",
     "speed_pwm_0026 set_auto_speed speed_rpm=9000; set_enable output=1 "
     "auto_mode=1; input fan_blocked 0 1;",
     "index=0 off_stall_detected=0 on=1 on_speed_rpm=9000 | index=0 "
     "off_stall_detected=1 on=0 on_speed_rpm=0"},
    {"switch_0027", "state_change", "input switch_contact 0 1; switch_0027 set_state on=1; set_state on=0;",
     "index=0 on=1 | index=0 on=0"},
    {"positioning_002a", "movement_change", "send positioning_002a set_velocity pan_millidegrees_per_second=5000;",
     nullptr},
    {"power_monitor_002e", "alert", "input current 0 2000; input current 0 -2000;",
     "active=1 calculated_power_microwatts=24000000 index=0 | active=0 "
     "calculated_power_microwatts=-24000000 index=0"},
};

TEST(Events, EachHasACause) {
  std::size_t declared = 0;
  for (const catalogue::Service& service : catalogue::services()) declared += service.events.size();
  EXPECT_EQ(std::size(causes) + 2, declared) << "the two common ones are tested with the unit and below";
  for (const Cause& cause : causes) {
    SCOPED_TRACE(std::string(cause.service) + " " + cause.event);
    const catalogue::Event* event = catalogue::find_event(*catalogue::find_service(cause.service), cause.event);
    ASSERT_TRUE(event);
    Bench bench;
    bench.listen(cause.service);
    bench.play(cause.story);
    bench.advance(60s);
    std::string seen;
    for (const Received& received : bench.events()) {
      EXPECT_EQ(received.peripheral, address_of(cause.service));
      EXPECT_EQ(received.application, bench.application);
      if (received.body != event->id) continue;
      if (!seen.empty()) seen += " |";
      for (const auto& [field, value] : received.values) {
        seen += (seen.empty() ? "" : " ") + field + "=" + std::to_string(value);
      }
    }
    if (cause.expected) {
      EXPECT_EQ(seen, cause.expected);
    } else {
      EXPECT_NE(seen, "");
    }
  }
}

TEST(Events, SpontaneousErrorCarriesItsDetail) {
  Bench bench;
  bench.listen("heater_000a");
  uint8_t detail[18];
  for (unsigned i = 0; i < sizeof detail; ++i) detail[i] = static_cast<uint8_t>(200 + i);
  ASSERT_TRUE(bench.unit.spontaneous_error(address_of("heater_000a"), 0x0203, detail));
  ASSERT_TRUE(bench.unit.spontaneous_error(address_of("heater_000a"), 11, nullptr));
  EXPECT_FALSE(bench.unit.spontaneous_error(0x7777, 1, nullptr));
  const auto events = bench.events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].body, 1);
  const std::vector<uint8_t> head(events[0].payload.begin(), events[0].payload.begin() + 4);
  EXPECT_EQ(head, (std::vector<uint8_t>{0x0a, 0x01, 0x03, 0x02}));
  EXPECT_TRUE(std::equal(events[0].payload.begin() + 4, events[0].payload.end(), detail));
  EXPECT_EQ(events[1].values, (Values{{"peripheral_address", 0x010a}, {"id", 11}}));
}

}  // namespace
}  // namespace rovk::unit
