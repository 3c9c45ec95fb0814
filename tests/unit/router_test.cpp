#include <set>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

using Router = UnitTest;

TEST_F(Router, ListsEveryPeripheral) {
  std::set<uint16_t> addresses;
  const int64_t count = get("router_0000", "get_count");
  for (int64_t i = 0; i < count; ++i) {
    const Received route = ask("router_0000", "get_route", {{"index", i}});
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
    EXPECT_EQ(ask("common", "get_peripheral_info", {}, address).error, 0) << address;
  }
  const Received beyond = ask("router_0000", "get_route", {{"index", count}});
  EXPECT_EQ(beyond.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST_F(Router, TakesARouteOnce) {
  const int64_t count = get("router_0000", "get_count");
  // A second route to the same peripheral, one to the unit's own, and one by way of nobody.
  play(R"(router_0000 add_route peripheral_address=0x4001 routing_peripheral_address=0x0106;
          add_route peripheral_address=0x4001 ! invalid_payload 0;
          add_route peripheral_address=0x0101 ! invalid_payload 0;
          add_route peripheral_address=0x4002 routing_peripheral_address=0x7777 ! invalid_payload 2;)");
  EXPECT_EQ(get("router_0000", "get_count"), count + 1);
  EXPECT_EQ(ask("router_0000", "get_route", {{"index", count}})["routing_peripheral_address"], 0x0106);
  // The route is there, but nobody at its end.
  const Received answer = ask("common", "get_fault", {}, 0x4001);
  EXPECT_EQ(answer.error, ROVK_COMMON_ERROR_COMMUNICATION_FAILURE);
  EXPECT_EQ(answer.error_peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  play("common@router_0000 reset; router_0000 get_count -> " + std::to_string(count));
}

TEST_F(Router, SendsEventsToWhomTheyAreRegistered) {
  const uint16_t other = unit.join();
  play("listen button_0002; input button 0 1; input switch_contact 0 1; events 1;");
  EXPECT_TRUE(unit.inbox(other).empty());
  // Registering twice is registering once.
  play(R"(listen button_0002; input button 0 0; events 1; router_0000 unregister_event peripheral_address=0x0102;
          input button 0 1; events 0; register_event peripheral_address=0x7777 ! unknown_peripheral;)");
}

TEST_F(Router, KeepsAReservedPeripheralForItsHolder) {
  const uint16_t holder = application;
  const uint16_t other = unit.join();
  const Values led = {{"peripheral_address", address_of("led_0001")}};
  const auto as = [this](uint16_t who, std::string_view service, std::string_view command, const Values& inputs,
                         std::optional<uint16_t> address = {}) {
    application = who;
    return ask(service, command, inputs, address);
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
  unit.leave(other);
  EXPECT_EQ(as(holder, "led_0001", "get_state", {}).error, 0);
  EXPECT_EQ(as(holder, "router_0000", "reserve", {{"peripheral_address", 0}}).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST_F(Router, SwitchesKnownTransportsAndStaysReachable) {
  for (const int64_t transport :
       {ROVK_ROUTER_TRANSPORT_IPC, ROVK_ROUTER_TRANSPORT_SPI, ROVK_ROUTER_TRANSPORT_POSIX_MESSAGE_QUEUE}) {
    play("router_0000 enable_transport transport=" + std::to_string(transport));
  }
  play("router_0000 enable_transport enabled=1 transport=3 ! invalid_payload 2; tcp;");
}

}  // namespace
}  // namespace rovk::unit
