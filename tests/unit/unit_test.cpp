// The unit as a whole: the clock, the order of messages, disturbances, what every peripheral answers.
#include "tests/unit/bench.h"
#include "unit/devices.h"
#include "unit/models/models.h"

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
  ASSERT_TRUE(unit.reset_peripheral(address_of("imaging_001a"), 2));
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
  EXPECT_TRUE(bench.unit.waiting(bench.application));
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

// As many commands as a peripheral says it can hold, and not one more, until the first is done.
TEST_F(UnitAsAWhole, RefusesMoreCommandsThanItsQueueHolds) {
  const uint16_t slow = address_of("calibration_0015");
  const int64_t depth = ask("common", "get_peripheral_info", {}, slow)["queue_depth"];
  const auto calibrate = [&] {
    send("calibration_0015", "run_color_calibration");
    return next();
  };
  for (int64_t i = 0; i < depth; ++i) EXPECT_FALSE(calibrate()) << "it takes time";
  const auto refused = calibrate();
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->error, ROVK_COMMON_ERROR_BUSY);
  EXPECT_EQ(ask("common", "get_fault", {}, slow).error, 0);
  advance(60s);
  for (int64_t i = 0; i < depth; ++i) ASSERT_TRUE(next());
  EXPECT_FALSE(calibrate());
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

TEST_F(UnitAsAWhole, ForgetsAnApplicationThatLeft) {
  Bench bench(1ms);
  const uint16_t other = bench.unit.join();
  EXPECT_NE(other, bench.application);
  bench.unit.submit(other, Bench::compose("led_0001", "get_state", {}));
  bench.unit.leave(other);
  bench.advance(1ms);
  EXPECT_FALSE(bench.next(other));
}

}  // namespace
}  // namespace rovk::unit
