// The state with counted memory, and what stands in front of the libraries in these tests.
#include "host.h"

#include <rovk/trans.h>

#include <cerrno>
#include <cstdlib>
#include <new>

namespace host {
namespace {

thread_local std::string log_lines;

}  // namespace

long native_remaining = -1;
bool (*refuses)();

std::string take_log() {
  std::string taken;
  taken.swap(log_lines);
  return taken;
}

void* State::allocate(void* self, void* block, std::size_t, std::size_t new_size) {
  auto& state = *static_cast<State*>(self);
  if (new_size == 0) {
    std::free(block);
    return nullptr;
  }
  if (state.remaining == 0) return nullptr;
  if (state.remaining > 0) --state.remaining;
  return std::realloc(block, new_size);
}

State::State() : L_(lua_newstate(allocate, this)) { luaL_openlibs(L_); }

State::~State() {
  remaining = -1;
  lua_close(L_);
}

void State::open_module() {
  lua_pushcfunction(L_, luaopen_rovk_message);
  lua_call(L_, 0, 0);
}

std::string State::run(const char* text) {
  if (luaL_loadstring(L_, text) == 0) lua_pcall(L_, 0, 1, 0);
  const char* const result = lua_tostring(L_, -1);
  std::string out = result ? result : luaL_typename(L_, -1);
  lua_pop(L_, 1);
  return out;
}

int State::registry_size() {
  int size = 0;
  lua_pushnil(L_);
  while (lua_next(L_, LUA_REGISTRYINDEX)) {
    // A released reference keeps its number, with the next free one as its value.
    if (!(lua_type(L_, -2) == LUA_TNUMBER && lua_type(L_, -1) == LUA_TNUMBER)) ++size;
    lua_pop(L_, 1);
  }
  return size;
}

}  // namespace host

// In front of the library's: the tests see what the bridge logs.
extern "C" __attribute__((visibility("default"))) int32_t rovktrans_log_message(void*, rovk_log_priority priority,
                                                                                const char* text, ...) try {
  host::log_lines += std::to_string(priority) + " " + text + "\n";
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

extern "C" void* __real_calloc(size_t count, size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  if (host::native_remaining == 0 || (host::refuses && host::refuses())) return nullptr;
  if (host::native_remaining > 0) --host::native_remaining;
  return __real_calloc(count, size);
}
