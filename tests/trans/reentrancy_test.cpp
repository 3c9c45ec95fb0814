// What callbacks may do: anything, the ending of their own context included.
#include <cerrno>
#include <utility>

#include "session.h"

namespace {

// An asynchronous command whose callback runs a piece of the test.
struct Script {
  std::function<void()> run;
  int calls = 0;
  Answer answer = {};
};

void play(void*, uint16_t, rovk_error_unittest_ffff_error* error, uint8_t output, void* user) {
  auto* script = static_cast<Script*>(user);
  ++script->calls;
  script->answer = {error ? le16toh(error->id) : 0U, error ? error->data.payload[0] : 0U, output};
  if (script->run) script->run();
}

int32_t start(const Session& session, Script& script, uint8_t input = 1) {
  return rovktrans_unittest_ffff_add_one_async(session.handle, unittest, play, &script, input);
}

}  // namespace

TEST(Reentrancy, BlockingCallRunsWhatComesDue) {
  const Session session("latency_ms=10&timeout_ms=100");
  Script first, lost, later;
  session.disturb("delay", 1, 5);
  ASSERT_EQ(0, start(session, first, 3));
  session.disturb("lose", 1);
  ASSERT_EQ(0, start(session, lost));
  session.disturb("delay", 1, 85);
  EXPECT_EQ(0, add_one(session.handle, 1));
  EXPECT_EQ(95U, session.now_ms());
  EXPECT_EQ((Answer{0, 0, 4}), first.answer);
  EXPECT_EQ(0, lost.calls);
  ASSERT_EQ(0, start(session, later));
  session.disturb("delay", 1, 50);
  EXPECT_EQ(0, add_one(session.handle, 1));
  EXPECT_EQ(timed_out, lost.answer);
  EXPECT_EQ(3, first.calls + lost.calls + later.calls);
}

TEST(Reentrancy, NothingRunsInCallsThatReturnAtOnce) {
  const Session session;
  Script script;
  Listener listener;
  ASSERT_EQ(0, start(session, script));
  Answers answers;
  EXPECT_EQ(0, add_one_async(session, answers, 1));
  EXPECT_EQ(0, subscribe(session, listener));
  EXPECT_EQ(0, rovk_unit_reset(session.handle, unittest, 1));
  EXPECT_NE(nullptr, rovktrans_find_peripheral(session.handle, ROVK_LED_0001_PERIPHERAL_ID));
  EXPECT_NE(nullptr, rovktrans_find_device(session.handle, ROVK_LED_0001_PERIPHERAL_ID,
                                           ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED));
  EXPECT_EQ(0, rovktrans_common_register_default_callbacks(session.handle, 0));
  EXPECT_EQ(0, rovktrans_log_message(session.handle, ROVK_LOG_PRIORITY_DEBUG, "text", nullptr));
  EXPECT_EQ(0, rovk_unit_advance(session.handle, 500 * millisecond));
  EXPECT_TRUE(script.calls == 0 && listener.types.empty());
  EXPECT_TRUE(answers.empty());
  // All that was held back comes now, the answers before the time limits that have passed since.
  EXPECT_EQ(3, rovktrans_dispatch(session.handle, 0));
  EXPECT_TRUE(script.calls == 1 && listener.types.size() == 1);
  EXPECT_EQ((Answers{{0, 0, 2}}), answers);
}

TEST(Reentrancy, OuterCallTimesOutAfterInnerOnes) {
  const Session session("timeout_ms=100");
  Script script;
  script.run = [&] {
    session.disturb("lose", 1);
    EXPECT_EQ(-ETIMEDOUT, add_one(session.handle, 20));
    EXPECT_EQ(0, add_one(session.handle, 20));
  };
  session.disturb("delay", 1, 50);
  ASSERT_EQ(0, start(session, script));
  session.disturb("lose", 1);
  EXPECT_EQ(-ETIMEDOUT, add_one(session.handle, 10));
  EXPECT_EQ(1, script.calls);
  EXPECT_EQ(150U, session.now_ms());
}

// A look-up takes in whatever comes, the answer to the command before it included.
TEST(Reentrancy, DispatchRunsWhatWasThereWhenItBegan) {
  Script script;  // heard once more when the session closes
  const Session session;
  script.run = [&] {
    if (script.calls >= 20) return;
    EXPECT_EQ(0, start(session, script));
    EXPECT_EQ(nullptr, rovktrans_find_peripheral(session.handle, 0x1234));
  };
  ASSERT_EQ(0, start(session, script));
  EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
  script.run = {};
}

// Commands of two contexts whose callbacks each issue a blocking command: one callback at a time, all of
// them, in order, none inside another.
TEST(Reentrancy, CallbacksRunToTheirEndOneByOne) {
  constexpr unsigned total = 20000;
  const Session session("latency_ms=1&timeout_ms=1000000"), other("timeout_ms=100");
  struct Run {
    const Session& session;
    const Session& other;
    unsigned number = 0;
    bool inside = false;
    static void step(void* context, uint16_t, rovk_error_unittest_ffff_error* error, uint8_t output, void* user) {
      auto* const run = static_cast<Run*>(user);
      EXPECT_FALSE(std::exchange(run->inside, true));
      EXPECT_TRUE(!error && output == uint8_t(run->number + 1)) << run->number;
      uint8_t answer = 0;
      EXPECT_EQ(0, add_one(context, 7, &answer));
      EXPECT_EQ(8, answer);
      EXPECT_EQ(0, add_one(run->other.handle, 8, &answer));
      EXPECT_EQ(9, answer);
      for (void* const each : {context, run->other.handle}) EXPECT_EQ(-EBUSY, rovktrans_dispatch(each, 0));
      ++run->number;
      run->inside = false;
    }
  } run = {session, other};
  Answers elsewhere;
  ASSERT_EQ(0, add_one_async(other, elsewhere, 1));
  for (unsigned i = 0; i < total; ++i) {
    const auto input = static_cast<uint8_t>(i);
    ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async(session.handle, unittest, Run::step, &run, input));
  }
  EXPECT_EQ(0, add_one(session.handle, 1)) << "runs what is due while it waits";
  while (rovktrans_dispatch(session.handle, -1) > 0) {
  }
  EXPECT_EQ(total, run.number);
  EXPECT_TRUE(elsewhere.empty()) << "kept for a wait on its own context";
  EXPECT_EQ(1, rovktrans_dispatch(other.handle, 0));
}

TEST(Reentrancy, DispatchDoesNotRunWhatItsCallbacksAdd) {
  const Session session;
  Script script;
  script.run = [&] { ASSERT_EQ(0, start(session, script)); };
  ASSERT_EQ(0, start(session, script));
  for (int round = 1; round <= 3; ++round) {
    EXPECT_EQ(1, rovktrans_dispatch(session.handle, 0));
    EXPECT_EQ(round, script.calls);
  }
  script.run = nullptr;
  EXPECT_EQ(0, rovktrans_deinit(session.handle));
  EXPECT_EQ(4, script.calls);
}

TEST(Reentrancy, DeinitInsideItsOwnCallback) {
  const struct {
    const char* where;
    int32_t status;
    std::function<int32_t(const Session&)> wait;
  } cases[] = {
      {"dispatch", 1, [](const Session& session) { return rovktrans_dispatch(session.handle, -1); }},
      {"command", -ECANCELED, [](const Session& session) { return add_one(session.handle, 1); }},
      {"lost command", -ECANCELED,
       [](const Session& session) {
         session.disturb("lose", 1);
         uint8_t output = 7;
         rovk_error_unittest_ffff_error* error = nullptr;
         const int32_t status = rovktrans_unittest_ffff_add_one(session.handle, unittest, &error, 1, &output);
         const Heap<rovk_error_unittest_ffff_error> freed(error);
         EXPECT_TRUE(output == 7 && error && le16toh(error->id) == ROVK_COMMON_ERROR_COMMUNICATION_FAILURE &&
                     error->data.payload[0] == ROVKTRANS_FAILURE_CLOSED);
         return status;
       }},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.where);
    const Session session("latency_ms=10&timeout_ms=100");
    Script closing, pending;
    bool inside = false;
    // The pending one ends when the one that closes has returned; the handle is spent, and still logs.
    pending.run = [&] {
      EXPECT_FALSE(inside);
      EXPECT_EQ(0, rovktrans_log_message(session.handle, ROVK_LOG_PRIORITY_DEBUG, "closing", nullptr));
      EXPECT_EQ(-EINVAL, add_one(session.handle, 1));
      EXPECT_EQ(-EINVAL, start(session, pending));
      EXPECT_EQ(-EINVAL, rovktrans_deinit(session.handle));
    };
    closing.run = [&] {
      inside = true;
      EXPECT_EQ(0, rovktrans_deinit(session.handle));
      EXPECT_EQ(0, pending.calls);
      EXPECT_EQ(-EINVAL, add_one(session.handle, 1));
      inside = false;
    };
    ASSERT_EQ(0, start(session, closing));
    session.disturb("delay", 1, 50);
    ASSERT_EQ(0, start(session, pending));
    EXPECT_EQ(item.status, item.wait(session));
    EXPECT_EQ(closed, pending.answer);
    EXPECT_EQ(2, closing.calls + pending.calls);
  }
}

// Each closes the next one's context, and owes what was pending there.
TEST(Reentrancy, CallbacksThatContextsOweCloseFurtherOnes) {
  Session first, second, third;
  Script one, two, three;
  one.run = [&] { EXPECT_EQ(0, rovktrans_deinit(second.handle)); };
  two.run = [&] {
    EXPECT_EQ(0, rovktrans_deinit(third.handle));
    EXPECT_EQ(0, three.calls);
  };
  for (const auto& [session, script] : {std::pair(&first, &one), {&second, &two}, {&third, &three}}) {
    ASSERT_EQ(0, start(*session, *script));
  }
  EXPECT_EQ(0, rovktrans_deinit(first.handle));
  EXPECT_EQ(closed, three.answer);
  EXPECT_EQ(3, one.calls + two.calls + three.calls);
}
