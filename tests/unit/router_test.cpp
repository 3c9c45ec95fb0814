#include <rovk/constants.h>

#include <set>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

TEST(Router, ListsEveryPeripheral) {
  Bench bench;
  std::set<uint16_t> addresses;
  const int64_t count = bench.get("router_0000", "get_count");
  for (int64_t i = 0; i < count; ++i) {
    const Received route = bench.ask("router_0000", "get_route", {{"index", i}});
    EXPECT_EQ(route["routing_peripheral_address"], ROVK_ROUTER_PERIPHERAL_ADDRESS);
    addresses.insert(static_cast<uint16_t>(route["peripheral_address"]));
  }
  // 50 services with an id, and five more boards with a partition table.
  EXPECT_EQ(addresses.size(), 55U);
  EXPECT_EQ(static_cast<int64_t>(addresses.size()), count);
  for (const int address : {0x0000, 0x0101, 0x0113, 0x1113, 0x5113, 0x0132, 0xffff}) {
    EXPECT_TRUE(addresses.contains(static_cast<uint16_t>(address))) << address;
  }
  for (const uint16_t address : addresses) {
    EXPECT_EQ(bench.ask("common", "get_peripheral_info", {}, address).error, 0) << address;
  }
  const Received beyond = bench.ask("router_0000", "get_route", {{"index", count}});
  EXPECT_EQ(beyond.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST(Router, TakesARouteOnce) {
  Bench bench;
  const int64_t count = bench.get("router_0000", "get_count");
  const auto add = [&](int64_t peripheral, int64_t through) {
    const Received answer = bench.ask("router_0000", "add_route",
                                      {{"peripheral_address", peripheral}, {"routing_peripheral_address", through}});
    return answer.error == 0 ? -1 : static_cast<int>(answer.error * 100 + answer.detail[0]);
  };
  EXPECT_EQ(add(0x4001, 0x0106), -1);
  EXPECT_EQ(add(0x4001, 0x0000), 800) << "a second route to the same peripheral";
  EXPECT_EQ(add(0x0101, 0x0000), 800) << "a peripheral of the unit's own";
  EXPECT_EQ(add(0x4002, 0x7777), 802) << "by way of nobody";
  EXPECT_EQ(bench.get("router_0000", "get_count"), count + 1);
  EXPECT_EQ(bench.ask("router_0000", "get_route", {{"index", count}})["routing_peripheral_address"], 0x0106);
  // The route is there, but nobody at its end.
  const Received answer = bench.ask("common", "get_fault", {}, 0x4001);
  EXPECT_EQ(answer.error, ROVK_COMMON_ERROR_COMMUNICATION_FAILURE);
  EXPECT_EQ(answer.error_peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  bench.ask("common", "reset", {}, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  EXPECT_EQ(bench.get("router_0000", "get_count"), count);
}

TEST(Router, SendsEventsToWhomTheyAreRegistered) {
  Bench bench;
  const uint16_t other = bench.unit.join();
  bench.listen("button_0002");
  bench.unit.set_input(Input::button, 0, 1);
  bench.unit.set_input(Input::switch_contact, 0, 1);
  EXPECT_EQ(bench.events().size(), 1U);
  EXPECT_FALSE(bench.unit.waiting(other));
  // Registering twice is registering once.
  bench.listen("button_0002");
  bench.unit.set_input(Input::button, 0, 0);
  EXPECT_EQ(bench.events().size(), 1U);
  bench.ask("router_0000", "unregister_event", {{"peripheral_address", address_of("button_0002")}});
  bench.unit.set_input(Input::button, 0, 1);
  EXPECT_TRUE(bench.events().empty());
  EXPECT_EQ(bench.ask("router_0000", "register_event", {{"peripheral_address", 0x7777}}).error,
            ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL);
}

TEST(Router, KeepsAReservedPeripheralForItsHolder) {
  Bench bench;
  const uint16_t holder = bench.application;
  const uint16_t other = bench.unit.join();
  const Values led = {{"peripheral_address", address_of("led_0001")}};
  const auto as = [&](uint16_t application, std::string_view service, std::string_view command, const Values& inputs,
                      std::optional<uint16_t> address = {}) {
    bench.application = application;
    return bench.ask(service, command, inputs, address);
  };
  EXPECT_EQ(as(holder, "router_0000", "reserve", led).error, 0);
  EXPECT_EQ(as(holder, "router_0000", "reserve", led).error, 0);
  for (const auto& [service, command, inputs] : {std::tuple{"led_0001", "get_state", Values{}},
                                                 {"common", "reset", Values{}},
                                                 {"router_0000", "reserve", led},
                                                 {"router_0000", "release", led}}) {
    const bool router = std::string_view(service) == "router_0000";
    const Received refused = as(other, service, command, inputs, router ? uint16_t{0} : address_of("led_0001"));
    EXPECT_EQ(refused.error, ROVK_COMMON_ERROR_RESERVATION_EXISTS) << command;
    EXPECT_EQ(catalogue::load(refused.detail.data(), 2), holder) << command;
  }
  EXPECT_EQ(as(other, "common", "get_peripheral_info", {}, address_of("led_0001")).error, 0);
  EXPECT_EQ(as(holder, "led_0001", "get_state", {}).error, 0);
  EXPECT_EQ(as(holder, "router_0000", "release", led).error, 0);
  EXPECT_EQ(as(other, "led_0001", "get_state", {}).error, 0);
  // Who leaves, leaves his reservations.
  EXPECT_EQ(as(other, "router_0000", "reserve", led).error, 0);
  bench.unit.leave(other);
  EXPECT_EQ(as(holder, "led_0001", "get_state", {}).error, 0);
  EXPECT_EQ(as(holder, "router_0000", "reserve", {{"peripheral_address", 0}}).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST(Router, SwitchesKnownTransportsAndStaysReachable) {
  Bench bench;
  for (const int64_t transport :
       {ROVK_ROUTER_TRANSPORT_IPC, ROVK_ROUTER_TRANSPORT_SPI, ROVK_ROUTER_TRANSPORT_POSIX_MESSAGE_QUEUE}) {
    const Values off = {{"enabled", 0}, {"transport", transport}};
    EXPECT_EQ(bench.ask("router_0000", "enable_transport", off).error, 0);
  }
  const Received unknown = bench.ask("router_0000", "enable_transport", {{"enabled", 1}, {"transport", 3}});
  EXPECT_EQ(unknown.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
  EXPECT_EQ(unknown.detail[0], 2);
  EXPECT_EQ(bench.ask("router_0000", "tcp").error, 0);
}

}  // namespace
}  // namespace rovk::unit
