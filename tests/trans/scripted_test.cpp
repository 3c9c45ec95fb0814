// What goes out byte by byte, and what no sound unit sends.
#include <endian.h>
#include <gtest/gtest.h>
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "scripted_transport.h"
#include "trans/transaction.h"

namespace {

constexpr uint16_t address = 0x1234;

uint8_t* bytes_of(rovk_message& message) { return reinterpret_cast<uint8_t*>(&message); }

class Scripted : public testing::Test {
 protected:
  void SetUp() override {
    scripted = {};
    ASSERT_EQ(0, rovktrans_init("anything?timeout_ms=100", nullptr, &context_));
  }
  void TearDown() override {
    if (context_) {
      EXPECT_EQ(0, rovktrans_deinit(context_));
    }
  }
  // An answer to add_one, changed by `change`, then an undisturbed one when `good_one_follows`.
  static void answer(void (*change)(uint8_t* bytes), bool good_one_follows) {
    scripted.on_send = [=](const rovk_message& command) {
      rovk_message good = command;
      uint8_t* const bytes = bytes_of(good);
      bytes[8] = ROVK_TYPE_RESPONSE;
      std::memset(bytes + 9, 0, 23);
      bytes[10] = 99;
      rovk_message changed = good;
      change(bytes_of(changed));
      scripted.inbox.push_back(changed);
      if (good_one_follows) scripted.inbox.push_back(good);
    };
  }
  void* context_ = nullptr;
};

}  // namespace

TEST_F(Scripted, CommandByteByByte) {
  answer([](uint8_t*) {}, false);
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one(context_, address, nullptr, 0x5a, nullptr));
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_to_types(context_, address, nullptr, -1, 2, -3, 0x0405, -6, 0x0708090a,
                                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
  ASSERT_EQ(2U, scripted.sent.size());
  const uint8_t first[32] = {0x0b, 0x0a, 0x34, 0x12, 0x01, 0x00, 0x00, 0x20, 1, 0x20, 0x5a};
  EXPECT_EQ(0, std::memcmp(first, bytes_of(scripted.sent[0]), 32));
  const uint8_t second[32] = {0x0b, 0x0a, 0x34, 0x12, 0x02, 0x00, 0x00, 0x27, 1,    0x27, 0xff, 0x02,
                              0xfd, 0xff, 0x05, 0x04, 0xfa, 0xff, 0xff, 0xff, 0x0a, 0x09, 0x08, 0x07};
  EXPECT_EQ(0, std::memcmp(second, bytes_of(scripted.sent[1]), 32));
}

TEST_F(Scripted, AnswersWithAddressesByteByByte) {
  answer([](uint8_t* bytes) { bytes[30] = 0x0a, bytes[31] = 0xff; }, false);
  uint16_t last = 0;
  ASSERT_EQ(0, rovktrans_common_get_aliases_async(
                   context_, address,
                   [](void*, uint16_t, rovk_error_common_error*, uint16_t, uint16_t* alias, void* user) {
                     *static_cast<uint16_t*>(user) = alias[9];
                   },
                   &last));
  EXPECT_EQ(1, rovktrans_dispatch(context_, 0));
  EXPECT_EQ(0xff0a, last);
}

TEST_F(Scripted, AnswersThatAreNotTaken) {
  const struct {
    const char* what;
    void (*change)(uint8_t*);
  } cases[] = {
      {"another application", [](uint8_t* bytes) { bytes[0] ^= 1; }},
      {"no application", [](uint8_t* bytes) { bytes[0] = bytes[1] = 0; }},
      {"another peripheral", [](uint8_t* bytes) { bytes[3] ^= 1; }},
      {"another transaction", [](uint8_t* bytes) { bytes[4] ^= 8; }},
      {"another opcode", [](uint8_t* bytes) { bytes[7] ^= 1; }},
      {"no kind", [](uint8_t* bytes) { bytes[8] = 0; }},
      {"a command", [](uint8_t* bytes) { bytes[8] = ROVK_TYPE_COMMAND; }},
      {"an event", [](uint8_t* bytes) { bytes[8] = ROVK_TYPE_EVENT; }},
      {"unknown error byte", [](uint8_t* bytes) { bytes[9] = 2; }},
  };
  const auto count = [](void*, uint16_t, rovk_error_unittest_ffff_error* error, uint8_t output, void* user) {
    if (!error && output == 99) ++*static_cast<int*>(user);
  };
  for (const auto& [what, change] : cases) {
    SCOPED_TRACE(what);
    uint8_t output = 0;
    answer(change, true);
    EXPECT_EQ(0, rovktrans_unittest_ffff_add_one(context_, address, nullptr, 1, &output));
    EXPECT_EQ(99, output);
    answer(change, false);
    EXPECT_EQ(-ETIMEDOUT, rovktrans_unittest_ffff_add_one(context_, address, nullptr, 1, &output));
    int good = 0;
    answer(change, true);
    EXPECT_EQ(0, rovktrans_unittest_ffff_add_one_async(context_, address, count, &good, 1));
    EXPECT_EQ(1, rovktrans_dispatch(context_, -1));
    EXPECT_EQ(-ENODATA, rovktrans_dispatch(context_, -1));
    EXPECT_EQ(1, good);
  }
}

TEST_F(Scripted, ErrorAnswerWithoutErrorId) {
  answer([](uint8_t* bytes) { bytes[9] = ROVK_RESPONSE_ERROR_INFO; }, false);
  rovk_error_unittest_ffff_error* error = nullptr;
  EXPECT_EQ(-ENODATA, rovktrans_unittest_ffff_add_one(context_, address, &error, 1, nullptr));
  ASSERT_NE(nullptr, error);
  EXPECT_EQ(0, le16toh(error->id));
  EXPECT_EQ(99, le16toh(error->error_peripheral_address));
  std::free(error);
}

TEST_F(Scripted, FailuresBelow) {
  int calls = 0;
  const auto count = [](void*, uint16_t, rovk_error_unittest_ffff_error*, uint8_t, void* user) {
    ++*static_cast<int*>(user);
  };
  scripted.send_status = -EPIPE;
  EXPECT_EQ(-EPIPE, rovktrans_unittest_ffff_add_one(context_, address, nullptr, 1, nullptr));
  EXPECT_EQ(-EPIPE, rovktrans_unittest_ffff_add_one_async(context_, address, count, &calls, 1));
  scripted.send_status = 0;
  EXPECT_EQ(0, rovktrans_unittest_ffff_add_one_async(context_, address, count, &calls, 1));
  scripted.receive_status = -EIO;
  EXPECT_EQ(-EIO, rovktrans_unittest_ffff_add_one(context_, address, nullptr, 1, nullptr));
  EXPECT_EQ(-EIO, rovktrans_dispatch(context_, -1));
  EXPECT_EQ(-EIO, rovktrans_dispatch(context_, 0));
  EXPECT_EQ(0, calls);
  EXPECT_EQ(0, rovktrans_deinit(context_));
  EXPECT_EQ(1, calls);
  context_ = nullptr;

  scripted.open_status = -ENODEV;
  void* none = &calls;
  EXPECT_EQ(-ENODEV, rovktrans_init("anything", nullptr, &none));
  EXPECT_EQ(nullptr, none);
}

// A callback that always issues the next command, with its answer there at once, takes no blocking
// call beyond its time.
TEST_F(Scripted, CallsEndInTimeAmongBusyCallbacks) {
  struct Chain {
    void* context;
    int calls = 0;
    static void run(void*, uint16_t, rovk_error_unittest_ffff_error* error, uint8_t, void* user) {
      auto* const chain = static_cast<Chain*>(user);
      ++chain->calls;
      scripted.now_ns += 1'000'000;
      if (chain->calls == 200) scripted.receive_status = -EIO;
      if (!error) rovktrans_unittest_ffff_add_one_async(chain->context, address, run, user, 1);
    }
  } chain = {context_};
  answer([](uint8_t*) {}, false);
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async(context_, address, Chain::run, &chain, 1));
  const auto answering = scripted.on_send;
  scripted.on_send = [&](const rovk_message& command) {
    if (command.cre.c.opcode == ROVK_UNITTEST_FFFF_COMMAND_ADD_ONE) answering(command);
  };
  EXPECT_EQ(-ETIMEDOUT, rovktrans_unittest_ffff_fail(context_, address, nullptr, 1));
  EXPECT_EQ(100, chain.calls);
  EXPECT_EQ(-EIO, rovktrans_unittest_ffff_fail(context_, address, nullptr, 1)) << "what fails at its end is told";
  EXPECT_EQ(200, chain.calls);
  EXPECT_EQ(0, rovktrans_deinit(context_));
  EXPECT_EQ(201, chain.calls);
  context_ = nullptr;
}

// A unit of four routes, the last of which leads to three devices. Question i of a list is refused i times.
TEST_F(Scripted, LookupsAskAgainWhatWasRefused) {
  constexpr uint16_t refusals[] = {0, ROVK_COMMON_ERROR_NO_RESOURCES, ROVK_COMMON_ERROR_BUSY,
                                   ROVK_COMMON_ERROR_ALREADY_QUEUED};
  std::map<std::pair<uint16_t, unsigned>, unsigned> asked;  // by address, and opcode and index
  bool is_faulty = true;
  scripted.on_send = [&](const rovk_message& command) {
    rovk_message answer = command;
    uint8_t* const bytes = bytes_of(answer);
    const unsigned opcode = bytes[7], index = bytes[10];
    const uint16_t at = static_cast<uint16_t>(bytes[2] | bytes[3] << 8);
    const unsigned turn = asked[{at, opcode << 8 | index}]++;
    bytes[8] = ROVK_TYPE_RESPONSE;
    std::memset(bytes + 9, 0, 23);
    const bool is_list =
        opcode == ROVK_ROUTER_0000_COMMAND_GET_ROUTE || opcode == ROVK_COMMON_COMMAND_GET_PERIPHERAL_DEVICE_ID;
    if (is_list && turn < index) {
      bytes[9] = ROVK_RESPONSE_ERROR_INFO;
      bytes[12] = static_cast<uint8_t>(refusals[index]);
    } else if (opcode == ROVK_ROUTER_0000_COMMAND_GET_COUNT) {
      bytes[10] = 4;
    } else if (opcode == ROVK_ROUTER_0000_COMMAND_GET_ROUTE) {
      bytes[10] = static_cast<uint8_t>(index);
    } else if (opcode == ROVK_COMMON_COMMAND_GET_PERIPHERAL_INFO) {
      bytes[10] = static_cast<uint8_t>(0x40 + at);
      bytes[21] = at == 3 ? 3 : 0;
    } else if (index == 1 && is_faulty) {
      bytes[9] = ROVK_RESPONSE_ERROR_INFO;
      bytes[12] = 99;
    } else {
      bytes[12] = static_cast<uint8_t>(index + 1);
    }
    scripted.inbox.push_back(answer);
  };
  for (const uint16_t at : {uint16_t{3}, uint16_t{2}, uint16_t{1}, uint16_t{0}}) {
    const uint16_t* const found = rovktrans_find_peripheral(context_, static_cast<uint16_t>(0x40 + at));
    ASSERT_NE(nullptr, found) << at;
    EXPECT_EQ(at, *found);
    EXPECT_EQ(1U, (asked[{at, 0}])) << "the router lists itself, and nobody is asked twice";
  }
  EXPECT_EQ(nullptr, rovktrans_find_device(context_, 0x43, 3)) << "the second of three is not told";
  is_faulty = false;
  const rovk_device_address* const device = rovktrans_find_device(context_, 0x43, 3);
  ASSERT_NE(nullptr, device);
  EXPECT_EQ(2, device->index);
}

// Transaction numbers have 24 bits; one that is still in use is passed over when they come round.
TEST(Transactions, NumbersComeRound) {
  rovk::trans::Transactions transactions;
  const auto number = [&] { return transactions.next_uuid(0x20).value() & 0xffffff; };
  ASSERT_EQ(1U, number());
  ASSERT_EQ(2U, number());
  transactions.add(
      {.uuid = 0x20000001, .address = address, .deadline_ns = 1, .command = nullptr, .callback = {}, .user = nullptr});
  rovk::trans::Wait wait = {.uuid = 0x21000002, .address = address, .deadline_ns = 1};
  transactions.enter(wait);
  while (number() != 0xffffff) {
  }
  EXPECT_EQ(3U, number());
  EXPECT_EQ(0x1fU, *transactions.next_uuid(0x1f) >> 24);
}
