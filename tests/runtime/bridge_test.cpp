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

TEST_F(Bridge, ACommandsCallbackPassesValuesThenTheErrorTable) {
  const int top = lua_gettop(L);
  const int keys = state.registry_size();
  rovk_error_led_0001_error error = {};
  error.error_peripheral_address = 257;
  error.id = ROVK_COMMON_ERROR_INVALID_PAYLOAD;
  error.data.payload[0] = 2;
  internal_rovktrans_led_0001_get_state_callback(
      nullptr, 257, &error, 1, 500, 65535,
      reference("function(a, b, c, e) note(a, b, c, e.error_id, e.payload_index) end"));
  EXPECT_EQ(logged(), "1 500 65535 8 2");
  EXPECT_EQ(lua_gettop(L), top);
  EXPECT_EQ(state.registry_size(), keys) << "the reference outlived its one callback";
}

TEST_F(Bridge, ValuesKeepWidthAndSign) {
  internal_rovktrans_unittest_ffff_add_one_to_types_callback(
      nullptr, 65535, nullptr, -128, 255, -32768, 65535, INT32_MIN, UINT32_MAX,
      reference("function(a, b, c, d, e, f, x) note(a, b, c, d, e, string.format('%.0f', f), x.error_id) end"));
  EXPECT_EQ(logged(), "-128 255 -32768 65535 -2147483648 4294967295 0");
}

TEST_F(Bridge, ArraysAndVersionsBecomeTables) {
  uint8_t bytes[22];
  for (unsigned i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<uint8_t>(200 + i);
  internal_rovktrans_common_echo_callback(nullptr, 1, nullptr, bytes,
                                          reference("function(t) note(#t, t[1], t[22]) end"));
  internal_rovktrans_common_echo_callback(nullptr, 1, nullptr, nullptr, reference("function(t) note(#t) end"));
  uint16_t aliases[10] = {65535, 2};
  internal_rovktrans_common_get_aliases_callback(nullptr, 1, nullptr, 2, aliases,
                                                 reference("function(n, t) note(n, #t, t[1], t[3]) end"));
  internal_rovktrans_common_get_peripheral_info_callback(
      nullptr, 1, nullptr, 6, {1, 2}, {3, 4}, {5, 6}, 7, 8, 9, 10,
      reference("function(id, a, b, c, m, q, d, l, e) note(id, a.major, a.minor, b.major, c.minor, m, q, d, l, "
                "e.error_id) end"));
  EXPECT_EQ(logged(), "22 200 221; 0; 2 10 65535 0; 6 1 2 3 6 7 8 9 10 0");
}

TEST_F(Bridge, OnlyTheSixServicesWithErrorsOfTheirOwnDecodeThem) {
  rovk_error_calibration_0015_error own = {};
  own.id = ROVK_CALIBRATION_0015_ERROR_EFL_OUT_OF_RANGE;
  own.data.payload[1] = 1;
  internal_rovktrans_calibration_0015_run_color_calibration_callback(
      nullptr, 1, &own, reference("function(e) note(e.error_id, tostring(e.efl_cal_value)) end"));
  rovk_error_led_0001_error other = {};
  other.id = 34;
  testing::internal::CaptureStdout();
  internal_rovktrans_led_0001_set_state_callback(
      nullptr, 1, &other, reference("function(e) note(e.error_id, tostring(e.efl_cal_value)) end"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the asynchronous path reports nothing";
  EXPECT_EQ(logged(), "34 256; 34 nil");
  testing::internal::CaptureStdout();
  lua_newtable(L);
  __process_rovktrans_led_0001_error(L, &other);
  fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "FAIL WITH BAD ERROR VALUE 34\n");
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

TEST_F(Bridge, ANullContextTouchesNothing) {
  internal_rovktrans_common_reset_callback(nullptr, 0, nullptr, nullptr);
  internal_rovktrans_common_reset_occurred_event_callback(nullptr, 0, 0, nullptr);
  EXPECT_EQ(host::take_log(), "");
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
  host::State bare;
  lua_State* const other = *bare;
  luaL_dostring(other, "return function(t) result = t.error_id end");
  swiglua_ref* const made = buildCallbackRef({other, -1});
  ASSERT_TRUE(made);
  internal_rovktrans_common_reset_callback(nullptr, 1, nullptr, made);
  EXPECT_EQ(bare.run("return result"), "0");
}

TEST_F(Bridge, RefusedSubscriptionsAndCommandsKeepNothing) {
  const int keys = state.registry_size();
  luaL_dostring(L, "return function() end");
  const SWIGLUA_FN function = {L, lua_gettop(L)};
  // No such context: the library refuses both.
  EXPECT_EQ(rovktrans_button_0002_state_change_register_callback_lua(nullptr, 258, function), nullptr);
  EXPECT_LT(rovktrans_common_reset_async_lua(nullptr, 1, function), -1);
  EXPECT_EQ(state.registry_size(), keys);
  EXPECT_LT(rovktrans_button_0002_state_change_unregister_callback_lua(nullptr, 258, nullptr), 0);
}

}  // namespace
