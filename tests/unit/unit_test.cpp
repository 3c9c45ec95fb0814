// The unit as a whole: the clock, the order of messages, disturbances, what every peripheral answers.
#include <thread>

#include "tests/unit/bench.h"
#include "unit/fittings.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr uint16_t led = 0x0101;

using UnitAsAWhole = UnitTest;

TEST_F(UnitAsAWhole, TellsWhoEachPeripheralIs) {
  for (const Fitting& fitting : fittings()) {
    SCOPED_TRACE(fitting.service->name);
    const Received info = ask("common", "get_peripheral_info", {}, fitting.address);
    EXPECT_EQ(info["id"], fitting.service->id);
    EXPECT_EQ(info.payload[2], fitting.service->api.major);
    EXPECT_EQ(info.payload[3], fitting.service->api.minor);
    EXPECT_EQ(info.payload[6], 0);
    EXPECT_EQ(info.payload[7], 19);
    EXPECT_EQ(info["device_count"], static_cast<int64_t>(fitting.devices.size()));
    for (std::size_t i = 0; i < fitting.devices.size(); ++i) {
      const Values index = {{"index", static_cast<int64_t>(i)}};
      EXPECT_EQ(ask("common", "get_peripheral_device_id", index, fitting.address)["peripheral_device_id"],
                fitting.devices[i]);
    }
  }
}

// All devices of the table of numbers are somewhere, each once per service that shows it.
TEST_F(UnitAsAWhole, HasEveryNumberedDevice) {
  EXPECT_TRUE(find_maker("unheard_of_0099")) << "without a model of its own a service keeps plain values";
  std::map<uint32_t, unsigned> seen;
  for (const Fitting& fitting : fittings()) {
    for (const uint32_t device : fitting.devices) ++seen[device];
  }
  for (uint32_t device = 1; device <= 36; ++device) EXPECT_GE(seen[device], 1U) << device;
  EXPECT_EQ(seen.rbegin()->first, 36U);
  EXPECT_EQ(address_of("eeprom_partition_table_0013", 5), 0x5113);
}

TEST_F(UnitAsAWhole, RefusesWhatNobodyAnswers) {
  const Received nobody = ask("common", "get_fault", {}, 0x7777);
  EXPECT_EQ(nobody.peripheral, 0x7777);
  EXPECT_EQ(nobody.error, ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL);
  EXPECT_EQ(nobody.error_peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  for (const int opcode : {9, 30, 34, 255}) {
    rovk_message message = Bench::compose("led_0001", "get_state", {});
    message.cre.c.opcode = static_cast<uint8_t>(opcode);
    unit.submit(application, message);
    const auto answer = next();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->error, ROVK_COMMON_ERROR_UNKNOWN_COMMAND) << opcode;
    EXPECT_EQ(answer->error_peripheral, led);
  }
}

TEST_F(UnitAsAWhole, DropsWhatIsNoCommand) {
  for (const int type : {0, 2, 3, 255}) {
    rovk_message message = Bench::compose("led_0001", "get_state", {});
    message.route.type = static_cast<uint8_t>(type);
    unit.submit(application, message);
  }
  unit.submit(0x1234, Bench::compose("led_0001", "get_state", {}));
  EXPECT_EQ(unit.dropped(), 5U);
  EXPECT_FALSE(next());
}

TEST_F(UnitAsAWhole, WithAFaultAnswersOnlyCommonCommands) {
  ASSERT_TRUE(unit.set_fault(led, 77));
  EXPECT_FALSE(unit.set_fault(0x7777, 1));
  play(R"(led_0001 get_state ! fault_exists 77; common@led_0001 get_fault -> id=77; self_test ! self_test_failed;
          clear_fault; get_fault -> id=0; self_test; led_0001 get_state;)");
}

TEST_F(UnitAsAWhole, ResetRestoresThePowerOnState) {
  const std::string before = std::to_string(get("imaging_001a", "get_contrast"));
  play(R"(listen imaging_001a; imaging_001a set_contrast contrast=7; get_contrast -> 7;
          common@imaging_001a reset; imaging_001a get_contrast -> )" +
       before);
  reset(address_of("imaging_001a"), ResetType::watchdog);
  EXPECT_FALSE(unit.reset_peripheral(0x7777, 2));
  const auto resets = events();
  ASSERT_EQ(resets.size(), 2U);
  EXPECT_EQ(resets[0]["type"], static_cast<int64_t>(ResetType::commanded));
  EXPECT_EQ(resets[1]["type"], static_cast<int64_t>(ResetType::watchdog));
}

TEST_F(UnitAsAWhole, AnswersAfterItsLatency) {
  Bench bench(3ms);
  bench.send("led_0001", "get_state");
  EXPECT_EQ(bench.unit.next_due(), Time{3ms});
  bench.unit.advance_to(3ms - 1ns);
  EXPECT_FALSE(bench.next());
  bench.unit.advance_to(3ms);
  EXPECT_FALSE(bench.unit.inbox(bench.application).empty());
  EXPECT_TRUE(bench.next());
  EXPECT_FALSE(bench.unit.next_due());
}

// Messages that fall due together keep the order of their making; the clock never goes back.
TEST_F(UnitAsAWhole, KeepsTheOrderOfMessages) {
  for (uint32_t uuid = 1; uuid <= 20; ++uuid) {
    unit.submit(application, Bench::compose("unittest_ffff", "add_one", {}, {}, uuid));
  }
  for (uint32_t uuid = 1; uuid <= 20; ++uuid) EXPECT_EQ(next()->uuid, uuid);
  unit.advance_to(5s);
  unit.advance_to(2s);
  EXPECT_EQ(unit.clock().now(), Time{5s});
}

// What one colour calibration after the other gives: the errors that come at once, then the times at which
// the others end.
std::string calibrate(Bench& bench, unsigned times) {
  std::string seen;
  const auto take = [&] {
    while (const auto answer = bench.next()) {
      seen += std::to_string(bench.unit.clock().now() / 1ms) + ":" + std::to_string(answer->error) + " ";
    }
  };
  for (unsigned i = 0; i < times; ++i) {
    bench.send("calibration_0015", "run_color_calibration");
    take();
  }
  while (const auto due = bench.unit.next_due()) {
    bench.unit.advance_to(*due);
    take();
  }
  return seen;
}

// Commands that take time run one after the other, and what has no room is refused as the capabilities say.
TEST(Queue, HoldsWhatThePeripheralSaysItCanHold) {
  UnitDescription unit;
  unit.boards = {{.name = "only", .peripherals = {{.service = "calibration_0015"}, {.service = "led_0001"}}}};
  unit.boards[0].lights.resize(1);
  unit.boards[0].location = ROVK_GPI_LOCATION_IMAGER_BOARD;
  unit.boards[0].eeproms.resize(1);  // where calibrations are saved
  unit.boards[0].lenses.resize(1);
  PeripheralDescription& slow = unit.boards[0].peripherals[0];
  const auto run = [&](bool queued, uint8_t depth, bool refuses_repeats) {
    slow.queued = queued;
    slow.queue_depth = depth;
    slow.refuses_repeats = refuses_repeats;
    Bench bench(Time{0}, unit);
    return calibrate(bench, 4);
  };
  EXPECT_EQ(run(true, 3, false), "0:1 800:0 1600:0 2400:0 ");
  EXPECT_EQ(run(false, 3, false), "0:1 0:1 0:1 800:0 ");
  EXPECT_EQ(run(true, 3, true), "0:3 0:3 800:0 1600:0 ");
}

// A reset breaks off what is under way, which has no effect then, and takes the boot time.
TEST_F(UnitAsAWhole, ResetBreaksOffWhatIsUnderWay) {
  play("listen calibration_0015; send calibration_0015 run_color_calibration; send common@calibration_0015 reset;");
  const auto broken = next();
  ASSERT_TRUE(broken);
  EXPECT_EQ(broken->error, ROVK_COMMON_ERROR_COMMUNICATION_FAILURE);
  EXPECT_EQ(broken->error_peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  play("calibration_0015 run_color_calibration ! busy; wait 19 ms; common@calibration_0015 nop ! busy; events 0;");
  advance(1ms);
  EXPECT_EQ(next()->type, ROVK_TYPE_EVENT);
  EXPECT_EQ(next()->body, 0) << "the reset is done";
  EXPECT_FALSE(next());
}

TEST_F(UnitAsAWhole, WithoutPowerNothingAnswers) {
  play("listen led_0001; led_0001 set_state on=1; send calibration_0015 run_color_calibration;");
  unit.set_power(false);
  play("send led_0001 get_state; wait 10 s;");
  EXPECT_FALSE(next());
  unit.set_power(true);
  play("led_0001 get_state ! busy; wait 520 ms; get_state -> on=0;");
  const auto events_seen = events();
  ASSERT_EQ(events_seen.size(), 1U);
  EXPECT_EQ(events_seen[0]["type"], static_cast<int64_t>(ResetType::power_on));
}

// A description that cannot be built is refused with what is wrong; one that leaves out most is whole.
TEST(Description, IsCheckedAndAddsUp) {
  const auto refusal = [](const PeripheralDescription& peripheral) -> std::string {
    UnitDescription unit;
    unit.boards = {{.name = "only", .imagers = {{}}, .peripherals = {{.service = "imaging_001a"}, peripheral}}};
    try {
      Unit made(Options{.virtual_clock = true}, unit);
      return "";
    } catch (const DescriptionError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(refusal({.service = "exposure_001c"}), "");
  EXPECT_EQ(refusal({.service = "nothing_0099"}), "there is no service nothing_0099");
  EXPECT_EQ(refusal({.service = "exposure_001c", .address = 0x011a, .aliases = {0x011a}}),
            "address 0x011a of exposure_001c is taken by exposure_001c");
  EXPECT_EQ(refusal({.service = "relay_0019"}), "device 0 of relay_0019 shows what is on no board");
  EXPECT_EQ(refusal({.service = "exposure_001c", .values = {{"gain", "percent"}}}),
            "exposure_001c keeps no gain.percent");
  for (const catalogue::Service& service : catalogue::services()) {
    if (service.id > 0) refusal({.service = service.name});  // refused or made, and never a crash
  }
}

TEST_F(UnitAsAWhole, AnswersAtItsAliases) {
  UnitDescription unit_with_alias = everything();
  unit_with_alias.boards[0].peripherals[0].aliases = {0x4321, 0x4322};
  const std::string service = unit_with_alias.boards[0].peripherals[0].service;
  Bench bench(Time{0}, unit_with_alias);
  const Received answer = bench.ask("common", "get_aliases", {}, 0x4322);
  EXPECT_EQ(answer.peripheral, 0x4322);
  EXPECT_EQ(answer["count"], 2);
  EXPECT_EQ(answer.payload[3], 0x43);
  EXPECT_EQ(bench.ask("common", "get_peripheral_info", {}, 0x4321)["id"], catalogue::find_service(service)->id);
}

// The other disturbances show from above; there a second answer is nothing but dropped.
TEST_F(UnitAsAWhole, DoublesAnAnswerOnce) {
  EXPECT_TRUE(unit.disturb(application, "duplicate", 1, 0));
  EXPECT_FALSE(unit.disturb(0x1234, "duplicate", 1, 0));
  for (int i = 0; i < 2; ++i) send("led_0001", "get_state");
  unsigned answers = 0;
  while (next()) ++answers;
  EXPECT_EQ(answers, 3U);
}

TEST(RealClock, IsNotMoved) {
  Unit real(Options{});
  const Time now = real.clock().now();
  real.advance_to(now + 1h);
  EXPECT_LT(real.clock().now(), now + 1h);
}

// Commands that have ended by now, one behind the other, ended before the fault.
TEST(RealClock, HasPassedWhenAFaultIsSet) {
  Unit real(Options{});
  const uint16_t application = real.join();
  for (const int64_t steps : {1, -1}) {
    real.submit(application, Bench::compose("linear_actuator_000d", "move_steps", {{"steps", steps}, {"block", 1}}));
  }
  std::this_thread::sleep_for(100ms);
  EXPECT_TRUE(real.set_fault(address_of("linear_actuator_000d"), 1));
  rovk_message answer;
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(real.take(application, answer));
    EXPECT_EQ(0, reinterpret_cast<const uint8_t*>(&answer)[ROVK_OFFSET_BODY]);
  }
}

TEST_F(UnitAsAWhole, ForgetsAnApplicationThatLeft) {
  Bench bench(1ms);
  const uint16_t other = bench.unit.join();
  EXPECT_NE(other, bench.application);
  bench.unit.submit(other, Bench::compose("led_0001", "get_state", {}));
  bench.unit.submit(other, Bench::compose("common", "reset", {}, address_of("led_0001")));
  bench.unit.leave(other);
  bench.advance(PeripheralDescription{}.boot_ms * 1ms);
  EXPECT_FALSE(bench.next(other));
  EXPECT_EQ(bench.ask("led_0001", "get_state").error, 0);
}

}  // namespace
}  // namespace rovk::unit
