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

TEST(Loaded, StaysWhenItIsClosed) {
  for (const char* file : {ROVK_LOADED_FILES}) {
    void* const library = dlopen(file, RTLD_LAZY);
    ASSERT_NE(nullptr, library) << dlerror();
    EXPECT_EQ(0, dlclose(library));
    EXPECT_NE(nullptr, dlopen(file, RTLD_LAZY | RTLD_NOLOAD)) << file;
  }
}

}  // namespace
