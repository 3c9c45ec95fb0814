// Two Lua states on two threads, from the first open in the process on, each with a unit of its own and both
// with one that they share. Plain, it shows that all work; built for the thread sanitizer, that none disturbs
// another. Alone in its process, since a first open is one.
#include <gtest/gtest.h>
#include <rovk/unit.h>

#include <barrier>
#include <thread>

#include "host.h"

namespace {

constexpr int rounds = 20;

constexpr const char* script = R"(
  local rovk = rovk_message
  local function use(text)
    local status, context = rovk.rovktrans_init(text, nil)
    assert(status == 0, text)
    local calls, events = 0, 0
    local function count() calls = calls + 1 end
    local handle = rovk.rovktrans_common_reset_occurred_register_callback_lua(context, 65535, function()
      events = events + 1
    end)
    for value = 1, 20 do
      assert(rovk.rovktrans_unittest_ffff_add_one_async_lua(context, 65535, count, value) == 0)
      local status, errors, echoed = rovk.rovktrans_common_echo(context, 65535, { value })
      assert(status == 0 and echoed[1] == value)
      rovk.rovktrans_unittest_ffff_fail(context, 65535, 2)
      local message = rovk.rovk_message()
      message.route.uuid = value
      message.cre.c.payload = rovk.rovk_message().cre.c.payload
      rovk.rovk_common_initialize_echo_command(message, 1, { value })
      assert(rovk.rovk_common_retrieve_echo_command(message)[1] == value)
    end
    assert(rovk.rovktrans_find_device(context, 1, 1))
    assert(rovk.rovk_protocol_version.major == 0)
    rovk.rovktrans_log_message(context, 7, "a line")
    rovk.rovk_log(nil, 7, "another")
    rovk.rovktrans_common_reset(context, 65535)
    assert(rovk.rovktrans_common_reset_occurred_unregister_callback_lua(context, 65535, handle) == 0)
    assert(rovk.rovktrans_deinit(context) == 0 and calls == 20)
  end
  use("sim?clock=virtual")
  use("sim?clock=virtual&unit=common&latency_ms=1")
  use("sim?unit=real")
  collectgarbage()
  return "done"
)";

TEST(Threads, HaveStatesOfTheirOwn) {
  std::barrier start(2);
  const auto work = [&] {
    for (int round = 0; round < rounds; ++round) {
      host::State state;
      start.arrive_and_wait();
      state.open_module();
      EXPECT_EQ(state.run(script), "done");
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
