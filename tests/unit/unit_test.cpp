// The unit as a whole: the clock, the order of messages, disturbances, what every peripheral answers.
#include <rovk/constants.h>

#include "tests/unit/bench.h"
#include "unit/devices.h"

namespace rovk::unit {
namespace {

constexpr uint16_t led = 0x0101;

TEST(Unit, TellsWhoEachPeripheralIs) {
  Bench bench;
  for (const Fitting& fitting : fittings()) {
    SCOPED_TRACE(fitting.service->name);
    const Received info = bench.ask("common", "get_peripheral_info", {}, fitting.address);
    EXPECT_EQ(info["id"], fitting.service->id);
    EXPECT_EQ(info.payload[2], fitting.service->api.major);
    EXPECT_EQ(info.payload[3], fitting.service->api.minor);
    EXPECT_EQ(info.payload[6], 0);
    EXPECT_EQ(info.payload[7], 19);
    EXPECT_EQ(info["device_count"], static_cast<int64_t>(fitting.devices.size()));
    for (std::size_t i = 0; i < fitting.devices.size(); ++i) {
      const Values index = {{"index", static_cast<int64_t>(i)}};
      EXPECT_EQ(bench.ask("common", "get_peripheral_device_id", index, fitting.address)["peripheral_device_id"],
                fitting.devices[i]);
    }
  }
}

// All devices of the table of numbers are somewhere, each once per service that shows it.
TEST(Unit, HasEveryNumberedDevice) {
  std::map<uint32_t, unsigned> seen;
  for (const Fitting& fitting : fittings()) {
    for (const uint32_t device : fitting.devices) ++seen[device];
  }
  for (uint32_t device = 1; device <= 36; ++device) EXPECT_GE(seen[device], 1U) << device;
  EXPECT_EQ(seen.rbegin()->first, 36U);
  EXPECT_EQ(address_of("eeprom_partition_table_0013", 5), 0x5113);
}

TEST(Unit, EchoesAllBytes) {
  Bench bench;
  rovk_message message = Bench::compose("common", "echo", {}, led);
  for (unsigned i = 0; i < 22; ++i) message.cre.c.payload[i] = static_cast<uint8_t>(255 - i);
  bench.unit.submit(bench.application, message);
  const auto answer = bench.next();
  ASSERT_TRUE(answer);
  EXPECT_TRUE(std::equal(answer->payload.begin(), answer->payload.end(), message.cre.c.payload));
}

TEST(Unit, RefusesWhatNobodyAnswers) {
  Bench bench;
  const Received nobody = bench.ask("common", "get_fault", {}, 0x7777);
  EXPECT_EQ(nobody.peripheral, 0x7777);
  EXPECT_EQ(nobody.error, ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL);
  EXPECT_EQ(nobody.error_peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  for (const int opcode : {9, 30, 34, 255}) {
    rovk_message message = Bench::compose("led_0001", "get_state", {});
    message.cre.c.opcode = static_cast<uint8_t>(opcode);
    bench.unit.submit(bench.application, message);
    const auto answer = bench.next();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->error, ROVK_COMMON_ERROR_UNKNOWN_COMMAND) << opcode;
    EXPECT_EQ(answer->error_peripheral, led);
  }
}

TEST(Unit, DropsWhatIsNoCommand) {
  Bench bench;
  for (const int type : {0, 2, 3, 255}) {
    rovk_message message = Bench::compose("led_0001", "get_state", {});
    message.route.type = static_cast<uint8_t>(type);
    bench.unit.submit(bench.application, message);
  }
  bench.unit.submit(0x1234, Bench::compose("led_0001", "get_state", {}));
  EXPECT_EQ(bench.unit.dropped(), 5U);
  EXPECT_FALSE(bench.next());
}

TEST(Unit, WithAFaultAnswersOnlyCommonCommands) {
  Bench bench;
  ASSERT_TRUE(bench.unit.set_fault(led, 77));
  EXPECT_FALSE(bench.unit.set_fault(0x7777, 1));
  const Received refused = bench.ask("led_0001", "get_state");
  EXPECT_EQ(refused.error, ROVK_COMMON_ERROR_FAULT_EXISTS);
  EXPECT_EQ(refused.detail[0], 77);
  EXPECT_EQ(bench.ask("common", "get_fault", {}, led)["id"], 77);
  EXPECT_EQ(bench.ask("common", "self_test", {}, led).error, ROVK_COMMON_ERROR_SELF_TEST_FAILED);
  EXPECT_EQ(bench.ask("common", "clear_fault", {}, led).error, 0);
  EXPECT_EQ(bench.ask("led_0001", "get_state").error, 0);
  EXPECT_EQ(bench.ask("common", "get_fault", {}, led)["id"], 0);
  EXPECT_EQ(bench.ask("common", "self_test", {}, led).error, 0);
}

TEST(Unit, ResetRestoresThePowerOnState) {
  Bench bench;
  bench.listen("imaging_001a");
  const int64_t before = bench.get("imaging_001a", "get_contrast");
  bench.ask("imaging_001a", "set_contrast", {{"contrast", before + 7}});
  bench.ask("common", "reset", {}, address_of("imaging_001a"));
  EXPECT_EQ(bench.get("imaging_001a", "get_contrast"), before);
  ASSERT_TRUE(bench.unit.reset_peripheral(address_of("imaging_001a"), 2));
  EXPECT_FALSE(bench.unit.reset_peripheral(0x7777, 2));
  const auto events = bench.events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0]["type"], static_cast<int64_t>(ResetType::commanded));
  EXPECT_EQ(events[1]["type"], static_cast<int64_t>(ResetType::watchdog));
}

TEST(Unit, AnswersAfterItsLatency) {
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
TEST(Unit, KeepsTheOrderOfMessages) {
  Bench bench;
  for (uint32_t uuid = 1; uuid <= 20; ++uuid) {
    bench.unit.submit(bench.application, Bench::compose("unittest_ffff", "add_one", {}, {}, uuid));
  }
  for (uint32_t uuid = 1; uuid <= 20; ++uuid) EXPECT_EQ(bench.next()->uuid, uuid);
  bench.unit.advance_to(5s);
  bench.unit.advance_to(2s);
  EXPECT_EQ(bench.unit.clock().now(), Time{5s});
}

// As many commands as a peripheral says it can hold, and not one more, until the first is done.
TEST(Unit, RefusesMoreCommandsThanItsQueueHolds) {
  Bench bench;
  const uint16_t slow = address_of("calibration_0015");
  const int64_t depth = bench.ask("common", "get_peripheral_info", {}, slow)["queue_depth"];
  const auto calibrate = [&] {
    bench.send("calibration_0015", "run_color_calibration");
    return bench.next();
  };
  for (int64_t i = 0; i < depth; ++i) EXPECT_FALSE(calibrate()) << "it takes time";
  const auto refused = calibrate();
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->error, ROVK_COMMON_ERROR_BUSY);
  EXPECT_EQ(bench.ask("common", "get_fault", {}, slow).error, 0);
  bench.advance(60s);
  for (int64_t i = 0; i < depth; ++i) ASSERT_TRUE(bench.next());
  EXPECT_FALSE(calibrate());
}

TEST(Unit, RealClockRuns) {
  Unit unit(Options{});
  const uint16_t application = unit.join();
  const Time before = unit.clock().now();
  unit.submit(application, Bench::compose("unittest_ffff", "add_one", {{"input", 4}}));
  rovk_message answer = {};
  ASSERT_TRUE(unit.take(application, answer));
  EXPECT_EQ(answer.cre.r.pei.payload[0], 5);
  EXPECT_GE(unit.clock().now(), before);
  const Time now = unit.clock().now();
  unit.advance_to(now + 1h);
  EXPECT_LT(unit.clock().now(), now + 1h);
}

TEST(Unit, DisturbsAnswersAsAskedAndThenNoMore) {
  const auto answers = [](std::string_view what, uint32_t value) {
    Bench bench;
    EXPECT_TRUE(bench.unit.disturb(bench.application, what, 1, value));
    bench.send("led_0001", "get_state");
    std::vector<Received> all;
    while (auto received = bench.next()) all.push_back(*received);
    bench.advance(50ms);
    while (auto received = bench.next()) all.push_back(*received);
    EXPECT_EQ(bench.ask("led_0001", "get_state").type, ROVK_TYPE_RESPONSE);
    return all;
  };
  EXPECT_TRUE(answers("lose", 0).empty());
  EXPECT_EQ(answers("duplicate", 0).size(), 2U);
  EXPECT_EQ(answers("delay", 50).size(), 1U);
  EXPECT_TRUE(answers("delay", 51).empty());
  EXPECT_NE(answers("corrupt", 0).at(0).type, ROVK_TYPE_RESPONSE);
  EXPECT_NE(answers("misdirect", 0).at(0).uuid, 0x20000001U);
  Bench bench;
  EXPECT_FALSE(bench.unit.disturb(bench.application, "soothe", 1, 0));
  EXPECT_FALSE(bench.unit.disturb(0x1234, "lose", 1, 0));
}

TEST(Unit, ForgetsAnApplicationThatLeft) {
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
