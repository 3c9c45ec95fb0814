// The callback bridge as a native program uses it: references, the order inside a callback, failures, and
// coroutines that cannot run what comes for them.
#include <gtest/gtest.h>
#include <rovk/constants.h>

#include <cstring>

#include "host.h"
#include "module_bridge.h"

namespace {

constexpr const char* failed_call = "3 Lua swig bindings failed on a pcall. ignoring and continuing\n";

class Bridge : public testing::Test {
 protected:
  host::State state;
  lua_State* L = *state;

  void SetUp() override {
    state.open_module();
    state.run("log = {} function note(...) log[#log + 1] = table.concat({...}, ' ') end");
    host::take_log();
  }

  // A reference to the function that a Lua expression gives, made on `on`.
  swiglua_ref* reference(const char* expression, lua_State* on = nullptr) {
    const std::string text = std::string("return ") + expression;
    if (!on) on = L;
    EXPECT_EQ(luaL_dostring(on, text.c_str()), 0);
    swiglua_ref* const made = buildCallbackRef({on, lua_gettop(on)});
    lua_pop(on, 1);
    return made;
  }

  std::string logged() { return state.run("local text = table.concat(log, '; ') log = {} return text"); }
};

TEST_F(Bridge, AReferenceLivesAndDies) {
  const int top = lua_gettop(L);
  const int keys = state.registry_size();
  swiglua_ref* const made = reference("function() return 7 end");
  ASSERT_TRUE(made);
  EXPECT_EQ(made->state, L);
  EXPECT_EQ(lua_gettop(L), top);
  EXPECT_EQ(state.registry_size(), keys + 1);
  EXPECT_EQ(setUpContext(made), made);
  EXPECT_TRUE(lua_isfunction(L, -1));
  lua_call(L, 0, 1);
  EXPECT_EQ(lua_tonumber(L, -1), 7);
  lua_settop(L, top);
  freeContext(made);
  EXPECT_EQ(state.registry_size(), keys);
}

TEST_F(Bridge, AClearedReferenceDoesNothing) {
  swiglua_ref own = {L, LUA_NOREF};
  swiglua_ref_clear(&own);
  EXPECT_EQ(own.state, nullptr);
  EXPECT_EQ(own.ref, 0);
  const int top = lua_gettop(L);
  swiglua_ref_get(&own);
  EXPECT_EQ(lua_gettop(L), top);
  own = {L, LUA_REFNIL};
  swiglua_ref_clear(&own);
  EXPECT_EQ(own.ref, 0);
}

TEST_F(Bridge, AFailingFunctionIsContainedAndLogged) {
  const int top = lua_gettop(L);
  const int keys = state.registry_size();
  for (const char* const failing : {"function() error('no') end", "function() error({}) end", "function() error() end",
                                    "function() local function deeper() return 1 + deeper() end deeper() end"}) {
    internal_rovktrans_common_reset_callback(nullptr, 1, nullptr, reference(failing));
    EXPECT_EQ(host::take_log(), failed_call) << failing;
    EXPECT_EQ(lua_gettop(L), top) << failing;
    EXPECT_EQ(state.registry_size(), keys) << failing;
  }
  swiglua_ref* const subscription = reference("function(t) note(t) error('no') end");
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 3, subscription);
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 4, subscription);
  EXPECT_EQ(logged(), "3; 4") << "a failure ends no subscription";
  freeContext(subscription);
}

TEST_F(Bridge, CallbacksOfCoroutinesRunWhateverTheCoroutineDoes) {
  const int keys = state.registry_size();
  lua_State* const coroutine = lua_newthread(L);
  luaL_loadstring(coroutine, "local x = coroutine.yield(1) return x");
  ASSERT_EQ(lua_resume(coroutine, 0), LUA_YIELD);
  lua_settop(coroutine, 0);
  swiglua_ref* const waiting = reference("function(t) note('waiting', t) coroutine.yield() end", coroutine);
  swiglua_ref* const sane = reference("function(t) note('sane', t) end", coroutine);
  // Suspended: the function that yields fails, and the coroutine can still be resumed.
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 1, waiting);
  EXPECT_EQ(host::take_log(), failed_call);
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 2, sane);
  lua_pushnumber(coroutine, 42);
  ASSERT_EQ(lua_resume(coroutine, 1), 0);
  EXPECT_EQ(lua_tonumber(coroutine, -1), 42);
  lua_settop(coroutine, 0);
  // Ended, and referenced by nobody but the bridge.
  lua_settop(L, 0);
  lua_gc(L, LUA_GCCOLLECT, 0);
  lua_gc(L, LUA_GCCOLLECT, 0);
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 3, waiting);
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 1, 4, sane);
  EXPECT_EQ(host::take_log(), failed_call);
  EXPECT_EQ(logged(), "waiting 1; sane 2; waiting 3; sane 4");
  freeContext(waiting);
  freeContext(sane);
  // One table stays: that of coroutines, now empty.
  EXPECT_LE(state.registry_size(), keys + 1);
}

TEST_F(Bridge, AStateWithoutTheModuleServesAsWell) {
  swiglua_ref* outlasting = nullptr;
  {
    host::State bare;
    lua_State* const other = *bare;
    luaL_dostring(other, "return function(t) result = t.error_id end");
    swiglua_ref* const made = buildCallbackRef({other, -1});
    outlasting = buildCallbackRef({other, -1});
    ASSERT_TRUE(made && outlasting);
    internal_rovktrans_common_reset_callback(nullptr, 1, nullptr, made);
    EXPECT_EQ(bare.run("return result"), "0");
  }
  EXPECT_EQ(outlasting->state, nullptr);
  freeContext(outlasting);
}

TEST_F(Bridge, TheErrorHandlerIsToldAndLeavesTheStack) {
  state.run("told = 0 function tell(value) told = value end");
  lua_getglobal(L, "tell");
  lua_setfield(L, LUA_REGISTRYINDEX, ROVK_ON_ERROR_KEY);
  swiglua_ref* const made = reference("function(a, b) note(a, b) if b == 3 then error('no', 0) end end");
  const int top = lua_gettop(L);
  for (const int last : {2, 3}) {
    setUpContext(made);
    lua_pushinteger(L, 1);
    lua_pushinteger(L, last);
    callCallbackFunc(nullptr, made, 2);
    EXPECT_EQ(lua_gettop(L), top);
    EXPECT_EQ(host::take_log(), last == 3 ? failed_call : "");
  }
  EXPECT_EQ(logged(), "1 2; 1 3");
  EXPECT_EQ(state.run("return told"), "no");
  freeContext(made);
  // Where memory ends the handler cannot run in place; it is told afterwards.
  swiglua_ref* const greedy = reference("function() local t = {} while true do t[#t + 1] = {} end end");
  state.remaining = 1000;
  internal_rovktrans_common_reset_callback(nullptr, 1, nullptr, greedy);
  state.remaining = -1;
  EXPECT_EQ(state.run("return told"), "not enough memory");
  EXPECT_EQ(host::take_log(), failed_call);
}

// Lua calls a handler that fails for its own errors, until its C stack ends. Without memory it could then not even
// make its text for that, and would raise where nobody expects it.
int fail_without_memory(lua_State* L) {
  auto* const state = static_cast<host::State*>(lua_touserdata(L, lua_upvalueindex(1)));
  const char* const text = lua_tostring(L, 1);
  if (text && strstr(text, "C stack overflow")) state->remaining = 0;
  return lua_error(L);
}

TEST_F(Bridge, AnErrorInTheHandlerStaysInsideWithoutMemory) {
  lua_pushlightuserdata(L, &state);
  lua_pushcclosure(L, fail_without_memory, 1);
  lua_setfield(L, LUA_REGISTRYINDEX, ROVK_ON_ERROR_KEY);
  lua_checkstack(L, 5000);
  swiglua_ref* const made = reference("function() error('first') end");
  const int top = lua_gettop(L);
  const auto deliver = [](lua_State* state_of_test) {
    internal_rovktrans_common_reset_callback(nullptr, 1, nullptr, lua_touserdata(state_of_test, 1));
    return 0;
  };
  EXPECT_EQ(lua_cpcall(L, deliver, made), 0);
  EXPECT_EQ(state.remaining, 0) << "the C stack has not ended";
  state.remaining = -1;
  EXPECT_EQ(lua_gettop(L), top);
  EXPECT_EQ(host::take_log(), failed_call);
}

// It has no frame to run a callback on, and must be there to be started from within.
TEST_F(Bridge, ACallbackMayStartTheCoroutineItWasMadeOn) {
  lua_State* const fresh = lua_newthread(L);
  lua_setglobal(L, "fresh");
  luaL_loadstring(fresh, "note('started')");
  internal_rovktrans_common_reset_callback(nullptr, 1, nullptr,
                                           reference("function() coroutine.resume(fresh) end", fresh));
  EXPECT_EQ(logged(), "started");
}

}  // namespace
