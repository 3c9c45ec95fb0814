// What outlasts a Lua state: commands and subscriptions that the library still holds, records that it
// refused, and the loaded files themselves.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <rovk/bridge.h>
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>
#include <rovk/unit.h>

#include "host.h"

extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes(void);

namespace {

constexpr uint16_t address = ROVK_UNITTEST_PERIPHERAL_ADDRESS;

class Closing : public testing::Test {
 protected:
  Closing() { EXPECT_EQ(0, rovktrans_init("sim?clock=virtual&latency_ms=5", nullptr, &context)); }
  ~Closing() override { rovktrans_deinit(context); }

  // The function that a Lua text gives, with a call that counts.
  static SWIGLUA_FN counting(host::State& state) {
    state.run("calls = 0 function count() calls = calls + 1 end");
    lua_getglobal(*state, "count");
    return {*state, lua_gettop(*state)};
  }

  void* context = nullptr;
};

TEST_F(Closing, EmptiesTheReferencesOfItsStateAlone) {
  host::State lasting;
  lasting.open_module();
  const SWIGLUA_FN kept = counting(lasting);
  swiglua_ref* handle = nullptr;
  {
    host::State closing;
    closing.open_module();
    const SWIGLUA_FN lost = counting(closing);
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async_lua(context, address, lost, 1));
    }
    ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async_lua(context, address, kept, 1));
    handle = rovktrans_common_reset_occurred_register_callback_lua(context, address, lost);
    ASSERT_NE(nullptr, handle);
    lua_State* const coroutine = lua_newthread(*closing);
    lua_getglobal(coroutine, "count");
    ASSERT_EQ(0, rovktrans_unittest_ffff_add_one_async_lua(context, address, {coroutine, 1}, 1));
    closing.open_module();  // forgets nothing
  }
  EXPECT_EQ(nullptr, handle->state);
  EXPECT_EQ(0, rovk_unit_reset(context, address, 1));
  int32_t ran = 0;
  while (const int32_t count = rovktrans_dispatch(context, 100)) ran += count;
  EXPECT_EQ(103, ran);
  EXPECT_EQ(lasting.run("return calls"), "1");
  EXPECT_EQ(0, rovktrans_common_reset_occurred_unregister_callback_lua(context, address, handle));
}

// What a script subscribed to ends with its state; the handle is of no use to a finalizer that comes later.
TEST_F(Closing, EndsTheSubscriptionsOfItsScripts) {
  static std::string refusal;
  {
    host::State state;
    lua_newuserdata(*state, 0);
    lua_newtable(*state);
    lua_pushcfunction(*state, [](lua_State* L) {
      luaL_dostring(L, "return select(2, pcall(forget, context, 65535, handle))");
      refusal = lua_tostring(L, -1);
      return 0;
    });
    lua_setfield(*state, -2, "__gc");
    lua_setmetatable(*state, -2);
    state.open_module();
    state.run(R"(
      status, context = rovk_message.rovktrans_init("sim?clock=virtual", nil)
      forget = rovk_message.rovktrans_common_reset_occurred_unregister_callback_lua
      handle = rovk_message.rovktrans_common_reset_occurred_register_callback_lua(context, 65535, print))");
    EXPECT_EQ(state.run("return swig_type(handle)"), "void *");
  }
  EXPECT_NE(std::string::npos, refusal.find("got 'spent subscription handle'")) << refusal;
}

// A finalizer that is older than the module runs after its references were emptied; what it starts is
// refused.
TEST_F(Closing, TakesNoNewReferences) {
  static void* live;
  static int32_t status;
  live = context;
  {
    host::State state;
    lua_newuserdata(*state, 0);
    lua_newtable(*state);
    lua_pushcfunction(*state, [](lua_State* L) {
      lua_getglobal(L, "count");
      status = rovktrans_unittest_ffff_add_one_async_lua(live, address, {L, lua_gettop(L)}, 1);
      return 0;
    });
    lua_setfield(*state, -2, "__gc");
    lua_setmetatable(*state, -2);
    state.open_module();
    counting(state);
  }
  EXPECT_EQ(-1, status);
  EXPECT_EQ(0, rovktrans_dispatch(context, 100));
}

TEST_F(Closing, LeavesNothingOfRefusedCommands) {
  host::State state;
  state.open_module();
  const SWIGLUA_FN function = counting(state);
  const auto refuse = [&] {
    for (int i = 0; i < 10000; ++i) {
      EXPECT_EQ(-EINVAL, rovktrans_unittest_ffff_add_one_async_lua(nullptr, address, function, 1));
    }
    return mallinfo2().uordblks;
  };
  const std::size_t before = refuse();
  EXPECT_LE(refuse(), before + 1000);
}

// Bytes on the heap. The sanitizers count what was asked for; the C library counts blocks as it cuts them, which
// wander a little.
std::size_t used() {
  return __sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes() : mallinfo2().uordblks;
}

// A state after another in one process: with all that it made given back, and with some of it left to its end.
TEST(Cycles, KeepMemoryFlat) {
  const auto cycle = [] {
    host::State state;
    state.open_module();
    EXPECT_EQ(state.run(R"(
      local rovk, text = rovk_message, "sim?clock=virtual&latency_ms=5"
      local _, context = rovk.rovktrans_init(text, nil)
      local listen = rovk.rovktrans_button_0002_state_change_register_callback_lua
      local forget = rovk.rovktrans_button_0002_state_change_unregister_callback_lua
      local handle = listen(context, 0x102, tostring)
      listen(context, 0x102, tostring)
      coroutine.wrap(function() rovk.rovktrans_unittest_ffff_add_one_async_lua(context, 65535, tostring, 1) end)()
      local message = rovk.rovk_message()
      message.cre.c.payload = rovk.rovk_message().cre.c.payload
      for _ = 1, 20 do rovk.rovktrans_common_echo(context, 65535, { 1, 2 }) end
      rovk.rovktrans_unittest_ffff_add_one_async_lua(context, 65535, tostring, 1)
      rovk.rovktrans_find_device(context, 1, 1)
      forget(context, 0x102, handle)
      return rovk.rovktrans_deinit(context))"),
              "0");
  };
  const auto run = [&](int count) {
    for (int i = 0; i < count; ++i) cycle();
    return used();
  };
  const std::size_t warm = run(50);
  constexpr int cycles = 1000;
  const double growth = static_cast<double>(run(cycles)) - static_cast<double>(warm);
  EXPECT_LE(growth / cycles, __sanitizer_get_current_allocated_bytes ? 1 : 100);
}

TEST(Loaded, StaysWhenItIsClosed) {
  for (const char* file : {ROVK_LOADED_FILES}) {
    void* const library = dlopen(file, RTLD_LAZY);
    ASSERT_NE(nullptr, library) << dlerror();
    EXPECT_EQ(0, dlclose(library));
    EXPECT_NE(nullptr, dlopen(file, RTLD_LAZY | RTLD_NOLOAD)) << file;
  }
}

}  // namespace
