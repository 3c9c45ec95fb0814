// Memory that runs out at every possible point: nothing crashes, nothing is lost, nothing runs twice.
#include <gtest/gtest.h>
#include <malloc.h>

#include <utility>

#include "host.h"
#include "module_bridge.h"

namespace {

class Allocation : public testing::Test {
 protected:
  host::State state;
  lua_State* L = *state;

  void SetUp() override {
    state.open_module();
    luaL_dostring(L, "runs = 0 return function() runs = runs + 1 end");
    lua_gc(L, LUA_GCSTOP, 0);  // so that each attempt meets the same allocations
  }

  void TearDown() override { host::native_remaining = -1; }
};

TEST_F(Allocation, NoNativeMemoryGivesANullReference) {
  const int keys = state.registry_size();
  const int top = lua_gettop(L);
  host::native_remaining = 0;
  EXPECT_EQ(buildCallbackRef({L, top}), nullptr);
  EXPECT_EQ(rovktrans_common_reset_async_lua(nullptr, 1, {L, top}), -1);
  EXPECT_EQ(state.run("return tostring(rovk_message.rovk_version())"), "nil");
  host::native_remaining = -1;
  EXPECT_EQ(lua_gettop(L), top);
  EXPECT_EQ(state.registry_size(), keys);
}

TEST_F(Allocation, AReferenceIsMadeWholeOrNotAtAll) {
  const int keys = state.registry_size();
  const int top = lua_gettop(L);
  lua_State* const coroutine = lua_newthread(L);
  lua_pushvalue(L, top);
  lua_xmove(L, coroutine, 1);
  for (lua_State* const on : {L, coroutine}) {
    bool made = false;
    for (long remaining = 0; !made; ++remaining) {
      ASSERT_LT(remaining, 100);
      state.remaining = remaining;
      swiglua_ref* const reference = buildCallbackRef({on, on == L ? top : 1});
      state.remaining = -1;
      made = reference != nullptr;
      if (made) freeContext(reference);
      EXPECT_LE(state.registry_size(), keys + (on != L)) << remaining;
    }
  }
  EXPECT_EQ(lua_gettop(L), top + 1);
}

// A callback whose values cannot be pushed is dropped and logged; its reference is freed all the same.
TEST_F(Allocation, ACallbackEndsItsReferenceWhereverMemoryRunsOut) {
  const int keys = state.registry_size();
  const int top = lua_gettop(L);
  uint8_t bytes[22] = {};
  bool complete = false;
  for (long remaining = 0; !complete; ++remaining) {
    ASSERT_LT(remaining, 100);
    swiglua_ref* const reference = buildCallbackRef({L, top});
    ASSERT_TRUE(reference);
    host::take_log();
    state.remaining = remaining;
    internal_rovktrans_common_echo_callback(nullptr, 1, nullptr, bytes, reference);
    state.remaining = -1;
    const std::string runs = state.run("local n = runs runs = 0 return n");
    complete = host::take_log().empty();
    EXPECT_EQ(runs, complete ? "1" : "0") << remaining;
    EXPECT_EQ(lua_gettop(L), top) << remaining;
    EXPECT_EQ(state.registry_size(), keys) << remaining;
  }
}

// Every function that hands out something native: the script gets it whole, or a Lua error and nothing,
// and nothing native is lost on the way.
TEST_F(Allocation, AScriptGetsAllOrALuaError) {
  const struct {
    const char* text;
    const char* result;
  } cases[] = {
      {"local v = rovk_message.rovk_version() v.major = 3 return v.major", "3"},
      {"local m = rovk_message.rovk_message() m.route.type = 2 return m.route.type", "2"},
      {"local s, c = rovk_message.rovktrans_init('sim?unit=kept&clock=virtual', nil) return "
       "rovk_message.rovktrans_deinit(c)",
       "0"},
      {"local t = {rovk_message.rovktrans_common_echo(context, 0, {7})} return t[3][1]", "7"},
      {"return rovk_message.rovktrans_common_echo(nil, 0, {7})", "-22"},
      {"local t = {rovk_message.rovktrans_unittest_ffff_fail(context, 65535, 2)} return t[2].fault_id", "2"},
  };
  ASSERT_EQ(state.run("status, context = rovk_message.rovktrans_init(nil, nil) return status"), "0");
  for (const auto& item : cases) {
    // A block lost shows in every round, what else happens in the heap does not.
    std::size_t used = 0;
    int quiet = 0;
    for (int round = 0; round < 40; ++round) {
      std::string result;
      for (long remaining = 0; result != item.result; ++remaining) {
        ASSERT_LT(remaining, 2000) << result;
        state.remaining = remaining;
        const int loaded = luaL_loadstring(L, item.text);
        const int status = loaded == 0 ? lua_pcall(L, 0, 1, 0) : loaded;
        state.remaining = -1;
        result = lua_tostring(L, -1) ? lua_tostring(L, -1) : "";
        if (status != 0) {
          EXPECT_EQ(result, "not enough memory") << remaining;
        }
        lua_pop(L, 1);
      }
      for (int i = 0; i < 2; ++i) lua_gc(L, LUA_GCCOLLECT, 0);
      lua_gc(L, LUA_GCSTOP, 0);
      const std::size_t before = std::exchange(used, mallinfo2().uordblks);
      quiet += used == before;
    }
    EXPECT_GE(quiet, 5) << item.text;
  }
  // Contexts that were lost would keep their unit, whose clock is another.
  EXPECT_EQ(state.run("local s, c = rovk_message.rovktrans_init('sim?unit=kept&clock=real', nil) "
                      "return s + rovk_message.rovktrans_deinit(c) + rovk_message.rovktrans_deinit(context)"),
            "0");
}

}  // namespace
