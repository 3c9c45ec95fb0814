// Subscriptions: who is called, how often, and who is not any more; and what goes to the log by itself.
#include <syslog.h>

#include <cerrno>
#include <utility>

#include "session.h"
#include "tests/syslog_here.h"

std::vector<std::string> lines;

void take_line(int priority, const char* text) { lines.push_back(std::to_string(priority) + " " + text); }

namespace {

void hear_too(void* context, uint16_t address, uint16_t type, void* user) { hear(context, address, type, user); }

using Callback = rovktrans_common_reset_occurred_callback;

int32_t unsubscribe(const Session& session, Listener& listener, uint16_t address = unittest, Callback callback = hear) {
  return rovktrans_common_reset_occurred_unregister_callback_with_context(session.handle, address, callback, &listener);
}
int32_t raise(const Session& session, uint16_t type, uint16_t address = unittest) {
  EXPECT_EQ(0, rovk_unit_reset(session.handle, address, type));
  return rovktrans_dispatch(session.handle, 0);
}

}  // namespace

TEST(Subscription, CallsForEachEventUntilRemoved) {
  const Session session;
  Listener listener;
  EXPECT_EQ(0, raise(session, 1)) << "nobody listens";
  ASSERT_EQ(0, subscribe(session, listener));
  EXPECT_EQ(1, raise(session, 2));
  EXPECT_EQ(1, raise(session, 3));
  EXPECT_EQ(0, raise(session, 4, 0)) << "of another peripheral";
  EXPECT_EQ(0, rovk_unit_spontaneous_error(session.handle, unittest, 1, nullptr));
  EXPECT_EQ(0, rovktrans_dispatch(session.handle, 0)) << "another event";
  EXPECT_EQ(0, unsubscribe(session, listener));
  EXPECT_EQ(0, raise(session, 5));
  ASSERT_EQ(0, subscribe(session, listener));
  session.disturb("lose", 1);
  EXPECT_EQ(-ETIMEDOUT, unsubscribe(session, listener)) << "gone, whatever the router says";
  EXPECT_EQ(0, raise(session, 6));
  EXPECT_EQ((std::vector<unsigned>{2, 3}), listener.types);
}

TEST(Subscription, GivesArrays) {
  const Session session;
  Listener listener;
  ASSERT_EQ(0, rovktrans_common_spontaneous_error_register_callback(
                   session.handle, unittest,
                   [](void*, uint16_t address, uint16_t reporter, uint16_t id, uint8_t* payload, void* user) {
                     EXPECT_TRUE(address == unittest && reporter == unittest && payload[0] == 1 && payload[17] == 18);
                     static_cast<Listener*>(user)->types.push_back(id);
                   },
                   &listener));
  const uint8_t payload[18] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
  ASSERT_EQ(0, rovk_unit_spontaneous_error(session.handle, unittest, 0x0102, payload));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_EQ((std::vector<unsigned>{0x0102}), listener.types);
}

TEST(Subscription, IsRefused) {
  const Session session;
  Listener listener;
  EXPECT_EQ(ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL, subscribe(session, listener, 0x7777));
  EXPECT_EQ(-ENOENT, unsubscribe(session, listener, 0x7777));
  EXPECT_EQ(-EINVAL, subscribe(session, listener, unittest, nullptr));
  EXPECT_EQ(-EINVAL, unsubscribe(session, listener, unittest, nullptr));
  EXPECT_EQ(-ENOENT, unsubscribe(session, listener));
  session.disturb("lose", 1);
  EXPECT_EQ(-ETIMEDOUT, subscribe(session, listener));
  EXPECT_EQ(0, raise(session, 1));
  ASSERT_EQ(0, subscribe(session, listener));
  EXPECT_EQ(-ENOENT, unsubscribe(session, listener, unittest, hear_too));
  EXPECT_EQ(-ENOENT, unsubscribe(session, listener, 0));
  EXPECT_EQ(1, raise(session, 1));
}

TEST(Subscription, PairMayBeRegisteredMoreThanOnce) {
  const Session session("latency_ms=5&timeout_ms=100");
  Listener twice, once;
  ASSERT_EQ(0, subscribe(session, twice));
  const uint64_t asked = session.now_ms();
  ASSERT_EQ(0, subscribe(session, once));
  ASSERT_EQ(0, subscribe(session, twice));
  EXPECT_EQ(asked, session.now_ms()) << "the router is told once";
  EXPECT_EQ(3, raise(session, 1));
  EXPECT_EQ(0, rovk_unit_reset(session.handle, unittest, 2));  // on its way, it dies with the subscription
  EXPECT_EQ(0, unsubscribe(session, twice));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_EQ(-ENOENT, unsubscribe(session, twice));
  EXPECT_EQ((std::vector<unsigned>{1, 1}), twice.types);
  EXPECT_EQ((std::vector<unsigned>{1, 2}), once.types);
}

TEST(Subscription, RemovalWithoutUserTakesAllOfTheCallback) {
  const Session session;
  Listener a, b, other, elsewhere;
  ASSERT_EQ(0, subscribe(session, a));
  ASSERT_EQ(0, subscribe(session, b));
  ASSERT_EQ(0, subscribe(session, other, unittest, hear_too));
  ASSERT_EQ(0, subscribe(session, elsewhere, 0));
  EXPECT_EQ(0, rovktrans_common_reset_occurred_unregister_callback(session.handle, unittest, hear));
  EXPECT_EQ(-ENOENT, rovktrans_common_reset_occurred_unregister_callback(session.handle, unittest, hear));
  EXPECT_EQ(1, raise(session, 1));
  EXPECT_EQ(1, raise(session, 1, 0));
  EXPECT_EQ(0U, a.types.size() + b.types.size());
  EXPECT_EQ(2U, other.types.size() + elsewhere.types.size());
}

// What a callback does to the list that is being walked.
TEST(Subscription, ChangesDuringDelivery) {
  const Session session;
  Listener first, second, third, fresh;
  first.run = [&] {
    EXPECT_EQ(0, unsubscribe(session, first));
    EXPECT_EQ(0, unsubscribe(session, second));
    EXPECT_EQ(-ENOENT, unsubscribe(session, second)) << "gone, though the list still holds its place";
    for (int i = 0; i < 20; ++i) EXPECT_EQ(0, subscribe(session, fresh));
    // Comes after this delivery, whoever receives it.
    EXPECT_EQ(0, rovk_unit_reset(session.handle, unittest, 2));
    EXPECT_EQ(0, add_one(session.handle, 1));
  };
  for (Listener* listener : {&first, &second, &third}) ASSERT_EQ(0, subscribe(session, *listener));
  EXPECT_EQ(2, raise(session, 1));
  EXPECT_EQ((std::vector<unsigned>{1}), first.types);
  EXPECT_EQ((std::vector<unsigned>{}), second.types);
  EXPECT_EQ((std::vector<unsigned>{1}), third.types);
  EXPECT_EQ(42, raise(session, 3));
  EXPECT_EQ((std::vector<unsigned>{1, 2, 3}), third.types);
  EXPECT_EQ(40U, fresh.types.size());
}

// Who does not take events keeps the newest of them, and all answers, on whichever side they wait.
TEST(Subscription, OldEventsGiveWay) {
  for (const bool received : {false, true}) {
    const Session session;
    Listener listener;
    Answers answers;
    bool flooded = false;
    const auto flood = [&] {
      if (std::exchange(flooded, true)) return;
      EXPECT_EQ(0, add_one_async(session, answers, 1));
      for (unsigned type = 0; type < 5000; ++type) {
        EXPECT_EQ(0, rovk_unit_reset(session.handle, unittest, static_cast<uint16_t>(type)));
        if (received) add_one(session.handle, 1);
      }
    };
    ASSERT_EQ(0, subscribe(session, listener));
    lines.clear();
    if (received) {
      listener.run = flood;
      EXPECT_EQ(1, raise(session, 9));
    } else {
      flood();
    }
    listener.types.clear();
    listener.run = [&] { EXPECT_EQ(1U, answers.size()) << "it came before the events"; };
    EXPECT_EQ(4097, rovktrans_dispatch(session.handle, 0));
    EXPECT_EQ(4096U, listener.types.size());
    EXPECT_TRUE(listener.types.front() == 5000 - 4096 && listener.types.back() == 4999);
    EXPECT_EQ(1U, answers.size());
    ASSERT_EQ(1U, lines.size()) << "one line, however many are lost";
    EXPECT_NE(std::string::npos, lines[0].find("4 rovktrans: ")) << lines[0];
    EXPECT_NE(std::string::npos, lines[0].find(" events lost so far")) << lines[0];
    EXPECT_EQ(0, rovktrans_deinit(session.handle));
    EXPECT_NE(std::string::npos, lines.back().find(" and 904 old events")) << lines.back();
  }
}

TEST(Subscription, ContextClosedDuringDelivery) {
  const Session session;
  Listener first, second;
  first.run = [&] { EXPECT_EQ(0, rovktrans_deinit(session.handle)); };
  ASSERT_EQ(0, subscribe(session, first));
  ASSERT_EQ(0, subscribe(session, second));
  EXPECT_EQ(1, raise(session, 1));
  EXPECT_TRUE(second.types.empty());
}

TEST(Subscription, DefaultCallbacksLogAndAreNotCounted) {
  const Session session;
  lines.clear();
  Listener listener;
  EXPECT_EQ(0, rovktrans_common_register_default_callbacks(session.handle, unittest));
  EXPECT_EQ(0, rovktrans_common_register_default_callbacks(session.handle, unittest));
  EXPECT_EQ(0, rovktrans_led_0001_register_default_callbacks(session.handle, unittest)) << "has no events";
  EXPECT_EQ(ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL, rovktrans_common_register_default_callbacks(session.handle, 0x7777));
  EXPECT_EQ(0, raise(session, 1));
  ASSERT_EQ(0, subscribe(session, listener));
  EXPECT_EQ(1, raise(session, 2));
  EXPECT_EQ(0, unsubscribe(session, listener));
  EXPECT_EQ(0, raise(session, 3));
  EXPECT_EQ((std::vector<std::string>{"6 common reset_occurred at address 65535: type 1",
                                      "6 common reset_occurred at address 65535: type 2",
                                      "6 common reset_occurred at address 65535: type 3"}),
            lines);
  // Arrays are logged as bytes, reserved fields not at all.
  const uint8_t payload[18] = {0x1f, 0xa0};
  EXPECT_EQ(0, rovk_unit_spontaneous_error(session.handle, unittest, 11, payload));
  const uint16_t fan = session.find(ROVK_FAN_000B_PERIPHERAL_ID);
  EXPECT_EQ(0, rovktrans_fan_000b_register_default_callbacks(session.handle, fan));
  EXPECT_EQ(0, rovktrans_fan_000b_set_state(session.handle, fan, nullptr, 0, 1));
  EXPECT_EQ(0, rovktrans_dispatch(session.handle, 0));
  ASSERT_EQ(5U, lines.size());
  EXPECT_EQ("6 common spontaneous_error at address 65535: peripheral_address 65535, id 11, payload 1fa0" +
                std::string(32, '0'),
            lines[3]);
  EXPECT_EQ(0U, lines[4].find("6 fan_000b state_change at address " + std::to_string(fan) + ": state 1, rpm "));
}

TEST(Log, TakesPlainTextAndTellsOfDroppedMessages) {
  {
    const Session session;
    lines.clear();
    EXPECT_EQ(0, rovktrans_log_message(session.handle, ROVK_LOG_PRIORITY_ERR, "100%s%n", nullptr));
    EXPECT_EQ(0, rovktrans_log_message(session.handle, -1, "text", nullptr));
    EXPECT_EQ(-EINVAL, rovktrans_log_message(session.handle, 3, nullptr));
    EXPECT_EQ((std::vector<std::string>{"3 100%s%n", "0 text"}), lines);
    session.disturb("misdirect", 1);
    session.disturb("corrupt", 1);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(-ETIMEDOUT, add_one(session.handle, 1));
  }
  ASSERT_EQ(3U, lines.size());
  EXPECT_EQ("7 rovktrans: dropped 2 late, foreign or malformed messages and 0 old events", lines[2]);
}
