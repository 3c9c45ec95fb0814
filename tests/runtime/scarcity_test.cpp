// Each scenario of tests/lua/scenarios.lua with the n-th request for memory refused, for every n: of Lua's
// allocator or of the module's and the libraries', that one alone or all from it on. The script gets an error
// or a status; with memory again everything works, and none is lost. Likewise the unit's files.
//
// Alone in its program, which takes the place of the C++ library's and, where no sanitizer has done so, of the
// C library's allocation.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>

#include "host.h"
#include "unit/things/file_store.h"

extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes(void);

namespace {

// Requests that are still granted; negative: all.
struct Supply {
  long remaining = -1;
  bool alone = false;  // only one is refused
  bool refused = false;

  bool refuses() {
    if (remaining < 0) return false;
    if (remaining-- > 0) return false;
    refused = true;
    remaining = alone ? -1 : 0;
    return true;
  }
};
Supply native;
Supply lua;

void* allocate(void*, void* block, std::size_t old_size, std::size_t new_size) {
  if (new_size == 0) {
    std::free(block);
    return nullptr;
  }
  if (new_size > old_size && lua.refuses()) return nullptr;
  return std::realloc(block, new_size);
}

std::size_t used() {
  return __sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes() : mallinfo2().uordblks;
}

}  // namespace

#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // all three are here

void* operator new(std::size_t size) {
  // Not through malloc, which would count it twice.
  void* const block = native.refuses() ? nullptr : std::aligned_alloc(16, (size + 15) / 16 * 16);
  if (!block) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

// Not all of the C++ library's ways to ask are ours.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options() { return "alloc_dealloc_mismatch=0"; }

#ifndef ROVK_SANITIZED
extern "C" void* __libc_malloc(size_t size);
extern "C" [[gnu::visibility("default")]] void* malloc(size_t size) {
  return native.refuses() ? nullptr : __libc_malloc(size);
}
#endif

namespace {

class Scarcity : public testing::TestWithParam<std::string> {
 protected:
  lua_State* L = lua_newstate(allocate, nullptr);

  // Leaves the scenario's two functions on the stack.
  void SetUp() override {
    host::refuses = [] { return native.refuses(); };
    luaL_openlibs(L);
    lua_getglobal(L, "package");
    lua_getfield(L, -1, "preload");
    lua_pushcfunction(L, luaopen_rovk_message);
    lua_setfield(L, -2, "rovk_message");
    lua_settop(L, 0);
    const std::string text = std::string(
        "local name, root, built = ... local all = dofile(root .. "
        "'/tests/lua/scenarios.lua') return assert(loadstring(all.frame:format("
        "built .. '/?.so', built .. '/?.lua', all.texts[name])))()");
    ASSERT_EQ(luaL_loadstring(L, text.c_str()), 0);
    lua_pushstring(L, GetParam().c_str());
    lua_pushstring(L, ROVK_ROOT);
    lua_pushstring(L, ROVK_BUILT);
    ASSERT_EQ(lua_pcall(L, 3, 2, 0), 0) << lua_tostring(L, -1);
  }

  void TearDown() override { lua_close(L); }

  void sweep(Supply& supply, bool alone, long step) {
    // Once with all that it wants: what is made once and kept is no loss.
    lua_pushvalue(L, 1);
    ASSERT_EQ(lua_pcall(L, 0, 0, 0), 0) << lua_tostring(L, -1);
    lua_pushvalue(L, 2);
    ASSERT_EQ(lua_pcall(L, 0, 0, 0), 0) << lua_tostring(L, -1);
    std::size_t warm = 0;
    long count = 0;
    for (long granted = 0;; granted += step, ++count) {
      supply = {granted, alone, false};
      lua_pushvalue(L, 1);
      const int status = lua_pcall(L, 0, 0, 0);
      const bool refused = supply.refused;
      supply = {};
      if (status != 0) {
        ASSERT_TRUE(refused) << lua_tostring(L, -1);
        ASSERT_TRUE(lua_isstring(L, -1)) << luaL_typename(L, -1);
      }
      lua_settop(L, 2);
      lua_pushvalue(L, 2);
      ASSERT_EQ(lua_pcall(L, 0, 0, 0), 0) << "request " << granted << ": " << lua_tostring(L, -1);
      lua_gc(L, LUA_GCCOLLECT, 0);
      lua_gc(L, LUA_GCCOLLECT, 0);
      if (count == 8) warm = used();
      if (!refused) break;
    }
    RecordProperty(std::string(&supply == &lua ? "lua" : "native") + (alone ? "_alone" : "_rest"),
                   static_cast<int>(count));
    // What is made once may be made while it lasts; what is lost each time shows. Blocks as the C library cuts
    // them wander by more.
    if (count > 40 && __sanitizer_get_current_allocated_bytes) {
      EXPECT_LE(static_cast<double>(used()) - static_cast<double>(warm), 40.0 * static_cast<double>(count));
    }
  }
};

TEST_P(Scarcity, LosesNothing) {
  // The module's tables alone need tens of thousands, a unit thousands.
  const long lua_step = GetParam() == "opening" ? 197 : 1;
  const long native_step = GetParam() == "contexts" ? 29 : GetParam() == "unit" ? 23 : 1;
  for (const bool alone : {true, false}) {
    sweep(native, alone, native_step);
    sweep(lua, alone, lua_step);
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Scarcity,
                         testing::Values("objects", "messages", "blocking", "commands", "coroutines", "events",
                                         "contexts", "unit", "records", "opening"),
                         [](const auto& scenario) { return scenario.param; });

// As it lists its folder and as it leaves it.
TEST(FilesInScarcity, StayAndDoNotEndTheProcess) {
  using rovk::unit::things::FileStore;
  const std::vector<uint8_t> bytes{1, 2, 3};
  const std::vector<std::string> names{"a_name_for_which_a_string_asks_for_memory"};
  for (const bool alone : {true, false}) {
    bool refused = true;
    for (long granted = 0; refused; ++granted) {
      auto store = std::make_unique<FileStore>(FileStore::Build{});
      ASSERT_EQ(store->write(names[0], bytes), FileStore::Failure::none);
      const std::filesystem::path folder = store->folder();
      native = {granted, alone};
      try {
        static_cast<void>(store->used_bytes());
      } catch (const std::bad_alloc&) {
      }
      refused = native.refused;
      native = {};
      EXPECT_EQ(store->names(), names);
      native = {0, alone};
      store.reset();
      native = {};
      std::filesystem::remove_all(folder);
    }
  }
}

}  // namespace
