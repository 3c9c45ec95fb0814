// Lookups against what the unit itself says.
#include <cerrno>
#include <map>

#include "session.h"

namespace {

uint32_t device_at(void* context, const rovk_device_address& device) {
  uint32_t id = 0;
  EXPECT_EQ(0, rovktrans_common_get_peripheral_device_id(context, device.address, nullptr, device.index, &id));
  return id;
}

}  // namespace

TEST(Discovery, FindsEveryPeripheralAndDevice) {
  const Session session;
  EXPECT_EQ(ROVK_ROUTER_PERIPHERAL_ADDRESS, session.find(ROVK_ROUTER_0000_PERIPHERAL_ID));
  uint16_t count = 0;
  ASSERT_EQ(0, rovktrans_router_0000_get_count(session.handle, 0, nullptr, &count));
  EXPECT_GE(count, 49);
  std::map<uint16_t, uint16_t> first;  // address by id
  for (uint16_t route = 0; route < count; ++route) {
    uint16_t address = 0, id = 0;
    uint8_t devices = 0;
    ASSERT_EQ(0, rovktrans_router_0000_get_route(session.handle, 0, nullptr, route, &address, nullptr));
    ASSERT_EQ(0, rovktrans_common_get_peripheral_info(session.handle, address, nullptr, &id, nullptr, nullptr, nullptr,
                                                      nullptr, nullptr, &devices, nullptr));
    first.try_emplace(id, address);
    for (uint8_t index = 0; index < devices; ++index) {
      const uint32_t device_id = device_at(session.handle, {address, index});
      const rovk_device_address* const found = rovktrans_find_device(session.handle, id, device_id);
      ASSERT_NE(nullptr, found) << id << " " << device_id;
      EXPECT_EQ(device_id, device_at(session.handle, *found));
    }
  }
  for (const auto& [id, address] : first) EXPECT_EQ(address, session.find(id));
}

TEST(Discovery, ResultsOutliveContextsAndAreWhatTheUnitSaid) {
  const auto both = [](const Session& session) {
    return std::pair(rovktrans_find_peripheral(session.handle, ROVK_LED_0001_PERIPHERAL_ID),
                     rovktrans_find_device(session.handle, ROVK_LED_0001_PERIPHERAL_ID,
                                           ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED));
  };
  const auto found = both(Session());
  ASSERT_NE(nullptr, found.second);
  const uint16_t address = *found.first;
  const uint8_t index = found.second->index;
  EXPECT_EQ(address, found.second->address);
  // What a program writes there is gone with the next look-up.
  *found.first = found.second->address = 0x4321;
  found.second->index = 99;
  EXPECT_EQ(found, both(Session()));
  EXPECT_TRUE(*found.first == address && found.second->address == address && found.second->index == index);
}

// Fifty peripherals and more, and the devices of each: asked one after another they would take seconds.
TEST(Discovery, FirstSearchTakesTheTimeOfAFewAnswers) {
  const Session session("latency_ms=20");
  EXPECT_NE(nullptr, rovktrans_find_device(session.handle, ROVK_LED_0001_PERIPHERAL_ID,
                                           ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED));
  EXPECT_LE(session.now_ms(), 4 * 20U);
}

TEST(Discovery, AsksOnceAndAsksAgainAfterAFailure) {
  const Session session("latency_ms=1&timeout_ms=100");
  session.disturb("lose", 1);
  EXPECT_EQ(nullptr, rovktrans_find_peripheral(session.handle, ROVK_LED_0001_PERIPHERAL_ID));
  const uint64_t start = session.now_ms();
  EXPECT_NE(nullptr, rovktrans_find_peripheral(session.handle, ROVK_LED_0001_PERIPHERAL_ID));
  const uint64_t learnt = session.now_ms();
  EXPECT_GT(learnt, start);
  EXPECT_NE(nullptr, rovktrans_find_peripheral(session.handle, ROVK_LED_0001_PERIPHERAL_ID));
  EXPECT_EQ(learnt, session.now_ms());
  const Session silent;
  silent.disturb("lose", 1000);
  EXPECT_EQ(nullptr, rovktrans_find_peripheral(silent.handle, ROVK_ROUTER_0000_PERIPHERAL_ID));
}

TEST(Discovery, PassesOverWhatIsNotThere) {
  const Session session;
  ASSERT_EQ(0, rovktrans_router_0000_add_route(session.handle, 0, nullptr, 0x4321, 0));
  EXPECT_EQ(unittest, session.find(ROVK_UNITTEST_FFFF_PERIPHERAL_ID));
  EXPECT_EQ(nullptr, rovktrans_find_device(session.handle, 0x1234, 1));
  EXPECT_EQ(nullptr, rovktrans_find_device(session.handle, ROVK_LED_0001_PERIPHERAL_ID, 0xffffffff));
  EXPECT_EQ(nullptr, rovktrans_find_peripheral(session.handle, 0x1234));
}
