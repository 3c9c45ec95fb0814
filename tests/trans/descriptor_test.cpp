// The descriptor for event loops: readable exactly while dispatch has something to do.
#include <fcntl.h>
#include <poll.h>

#include <cerrno>

#include "session.h"

namespace {

// A timer that is due at once still takes the kernel a moment.
constexpr int moment_ms = 50;

bool readable(int fd, int timeout_ms) {
  pollfd item = {fd, POLLIN, 0};
  return poll(&item, 1, timeout_ms) == 1 && (item.revents & POLLIN) != 0;
}

}  // namespace

TEST(Descriptor, FollowsTheVirtualClock) {
  const Session session("latency_ms=10&timeout_ms=100");
  Answers answers;
  ASSERT_EQ(0, add_one_async(session, answers, 1));
  const int fd = rovktrans_fd(session.handle);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(fd, rovktrans_fd(session.handle));
  EXPECT_FALSE(readable(fd, moment_ms)) << "the answer is still on its way";
  ASSERT_EQ(0, rovk_unit_advance(session.handle, 10 * millisecond));
  EXPECT_TRUE(readable(fd, moment_ms));
  EXPECT_TRUE(readable(fd, 0)) << "until it is taken";
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_FALSE(readable(fd, 0));

  // A time limit counts once the clock has reached it.
  session.disturb("lose", 1);
  ASSERT_EQ(0, add_one_async(session, answers, 1));
  EXPECT_FALSE(readable(fd, 0));
  ASSERT_EQ(0, rovk_unit_advance(session.handle, 99 * millisecond));
  EXPECT_FALSE(readable(fd, moment_ms));
  ASSERT_EQ(0, rovk_unit_advance(session.handle, 1 * millisecond));
  EXPECT_TRUE(readable(fd, moment_ms));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_FALSE(readable(fd, 0));
}

TEST(Descriptor, ShowsEventsAndWhatWasKeptBack) {
  const Session session;
  const int fd = rovktrans_fd(session.handle);
  Listener listener;
  Answers answers;
  ASSERT_EQ(0, subscribe(session, listener));
  EXPECT_FALSE(readable(fd, moment_ms));
  ASSERT_EQ(0, rovk_unit_reset(session.handle, unittest, 1));
  EXPECT_TRUE(readable(fd, moment_ms));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_FALSE(readable(fd, 0));
  ASSERT_EQ(0, add_one_async(session, answers, 1));
  session.find(ROVK_LED_0001_PERIPHERAL_ID);
  EXPECT_TRUE(answers.empty());
  EXPECT_TRUE(readable(fd, moment_ms));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  EXPECT_FALSE(readable(fd, 0));
}

TEST(Descriptor, WakesALoopOnTheRealClock) {
  const Session session("latency_ms=20&timeout_ms=60", "real");
  const int fd = rovktrans_fd(session.handle);
  Answers answers;
  session.disturb("lose", 1);
  for (uint8_t input = 1; input <= 2; ++input) ASSERT_EQ(0, add_one_async(session, answers, input));
  for (int wakes = 0; answers.size() < 2 && wakes < 20; ++wakes) {
    ASSERT_TRUE(readable(fd, 2000));
    ASSERT_GE(rovktrans_dispatch(session.handle, 0), 0);
    if (answers.size() == 1) {
      EXPECT_GE(session.now_ms(), 20U);
    }
  }
  EXPECT_GE(session.now_ms(), 60U);
  EXPECT_EQ((Answers{{0, 0, 3}, timed_out}), answers);
  EXPECT_EQ(0, rovktrans_deinit(session.handle));
  EXPECT_EQ(-1, fcntl(fd, F_GETFD)) << "closed with its context";
}

// Nobody but the one to whom something comes; on the real clock, where time tells the others nothing.
TEST(Descriptor, WakesWhoeverAnotherContextGivesSomething) {
  const Session giver("unit=descriptors", "real");
  const Session taker("unit=descriptors", "real");
  const Session other("unit=descriptors", "real");
  const int given = rovktrans_fd(giver.handle), taken = rovktrans_fd(taker.handle), idle = rovktrans_fd(other.handle);
  Listener listener;
  ASSERT_EQ(0, subscribe(taker, listener));
  for (int round = 1; round <= 2; ++round) {
    ASSERT_EQ(0, rovk_unit_reset(giver.handle, unittest, 1));
    Answers answers;
    ASSERT_EQ(0, add_one_async(giver, answers, 1));
    EXPECT_TRUE(readable(given, moment_ms));
    for (int tries = 0; rovktrans_dispatch(giver.handle, 0) == 0 && tries < 100; ++tries) readable(given, moment_ms);
    EXPECT_TRUE(readable(taken, 1000)) << "when it has booted";
    for (int tries = 0; rovktrans_dispatch(taker.handle, 0) == 0 && tries < 100; ++tries) readable(taken, moment_ms);
    EXPECT_FALSE(readable(taken, 0));
    EXPECT_FALSE(readable(idle, 0));
  }
}
