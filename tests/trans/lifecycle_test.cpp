// Opening and closing a context, and what is made of handles that are none.
#include <cerrno>

#include "session.h"

TEST(Init, TakesAndRefusesTexts) {
  const struct {
    const char* text;
    int32_t status;
  } cases[] = {
      {nullptr, 0},
      {"", 0},
      {"sim", 0},
      {"sim?timeout_ms=1", 0},
      {"sim?timeout_ms=4294967295", 0},
      {"sim?clock=real", 0},
      {"sim?clock=virtual&timeout_ms=5&latency_ms=0", 0},
      {"sim?unit=desk&clock=virtual", 0},
      {"SIM", -EINVAL},
      {"tcp", -EINVAL},
      {"simulator", -EINVAL},
      {"sim?", -EINVAL},
      {"sim&", -EINVAL},
      {"?timeout_ms=5", -EINVAL},
      {"sim?timeout_ms", -EINVAL},
      {"sim?timeout_ms=", -EINVAL},
      {"sim?timeout_ms=0", -EINVAL},
      {"sim?timeout_ms=-1", -EINVAL},
      {"sim?timeout_ms=5s", -EINVAL},
      {"sim?timeout_ms= 5", -EINVAL},
      {"sim?timeout_ms=4294967296", -EINVAL},
      {"sim?timeout_ms=5&timeout_ms=5", -EINVAL},
      {"sim?timeout_ms=5&", -EINVAL},
      {"sim?&timeout_ms=5", -EINVAL},
      {"sim?clock=virtual&clock=virtual", -EINVAL},
      {"sim?clock=stopped", -EINVAL},
      {"sim?latency_ms=1x", -EINVAL},
      {"sim?latency_ms=-3", -EINVAL},
      {"sim?unit=", -EINVAL},
      {"sim?unit=a&unit=b", -EINVAL},
      {"sim?speed=9", -EINVAL},
  };
  for (const auto& [text, status] : cases) {
    SCOPED_TRACE(text ? text : "(null)");
    int dummy = 0;
    void* context = &dummy;
    EXPECT_EQ(status, rovktrans_init(text, nullptr, &context));
    EXPECT_EQ(status == 0, context != nullptr);
    if (status == 0) {
      EXPECT_EQ(0, rovktrans_deinit(context));
    }
  }
  EXPECT_EQ(-EINVAL, rovktrans_init("sim", nullptr, nullptr));
}

// Every kind of function, on a context that is not live.
static void expect_refused(void* context) {
  uint64_t now = 0;
  int64_t value = 0;
  uint8_t bytes[22] = {};
  Answers answers;
  EXPECT_EQ(-EINVAL, add_one(context, 1));
  EXPECT_EQ(-EINVAL, rovktrans_unittest_ffff_add_one_async(context, unittest, collect, &answers, 1));
  EXPECT_EQ(-EINVAL, rovktrans_common_echo(context, unittest, nullptr, bytes, nullptr));
  EXPECT_EQ(-EINVAL, rovktrans_common_reset_occurred_register_callback(
                         context, unittest, [](void*, uint16_t, uint16_t, void*) {}, nullptr));
  EXPECT_EQ(-EINVAL, rovktrans_common_reset_occurred_unregister_callback(context, unittest, nullptr));
  EXPECT_EQ(-EINVAL, rovktrans_common_register_default_callbacks(context, unittest));
  EXPECT_EQ(-EINVAL, rovktrans_log_message(context, ROVK_LOG_PRIORITY_DEBUG, "text", nullptr));
  EXPECT_EQ(nullptr, rovktrans_find_peripheral(context, 0));
  EXPECT_EQ(nullptr, rovktrans_find_device(context, 1, 1));
  EXPECT_EQ(-EINVAL, rovktrans_fd(context));
  EXPECT_EQ(-EINVAL, rovktrans_dispatch(context, 0));
  EXPECT_EQ(-EINVAL, rovktrans_deinit(context));
  EXPECT_EQ(-EINVAL, rovk_unit_now(context, &now));
  EXPECT_EQ(-EINVAL, rovk_unit_advance(context, 1));
  EXPECT_EQ(-EINVAL, rovk_unit_get_input(context, "light", 0, &value));
  EXPECT_EQ(-EINVAL, rovk_unit_disturb(context, "lose", 1, 0));
  EXPECT_TRUE(answers.empty());
}

TEST(Handle, IsRefusedWhenNotLive) {
  const Session session;
  int foreign = 0;
  expect_refused(nullptr);
  expect_refused(&foreign);
  expect_refused(reinterpret_cast<void*>(~uintptr_t{0}));
  EXPECT_EQ(0, add_one(session.handle, 1));
}

TEST(Handle, NeverBecomesLiveAgain) {
  void* spent = nullptr;
  ASSERT_EQ(0, rovktrans_init(nullptr, nullptr, &spent));
  ASSERT_EQ(0, rovktrans_deinit(spent));
  for (int round = 0; round < 100; ++round) {
    void* context = nullptr;
    ASSERT_EQ(0, rovktrans_init(nullptr, nullptr, &context));
    ASSERT_NE(spent, context);
    ASSERT_EQ(0, rovktrans_deinit(context));
  }
  expect_refused(spent);
}

TEST(Log, TakesPlainTextAndNoNull) {
  const Session session;
  EXPECT_EQ(0, rovktrans_log_message(session.handle, ROVK_LOG_PRIORITY_DEBUG, "100%s%n", nullptr));
  EXPECT_EQ(0, rovktrans_log_message(session.handle, -1, "text", nullptr));
  EXPECT_EQ(-EINVAL, rovktrans_log_message(session.handle, 3, nullptr));
}
