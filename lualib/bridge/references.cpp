// Callback references: a Lua function kept in the registry behind a pointer that a library can carry.
#include <stdlib.h>

#include <atomic>

#include "callbacks.h"
#include "protected.h"

namespace {

// Registry table from the key of a reference to the coroutine that it was made on, and keeps alive.
const char coroutines_key = 0;

// A reference as this module allocates it. A program may bring a swiglua_ref of its own, so only
// rovk_command_started, which knows where its reference comes from, looks behind the first field.
struct callback_record {
  swiglua_ref reference;
  callback_record* next_retired;
};

// References of commands that the library refused. Whether it calls back all the same is not known, so
// they are emptied but not freed.
std::atomic<callback_record*> retired_records;

// One pointer has room in the space that every thread keeps ready, so reaching it costs no call.
[[gnu::tls_model("initial-exec")]] thread_local rovk_starting_command* starting_commands;

// Expects the coroutine on top of the stack; pops it.
void set_coroutine(lua_State* L, int key) {
  lua_pushlightuserdata(L, const_cast<char*>(&coroutines_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_isnil(L, -1)) {
    lua_pop(L, 1);
    lua_newtable(L);
    lua_pushlightuserdata(L, const_cast<char*>(&coroutines_key));
    lua_pushvalue(L, -2);
    lua_rawset(L, LUA_REGISTRYINDEX);
  }
  lua_pushvalue(L, -2);
  lua_rawseti(L, -2, key);
  lua_pop(L, 2);
}

void forget_coroutine(lua_State* L, int key) {
  lua_pushlightuserdata(L, const_cast<char*>(&coroutines_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_istable(L, -1)) {
    lua_rawgeti(L, -1, key);
    const bool is_there = !lua_isnil(L, -1);
    lua_pop(L, 1);
    // Setting a key that is there to nil needs no memory, so it cannot raise.
    if (is_there) {
      lua_pushnil(L);
      lua_rawseti(L, -2, key);
    }
  }
  lua_pop(L, 1);
}

void store_reference(lua_State* L, void* data) { swiglua_ref_set(static_cast<swiglua_ref*>(data), L, 2); }

}  // namespace

ROVK_EXPORT void swiglua_ref_set(swiglua_ref* reference, lua_State* L, int index) {
  lua_pushvalue(L, index);
  const int key = luaL_ref(L, LUA_REGISTRYINDEX);
  reference->state = L;
  reference->ref = key;
  if (lua_pushthread(L)) {
    lua_pop(L, 1);
  } else {
    set_coroutine(L, key);
  }
}

ROVK_EXPORT void swiglua_ref_get(swiglua_ref* reference) {
  if (reference->state) lua_rawgeti(reference->state, LUA_REGISTRYINDEX, reference->ref);
}

ROVK_EXPORT void swiglua_ref_clear(swiglua_ref* reference) {
  lua_State* const L = reference->state;
  if (L && reference->ref != LUA_NOREF && reference->ref != LUA_REFNIL) {
    forget_coroutine(L, reference->ref);
    luaL_unref(L, LUA_REGISTRYINDEX, reference->ref);
  }
  reference->state = nullptr;
  reference->ref = 0;
}

ROVK_EXPORT swiglua_ref* buildCallbackRef(SWIGLUA_FN function) {
  auto* const record = static_cast<callback_record*>(calloc(1, sizeof(callback_record)));
  if (!record) return nullptr;
  if (!rovk_run_protected(function.state, store_reference, &record->reference, function.index)) {
    swiglua_ref_clear(&record->reference);
    free(record);
    return nullptr;
  }
  return &record->reference;
}

ROVK_EXPORT swiglua_ref* setUpContext(void* context) {
  auto* const reference = static_cast<swiglua_ref*>(context);
  swiglua_ref_get(reference);
  return reference;
}

ROVK_EXPORT void freeContext(swiglua_ref* reference) {
  for (rovk_starting_command* starting = starting_commands; starting; starting = starting->outer) {
    if (starting->reference == reference) starting->released = true;
  }
  swiglua_ref_clear(reference);
  free(reference);
}

swiglua_ref* rovk_start_command(rovk_starting_command& starting, SWIGLUA_FN function) {
  starting.reference = buildCallbackRef(function);
  if (!starting.reference) return nullptr;
  starting.released = false;
  starting.outer = starting_commands;
  starting_commands = &starting;
  return starting.reference;
}

int32_t rovk_command_started(rovk_starting_command& starting, int32_t status) {
  starting_commands = starting.outer;
  if (status != 0 && !starting.released) {
    swiglua_ref_clear(starting.reference);
    auto* const record = reinterpret_cast<callback_record*>(starting.reference);
    record->next_retired = retired_records.load(std::memory_order_relaxed);
    while (!retired_records.compare_exchange_weak(record->next_retired, record)) {
    }
  }
  return status;
}

swiglua_ref* rovk_subscribe(void* context, uint16_t address, SWIGLUA_FN function, native_function internal_callback,
                            native_function library_register) {
  using library_function = int32_t (*)(void*, uint16_t, native_function, void*);
  swiglua_ref* const reference = buildCallbackRef(function);
  const auto call = reinterpret_cast<library_function>(library_register);
  if (call(context, address, internal_callback, reference) == 0) return reference;
  if (reference) freeContext(reference);
  return nullptr;
}

int32_t rovk_unsubscribe(void* context, uint16_t address, swiglua_ref* reference, native_function internal_callback,
                         native_function library_unregister) {
  using library_function = int32_t (*)(void*, uint16_t, native_function, void*);
  const auto call = reinterpret_cast<library_function>(library_unregister);
  // The library lets go of the reference before it is freed.
  const int32_t status = call(context, address, internal_callback, reference);
  if (reference) freeContext(reference);
  return status;
}
