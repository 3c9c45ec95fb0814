// Callback references: a Lua function kept in the registry behind a pointer that a library can carry.
//
// A library may answer when the Lua state is long gone. So the state knows the references that this module
// has made, and empties them when it closes.
#include <rovk/trans_delivery.h>
#include <stdlib.h>

#include <atomic>

#include "callbacks.h"
#include "protected.h"

#pragma weak rovktrans_dispatch

namespace {

// Registry table from the key of a reference to the coroutine that it was made on, and keeps alive.
const char coroutines_key = 0;
// Registry table from the key of a reference to its record; false once the state is being closed.
const char records_key = 0;
// Userdata whose finalizer runs when the state is closed. It has the head of the list of subscriptions that
// scripts of the state have made.
const char closing_key = 0;

// A reference as this module allocates it. A program may bring a swiglua_ref of its own, so only what
// knows where its reference comes from looks behind the first field.
struct callback_record {
  swiglua_ref reference;
  bool retired;
  // Of a subscription that a script has made.
  rovk_subscription subscription;
  callback_record* next;
  callback_record** link;  // what points here; null: in no list
};

callback_record* record_of(swiglua_ref* reference) { return reinterpret_cast<callback_record*>(reference); }

// References of commands that a library has refused. Ours never answers those. Of another it is not known,
// so they are emptied, and freed when many more have been refused since.
constexpr unsigned most_retired = 1024;
std::atomic<callback_record*> retired_records[most_retired];
std::atomic<unsigned> retired_count;

bool refusal_is_final() { return rovktrans_dispatch != nullptr; }

void retire(callback_record* record) {
  record->retired = true;
  free(retired_records[retired_count.fetch_add(1) % most_retired].exchange(record));
}

ROVK_EARLY_THREAD_LOCAL thread_local rovk_starting_command* starting_commands;

void push_registered(lua_State* L, const char* key) {
  lua_pushlightuserdata(L, const_cast<char*>(key));
  lua_rawget(L, LUA_REGISTRYINDEX);
}

// Pops the value.
void register_value(lua_State* L, const char* key) {
  lua_pushlightuserdata(L, const_cast<char*>(key));
  lua_insert(L, -2);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

void unlink(callback_record* record) {
  if (!record->link) return;
  *record->link = record->next;
  if (record->next) record->next->link = record->link;
  record->link = nullptr;
}

// Nobody else could do so later, and a unit should not go on telling a script that is gone. Another library
// may not bear to be asked for a context that was closed: there the emptied references are left to it.
void end_subscriptions(callback_record* first) {
  for (callback_record* record = first; record; record = first) {
    first = record->next;
    unlink(record);
    const rovk_subscription& made = record->subscription;
    if (refusal_is_final()) made.unregister(made.context, made.address, &record->reference);
  }
}

int empty_references(lua_State* L) {
  push_registered(L, &records_key);
  if (!lua_istable(L, -1)) return 0;
  push_registered(L, &closing_key);
  auto* const head = static_cast<callback_record**>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  for (lua_pushnil(L); lua_next(L, -2); lua_pop(L, 1)) {
    *static_cast<swiglua_ref*>(lua_touserdata(L, -1)) = {nullptr, 0};
  }
  lua_pushboolean(L, 0);
  register_value(L, &records_key);
  if (head) end_subscriptions(*head);
  return 0;
}

// Expects the coroutine on top of the stack; pops it.
void set_coroutine(lua_State* L, int key) {
  push_registered(L, &coroutines_key);
  if (lua_isnil(L, -1)) {
    lua_pop(L, 1);
    lua_newtable(L);
    lua_pushvalue(L, -1);
    register_value(L, &coroutines_key);
  }
  lua_pushvalue(L, -2);
  lua_rawseti(L, -2, key);
  lua_pop(L, 2);
}

// Takes a key out of one of the tables. Setting a key that is there to nil needs no memory, so it cannot
// raise.
void forget(lua_State* L, const char* table, int key) {
  push_registered(L, table);
  if (lua_istable(L, -1)) {
    lua_rawgeti(L, -1, key);
    const bool is_there = !lua_isnil(L, -1);
    lua_pop(L, 1);
    if (is_there) {
      lua_pushnil(L);
      lua_rawseti(L, -2, key);
    }
  }
  lua_pop(L, 1);
}

void store_reference(lua_State* L, void* data) {
  auto* const reference = static_cast<swiglua_ref*>(data);
  push_registered(L, &records_key);
  if (lua_isnil(L, -1)) {
    // A state in which the module was never opened.
    rovk_references_open(L);
    push_registered(L, &records_key);
  }
  if (!lua_istable(L, -1)) lua_error(L);
  swiglua_ref_set(reference, L, 2);
  if (reference->ref < 0) return;
  lua_pushlightuserdata(L, reference);
  lua_rawseti(L, -2, reference->ref);
}

}  // namespace

void rovk_references_open(lua_State* L) {
  push_registered(L, &records_key);
  const bool is_open = !lua_isnil(L, -1);
  lua_pop(L, 1);
  if (is_open) return;
  *static_cast<callback_record**>(lua_newuserdata(L, sizeof(void*))) = nullptr;
  lua_createtable(L, 0, 1);
  lua_pushcclosure(L, empty_references, 0);
  lua_setfield(L, -2, "__gc");
  lua_setmetatable(L, -2);
  register_value(L, &closing_key);
  lua_newtable(L);
  register_value(L, &records_key);
}

bool rovk_references_are_open(lua_State* L) {
  push_registered(L, &records_key);
  const bool is_open = lua_istable(L, -1);
  lua_pop(L, 1);
  return is_open;
}

void rovk_keep_subscription(lua_State* L, swiglua_ref* reference, const rovk_subscription& made) {
  push_registered(L, &closing_key);
  auto* const head = static_cast<callback_record**>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  if (!head) return;
  callback_record* const record = record_of(reference);
  record->subscription = made;
  record->next = *head;
  record->link = head;
  if (*head) (*head)->link = &record->next;
  *head = record;
}

void rovk_drop_subscription(swiglua_ref* reference) { unlink(record_of(reference)); }

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
    forget(L, &records_key, reference->ref);
    const bool is_main = lua_pushthread(L) != 0;
    lua_pop(L, 1);
    if (!is_main) forget(L, &coroutines_key, reference->ref);
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
    if (refusal_is_final()) {
      freeContext(starting.reference);
    } else {
      swiglua_ref_clear(starting.reference);
      retire(reinterpret_cast<callback_record*>(starting.reference));
    }
  }
  return status;
}

bool rovk_is_retired(const swiglua_ref* reference) {
  return reinterpret_cast<const callback_record*>(reference)->retired;
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
