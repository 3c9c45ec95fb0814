// What goes out byte by byte, and what no sound unit sends.
#include <gtest/gtest.h>
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

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
  EXPECT_EQ(0, error->id);
  EXPECT_EQ(99, error->error_peripheral_address);
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
  EXPECT_EQ(0, rovktrans_deinit(context_));
  EXPECT_EQ(101, chain.calls);
  context_ = nullptr;
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
