// Applications that meet on one unit.
#include <cerrno>
#include <chrono>
#include <thread>

#include "session.h"

// A wait without limit on the real clock lasts until something comes, from whichever side.
TEST(SharedUnit, WaitsUntilAnotherThreadCausesSomething) {
  const Session session("timeout_ms=100", "real");
  Listener listener;
  ASSERT_EQ(0, subscribe(session, listener));
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(0, rovk_unit_reset(session.handle, unittest, 7));
  });
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, -1));
  other.join();
  EXPECT_EQ((std::vector<unsigned>{7}), listener.types);
}

// Unless told otherwise each command takes a virtual millisecond, so that asking again and again gets on.
TEST(SharedUnit, CommandsMoveAVirtualClock) {
  void* context = nullptr;
  ASSERT_EQ(0, rovktrans_init("sim?clock=virtual", nullptr, &context));
  uint64_t start = 0, now = 0;
  EXPECT_EQ(0, rovktrans_clock(context, &start, nullptr));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(0, add_one(context, 1));
  EXPECT_EQ(0, rovktrans_clock(context, &now, nullptr));
  EXPECT_EQ(5 * millisecond, now - start);
  EXPECT_EQ(0, rovktrans_deinit(context));
}

TEST(SharedUnit, OptionsMustAgree) {
  const Session first("unit=agree&latency_ms=3");
  const struct {
    const char* text;
    int32_t status;
  } cases[] = {
      {"sim?unit=agree", 0},
      {"sim?unit=agree&clock=virtual", 0},
      {"sim?unit=agree&latency_ms=3&timeout_ms=9", 0},
      {"sim?unit=agree&clock=real", -EINVAL},
      {"sim?unit=agree&latency_ms=0", -EINVAL},
      {"sim?unit=disagree&clock=real", 0},
  };
  for (const auto& [text, status] : cases) {
    SCOPED_TRACE(text);
    void* context = nullptr;
    EXPECT_EQ(status, rovktrans_init(text, nullptr, &context));
    if (context) {
      EXPECT_EQ(0, rovktrans_deinit(context));
    }
  }
}

TEST(SharedUnit, EndsWithTheLastContext) {
  {
    const Session first("unit=ends");
    ASSERT_EQ(0, rovk_unit_advance(first.handle, 5 * millisecond));
    const Session second("unit=ends");
    EXPECT_EQ(5U, second.now_ms());
  }
  EXPECT_EQ(0U, Session("unit=ends").now_ms());
}

TEST(SharedUnit, ReservationKeepsOthersOut) {
  const Session holder("unit=reserved"), other("unit=reserved");
  const Session elsewhere;
  ASSERT_EQ(0, rovktrans_router_0000_reserve(holder.handle, 0, nullptr, unittest));
  EXPECT_EQ(0, add_one(holder.handle, 1));
  EXPECT_EQ(0, add_one(elsewhere.handle, 1));
  Answers answers;
  ASSERT_EQ(0, add_one_async(other, answers, 1));
  EXPECT_EQ(1, rovktrans_dispatch(other.handle, 0));
  ASSERT_EQ(1U, answers.size());
  EXPECT_EQ(unsigned{ROVK_COMMON_ERROR_RESERVATION_EXISTS}, answers[0].error_id);
  EXPECT_NE(0U, answers[0].type) << "the address of the holder";
  // Leaving gives up what was held.
  EXPECT_EQ(0, rovktrans_deinit(holder.handle));
  EXPECT_EQ(0, add_one(other.handle, 1));
}

TEST(SharedUnit, EventsReachThoseWhoSubscribed) {
  const Session first("unit=events"), second("unit=events"), third("unit=events");
  const auto note = [](void* context, uint16_t, uint16_t, void* user) { *static_cast<void**>(user) = context; };
  void* first_heard = nullptr;
  void* second_heard = nullptr;
  ASSERT_EQ(0, rovktrans_common_reset_occurred_register_callback(first.handle, unittest, note, &first_heard));
  ASSERT_EQ(0, rovktrans_common_reset_occurred_register_callback(second.handle, unittest, note, &second_heard));
  ASSERT_EQ(0, rovk_unit_reset(third.handle, unittest, 1));
  EXPECT_EQ(1, rovktrans_dispatch(first.handle, 0));
  EXPECT_EQ(1, rovktrans_dispatch(second.handle, 0));
  EXPECT_EQ(0, rovktrans_dispatch(third.handle, 0));
  EXPECT_EQ(first.handle, first_heard);
  EXPECT_EQ(second.handle, second_heard);
}

TEST(SharedUnit, WakesAnotherThreadThatWaits) {
  const Session sleeper("unit=threads", "real"), waker("unit=threads", "real");
  Listener listener;
  ASSERT_EQ(0, subscribe(sleeper, listener));
  std::thread thread([&] { EXPECT_EQ(1, rovktrans_dispatch(sleeper.handle, -1)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));  // by now it sleeps, and nothing it asked for is due
  for (int i = 0; i < 200; ++i) EXPECT_EQ(0, add_one(waker.handle, 1));
  EXPECT_EQ(0, rovk_unit_reset(waker.handle, unittest, 9));
  thread.join();
  EXPECT_EQ((std::vector<unsigned>{9}), listener.types);
}
