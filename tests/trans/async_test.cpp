// Asynchronous commands: one callback for each, whatever becomes of the answer.
#include <cerrno>
#include <chrono>

#include "session.h"

TEST(Async, CallsBackExactlyOnce) {
  const Answer good = {0, 0, 42};
  const struct {
    const char* what;
    uint32_t value;
    Answer expected;
    uint64_t after_ms;
  } cases[] = {
      {nullptr, 0, good, 0},
      {"duplicate", 0, good, 0},
      {"delay", 50, good, 50},
      {"lose", 0, timed_out, 100},
      {"delay", 500, timed_out, 100},
      {"corrupt", 0, timed_out, 100},
      {"misdirect", 0, timed_out, 100},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.what ? item.what : "undisturbed");
    const Session session;
    if (item.what) session.disturb(item.what, 1, item.value);
    Answers answers;
    ASSERT_EQ(0, add_one_async(session, answers, 41));
    EXPECT_TRUE(answers.empty());
    EXPECT_EQ(1, rovktrans_dispatch(session.handle, -1));
    EXPECT_EQ(item.after_ms, session.now_ms());
    EXPECT_EQ(0, rovktrans_dispatch(session.handle, 10000));
    EXPECT_EQ(item.after_ms + 10000, session.now_ms());
    EXPECT_EQ(Answers{item.expected}, answers);
  }
}

TEST(Async, GivesErrorsAndZeroValues) {
  const Session session;
  Answers answers;
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async(session.handle, 0x7777, nullptr, nullptr, 1));
  EXPECT_EQ(0, rovktrans_dispatch(session.handle, 0)) << "a null callback drops the answer";
  ASSERT_EQ(0, rovk_unit_fault(session.handle, unittest, 5));
  ASSERT_EQ(0, add_one_async(session, answers, 1));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_EQ((Answers{{ROVK_COMMON_ERROR_FAULT_EXISTS, 5, 0}}), answers);
}

TEST(Async, GivesNumbersOfEveryWidthAndSign) {
  const Session session;
  int calls = 0;
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_to_types_async(
                   session.handle, unittest,
                   [](void*, uint16_t, rovk_error_unittest_ffff_error*, int8_t o1, uint8_t o2, int16_t o3, uint16_t o4,
                      int32_t o5, uint32_t o6, void* user) {
                     EXPECT_TRUE(o1 == -4 && o2 == 251 && o3 == -29999 && o4 == 65001);
                     EXPECT_TRUE(o5 == -1999999999 && o6 == 4000000001U);
                     ++*static_cast<int*>(user);
                   },
                   &calls, -5, 250, -30000, 65000, -2000000000, 4000000000U));
  // With an error numbers are zeros and arrays null.
  ASSERT_EQ(0, rovktrans_common_get_aliases_async(
                   session.handle, 0x7777,
                   [](void*, uint16_t, rovk_error_common_error* error, uint16_t count, uint16_t* alias, void* user) {
                     EXPECT_EQ(ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL, le16toh(error->id));
                     EXPECT_TRUE(count == 0 && !alias);
                     ++*static_cast<int*>(user);
                   },
                   &calls));
  EXPECT_EQ(2, rovktrans_dispatch(session.handle, 0));
  EXPECT_EQ(2, calls);
}

TEST(Async, TenThousandInFlight) {
  const Session session("latency_ms=50&timeout_ms=100");
  constexpr unsigned total = 10000;
  Answers answers;
  answers.reserve(total);
  session.disturb("lose", total / 2);
  for (unsigned i = 0; i < total; ++i) ASSERT_EQ(0, add_one_async(session, answers, static_cast<uint8_t>(i)));
  while (rovktrans_dispatch(session.handle, -1) > 0) {
  }
  ASSERT_EQ(total, answers.size());
  for (unsigned i = 0; i < total; ++i) {
    const Answer expected = i < total / 2 ? Answer{0, 0, (total / 2 + i + 1) & 0xff} : timed_out;
    ASSERT_EQ(expected, answers[i]) << i;
  }
}

TEST(Async, DeinitEndsWhatIsPending) {
  Answers answers;
  const Session session("latency_ms=50");
  for (uint8_t i = 0; i < 5; ++i) ASSERT_EQ(0, add_one_async(session, answers, i));
  ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async(session.handle, unittest, nullptr, nullptr, 1));
  EXPECT_EQ(0, rovktrans_deinit(session.handle));
  EXPECT_EQ(Answers(5, closed), answers);
}

TEST(Dispatch, EndsAtItsTimeLimit) {
  const Session session;
  for (const int32_t limit : {0, 250}) {
    EXPECT_EQ(0, rovktrans_dispatch(session.handle, limit));
    EXPECT_EQ(static_cast<uint64_t>(limit), session.now_ms());
  }
}
