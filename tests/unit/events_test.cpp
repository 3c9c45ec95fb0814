// Each event of the catalogue has a cause in the unit.
#include <functional>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

struct Cause {
  const char* service;
  const char* event;
  std::function<void(Bench&)> happen;
  std::vector<Values> expected;  // of all events of this kind; empty: at least one, whatever it tells
};

void trigger_relay(Bench& bench, const char* service, const Values& inputs) {
  EXPECT_EQ(bench.ask(service, "trigger", inputs).error, 0);
}

void draw(Bench& bench, int64_t milliamperes) { bench.unit.set_input(Input::current, 0, milliamperes); }

const std::vector<Cause>& causes() {
  static const std::vector<Cause> rows = {
      {"common",
       "reset_occurred",
       [](Bench& b) { b.unit.reset_peripheral(address_of("led_0001"), 9); },
       {{{"type", 9}}}},
      {"common",
       "spontaneous_error",
       [](Bench& b) { b.unit.spontaneous_error(address_of("led_0001"), 11, nullptr); },
       {{{"peripheral_address", 0x0101}, {"id", 11}}}},
      {"button_0002",
       "state_change",
       [](Bench& b) {
         for (const int64_t pressed : {1, 1, 0}) b.unit.set_input(Input::button, 0, pressed);
       },
       {{{"index", 0}, {"pressed", 1}}, {{"index", 0}, {"pressed", 0}}}},
      {"alarm_0004",
       "state_change",
       [](Bench& b) { b.unit.set_input(Input::alarm, 1, 1); },
       {{{"index", 1}, {"state", 1}}}},
      {"relay_0005",
       "sequence_complete",
       [](Bench& b) {
         trigger_relay(b, "relay_0005", {{"index", 1}});
       },
       {{{"index", 1}}}},
      {"imgctrl_0006",
       "day_night_movement_change",
       [](Bench& b) {
         b.ask("day_night_001d", "set_manual_mode_enable", {{"enable", 1}});
         b.ask("day_night_001d", "set_manual_filter_position_day", {{"day", 0}});
       },
       {}},
      {"imgctrl_0006",
       "focus_movement_change",
       [](Bench& b) {
         b.send("linear_actuator_000d", "set_position", {{"position", 100}});
       },
       {}},
      {"ir_illuminator_0008",
       "state_change",
       [](Bench& b) {
         for (const int64_t state : {1, 1, 0}) b.ask("ir_illuminator_0008", "set_state", {{"state", state}});
       },
       {{{"state", 1}}, {{"state", 0}}}},
      {"heater_000a",
       "state_change",
       [](Bench& b) {
         b.ask("heater_000a", "set_control_loop_enable", {{"enable", 1}});
         for (const int64_t cold : {-5'000, 5'000, 9'000}) b.unit.set_input(Input::temperature, 0, cold);
       },
       {{{"state", 1}}, {{"state", 0}}}},
      {"fan_000b",
       "state_change",
       [](Bench& b) {
         b.ask("fan_000b", "set_speed", {{"rpm", 1'500}});
         b.ask("fan_000b", "set_state", {{"state", 1}});
         b.unit.set_input(Input::fan_blocked, 0, 1);
         b.unit.set_input(Input::fan_blocked, 0, 0);
       },
       {{{"state", 1}, {"rpm", 1'500}, {"stall", 0}},
        {{"state", 1}, {"rpm", 0}, {"stall", 1}},
        {{"state", 1}, {"rpm", 1'500}, {"stall", 0}}}},
      {"power_monitor_000f",
       "alert",
       [](Bench& b) {
         for (const int64_t current : {2'000, 2'100, 300}) draw(b, current);
       },
       {{{"index", 0}, {"active", 1}}, {{"index", 0}, {"active", 0}}}},
      {"eeprom_partition_table_0013",
       "lock_time_out",
       [](Bench& b) {
         b.ask("eeprom_partition_table_0013", "lock", {{"timeout_ms", 200}, {"partition_index", 0}});
       },
       {{{"partition_index", 0}}}},
      {"alarm_0017",
       "state_change",
       [](Bench& b) {
         b.unit.set_input(Input::alarm, 0, 1);
         b.advance(20ms);
         b.unit.set_input(Input::alarm, 0, 0);
       },
       {{{"index", 0}, {"state", 1}}, {{"index", 0}, {"state", 0}}}},
      {"relay_0019",
       "trigger_sequence_complete",
       [](Bench& b) {
         trigger_relay(b, "relay_0019", {{"open_time_ms", 10}, {"close_time_ms", 10}, {"num_cycles", 2}});
       },
       {{{"index", 0}}}},
      {"day_night_001d",
       "movement_change",
       [](Bench& b) {
         b.ask("day_night_001d", "set_manual_mode_enable", {{"enable", 1}});
         b.ask("day_night_001d", "set_manual_filter_position_day", {{"day", 0}});
       },
       {}},
      {"lens_focus_001f",
       "movement_change",
       [](Bench& b) {
         b.send("linear_actuator_000d", "set_position", {{"position", 100}});
       },
       {}},
      {"power_pwm_0025",
       "state_change",
       [](Bench& b) {
         for (const int64_t output : {1, 1, 0}) b.ask("power_pwm_0025", "set_enable", {{"output", output}});
       },
       {{{"index", 0}, {"on", 1}}, {{"index", 0}, {"on", 0}}}},
      {"speed_pwm_0026",
       "state_change",
       [](Bench& b) {
         b.ask("speed_pwm_0026", "set_auto_speed", {{"speed_rpm", 9'000}});
         b.ask("speed_pwm_0026", "set_enable", {{"output", 1}, {"auto_mode", 1}});
         b.unit.set_input(Input::fan_blocked, 0, 1);
       },
       {{{"index", 0}, {"on", 1}, {"on_speed_rpm", 9'000}, {"off_stall_detected", 0}},
        {{"index", 0}, {"on", 0}, {"on_speed_rpm", 0}, {"off_stall_detected", 1}}}},
      {"switch_0027",
       "state_change",
       [](Bench& b) {
         b.unit.set_input(Input::switch_contact, 0, 1);
         b.ask("switch_0027", "set_state", {{"on", 1}});
         b.ask("switch_0027", "set_state", {{"on", 0}});
       },
       {{{"index", 0}, {"on", 1}}, {{"index", 0}, {"on", 0}}}},
      {"positioning_002a",
       "movement_change",
       [](Bench& b) {
         b.send("positioning_002a", "set_velocity", {{"pan_millidegrees_per_second", 5'000}});
       },
       {}},
      {"power_monitor_002e",
       "alert",
       [](Bench& b) {
         draw(b, 2'000);
         draw(b, -2'000);
       },
       {{{"index", 0}, {"active", 1}, {"calculated_power_microwatts", 24'000'000}},
        {{"index", 0}, {"active", 0}, {"calculated_power_microwatts", -24'000'000}}}},
  };
  return rows;
}

TEST(Events, EachHasACause) {
  unsigned declared = 0;
  for (const catalogue::Service& service : catalogue::services())
    declared += static_cast<unsigned>(service.events.size());
  EXPECT_EQ(causes().size(), declared);
  for (const Cause& cause : causes()) {
    SCOPED_TRACE(std::string(cause.service) + " " + cause.event);
    const catalogue::Service& service = *catalogue::find_service(cause.service);
    const catalogue::Event* event = catalogue::find_event(service, cause.event);
    ASSERT_TRUE(event);
    const std::string_view raised_by = service.id < 0 ? "led_0001" : cause.service;
    Bench bench;
    bench.listen(raised_by);
    cause.happen(bench);
    bench.advance(60s);
    std::vector<Values> seen;
    for (const Received& received : bench.events()) {
      EXPECT_EQ(received.peripheral, address_of(raised_by));
      EXPECT_EQ(received.application, bench.application);
      if (received.body == event->id) seen.push_back(received.values);
    }
    if (cause.expected.empty()) {
      EXPECT_FALSE(seen.empty());
    } else {
      EXPECT_EQ(seen, cause.expected);
    }
  }
}

TEST(Events, SpontaneousErrorCarriesItsDetail) {
  Bench bench;
  bench.listen("heater_000a");
  uint8_t detail[18];
  for (unsigned i = 0; i < sizeof detail; ++i) detail[i] = static_cast<uint8_t>(200 + i);
  ASSERT_TRUE(bench.unit.spontaneous_error(address_of("heater_000a"), 0x0203, detail));
  EXPECT_FALSE(bench.unit.spontaneous_error(0x7777, 1, nullptr));
  const auto events = bench.events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].body, 1);
  const std::vector<uint8_t> head(events[0].payload.begin(), events[0].payload.begin() + 4);
  EXPECT_EQ(head, (std::vector<uint8_t>{0x0a, 0x01, 0x03, 0x02}));
  EXPECT_TRUE(std::equal(events[0].payload.begin() + 4, events[0].payload.end(), detail));
}

}  // namespace
}  // namespace rovk::unit
