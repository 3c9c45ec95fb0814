// Blocking commands: values of every kind there and back, errors, and answers that go astray.
#include <algorithm>
#include <cerrno>
#include <numeric>

#include "session.h"

TEST(Command, CarriesArraysAndVersions) {
  const Session session;
  uint8_t sent[22];
  std::iota(std::begin(sent), std::end(sent), uint8_t{7});
  uint8_t* bytes = nullptr;
  ASSERT_EQ(0, rovktrans_common_echo(session.handle, unittest, nullptr, sent, &bytes));
  const Heap<uint8_t> freed_bytes(bytes);
  ASSERT_NE(nullptr, bytes);
  EXPECT_TRUE(std::equal(std::begin(sent), std::end(sent), bytes));

  uint16_t count = 99;
  uint16_t* aliases = nullptr;
  ASSERT_EQ(0, rovktrans_common_get_aliases(session.handle, unittest, nullptr, &count, &aliases));
  const Heap<uint16_t> freed_aliases(aliases);
  ASSERT_NE(nullptr, aliases);
  EXPECT_LE(count, ROVK_MAX_ALIASES);
  EXPECT_TRUE(std::all_of(aliases + count, aliases + ROVK_MAX_ALIASES, [](uint16_t alias) { return alias == 0; }));

  rovk_version api = {}, protocol = {};
  uint16_t id = 0;
  ASSERT_EQ(0, rovktrans_common_get_peripheral_info(session.handle, unittest, nullptr, &id, &api, nullptr, &protocol,
                                                    nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(ROVK_UNITTEST_FFFF_PERIPHERAL_ID, id);
  EXPECT_EQ(ROVK_UNITTEST_FFFF_API_VERSION_MINOR, api.minor);
  EXPECT_EQ(ROVK_PROTOCOL_VERSION_MINOR, protocol.minor);
}

TEST(Command, ToleratesNullOutputsButNoNullArray) {
  const Session session;
  EXPECT_EQ(0, rovktrans_unittest_ffff_add_one(session.handle, unittest, nullptr, 1, nullptr));
  const uint8_t bytes[22] = {};
  EXPECT_EQ(0, rovktrans_common_echo(session.handle, unittest, nullptr, bytes, nullptr));
  uint8_t stale = 0;
  uint8_t* output = &stale;
  EXPECT_EQ(-EINVAL, rovktrans_common_echo(session.handle, unittest, nullptr, nullptr, &output));
  EXPECT_EQ(nullptr, output);
  EXPECT_EQ(-EINVAL, rovktrans_common_echo_async(session.handle, unittest, nullptr, nullptr, nullptr));
}

TEST(Command, GivesErrorsOfThePeripheral) {
  const Session session;
  const struct {
    uint16_t address;
    uint8_t code;
    int32_t status;
    uint8_t detail;
  } cases[] = {
      {unittest, 0, 0, 0},
      {unittest, ROVK_COMMON_ERROR_FAULT_EXISTS, ROVK_COMMON_ERROR_FAULT_EXISTS, 2},
      {unittest, ROVK_UNITTEST_FFFF_ERROR_UNIT_TEST_WITH_VALUE, ROVK_UNITTEST_FFFF_ERROR_UNIT_TEST_WITH_VALUE, 33},
      {0x7777, 1, ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL, 0},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.status);
    rovk_error_unittest_ffff_error* error = nullptr;
    EXPECT_EQ(item.status, rovktrans_unittest_ffff_fail(session.handle, item.address, &error, item.code));
    const Heap<rovk_error_unittest_ffff_error> freed(error);
    ASSERT_EQ(item.status != 0, error != nullptr);
    if (!error) continue;
    EXPECT_EQ(item.status, le16toh(error->id));
    EXPECT_EQ(item.address == unittest ? unittest : ROVK_ROUTER_PERIPHERAL_ADDRESS,
              le16toh(error->error_peripheral_address));
    EXPECT_EQ(item.detail, error->data.payload[0]);
  }
}

// What one disturbed answer does to the command that waits for it, and to the next one.
TEST(Command, SurvivesAnswersThatGoAstray) {
  const struct {
    const char* what;
    uint32_t value;
    int32_t status;
    uint64_t duration_ms;
  } cases[] = {
      {"lose", 0, -ETIMEDOUT, 100},      {"duplicate", 0, 0, 0},           {"delay", 99, 0, 99},
      {"delay", 101, -ETIMEDOUT, 100},   {"delay", 5000, -ETIMEDOUT, 100}, {"corrupt", 0, -ETIMEDOUT, 100},
      {"misdirect", 0, -ETIMEDOUT, 100},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.what);
    const Session session;
    session.disturb(item.what, 1, item.value);
    uint8_t output = 77;
    rovk_error_unittest_ffff_error* error = nullptr;
    EXPECT_EQ(item.status, rovktrans_unittest_ffff_add_one(session.handle, unittest, &error, 1, &output));
    const Heap<rovk_error_unittest_ffff_error> freed(error);
    EXPECT_EQ(item.duration_ms, session.now_ms());
    if (item.status == 0) {
      EXPECT_EQ(2, output);
      EXPECT_EQ(nullptr, error);
    } else {
      EXPECT_EQ(77, output);
      ASSERT_NE(nullptr, error);
      EXPECT_EQ(ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, le16toh(error->id));
      EXPECT_EQ(unittest, le16toh(error->error_peripheral_address));
      EXPECT_EQ(ROVKTRANS_FAILURE_TIME_OUT, error->data.payload[0]);
    }
    EXPECT_EQ(0, rovk_unit_advance(session.handle, 10000 * millisecond));
    for (uint8_t input = 10; input < 14; ++input) {
      EXPECT_EQ(0, add_one(session.handle, input, &output));
      EXPECT_EQ(input + 1, output);
    }
    EXPECT_EQ(0, rovktrans_dispatch(session.handle, 0));
  }
}

TEST(Command, WaitsForTheRealClock) {
  const Session session("latency_ms=30&timeout_ms=500", "real");
  uint64_t before = 0, after = 0;
  rovk_unit_now(session.handle, &before);
  EXPECT_EQ(0, add_one(session.handle, 1));
  rovk_unit_now(session.handle, &after);
  EXPECT_GE(after - before, 30 * millisecond);
  EXPECT_LT(after - before, 400 * millisecond);
  session.disturb("lose", 1);
  EXPECT_EQ(-ETIMEDOUT, add_one(session.handle, 1));
}
