// Opening and closing a context, and what is made of handles that are none.
#include <cerrno>
#include <sstream>

#include "session.h"

TEST(Init, TakesAndRefusesTexts) {
  const auto init = [](const char* text, int32_t status) {
    SCOPED_TRACE(text ? text : "(null)");
    int dummy = 0;
    void* context = &dummy;
    EXPECT_EQ(status, rovktrans_init(text, nullptr, &context));
    EXPECT_EQ(status == 0, context != nullptr);
    if (status == 0) {
      EXPECT_EQ(0, rovktrans_deinit(context));
    }
  };
  init(nullptr, 0);
  init("", 0);
  std::istringstream taken(R"(sim|sim?timeout_ms=1|sim?timeout_ms=4294967295|sim?clock=real|sim?unit=desk&clock=virtual|
sim?clock=virtual&timeout_ms=5&latency_ms=0)");
  std::istringstream refused(
      R"(SIM|tcp|simulator|sim?|sim&|?timeout_ms=5|sim?timeout_ms|sim?timeout_ms=|sim?timeout_ms=0|
sim?timeout_ms=-1|sim?timeout_ms=5s|sim?timeout_ms= 5|sim?timeout_ms=4294967296|sim?timeout_ms=5&timeout_ms=5|
sim?timeout_ms=5&|sim?&timeout_ms=5|sim?clock=virtual&clock=virtual|sim?clock=stopped|sim?latency_ms=1x|
sim?latency_ms=-3|sim?latency_ms=1&latency_ms=1|sim?profile=none|sim?file=|sim?profile=newer&file=a|
sim?addresses=any|sim?seed=x|sim?processing_ms=1&processing_ms=1|sim?unit=|sim?unit=a&unit=b|sim?speed=9)");
  for (std::string text; std::getline(taken >> std::ws, text, '|');) init(text.c_str(), 0);
  for (std::string text; std::getline(refused >> std::ws, text, '|');) {
    lines.clear();
    init(text.c_str(), -EINVAL);
    // The line names the text, what is wrong with it, and what would be right.
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(0U, lines[0].find("3 rovktrans_init cannot open '" + text + "': ")) << lines[0];
    EXPECT_NE(std::string::npos, lines[0].find("; ")) << lines[0];
  }
  EXPECT_EQ(
      "rovktrans_init cannot open 'sim?speed=9': no option 'speed'; there are clock=real|virtual, latency_ms=N, "
      "processing_ms=N, unit=NAME, profile=NAME, file=PATH, addresses=described|shuffled, seed=N, state=PATH, "
      "timeout_ms=N",
      lines[0].substr(2));
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
  EXPECT_EQ(0, rovktrans_log_message(context, ROVK_LOG_PRIORITY_DEBUG, "a line for any context", nullptr));
  EXPECT_EQ(nullptr, rovktrans_find_peripheral(context, 0));
  EXPECT_EQ(nullptr, rovktrans_find_device(context, 1, 1));
  EXPECT_EQ(-EINVAL, rovktrans_fd(context));
  EXPECT_EQ(-EINVAL, rovktrans_dispatch(context, 0));
  EXPECT_EQ(-EINVAL, rovktrans_clock(context, &now, nullptr));
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
