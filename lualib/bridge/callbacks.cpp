// Delivery: the fixed order inside a callback. The context pointer is tested, the function pushed, the
// values pushed, the function called, and a command's reference freed.
#include "callbacks.h"

#include <rovk/constants.h>
#include <rovk/trans.h>

#include "protected.h"
#include "values.h"

namespace {

const char carrier_key = 0;

struct delivery {
  const callback_row* row;
  void* context;
  const native_value* values;
  swiglua_ref* reference;
  const void* error;
  bool has_error;
};

void log_failed_call(void* context) {
  rovktrans_log_message(context, ROVK_LOG_PRIORITY_ERR, "Lua swig bindings failed on a pcall. ignoring and continuing",
                        static_cast<void*>(nullptr));
}

// Calls the function below the `count` arguments on top. `handler`: index of the error handler, or 0.
void call_function(lua_State* L, void* context, int count, int handler) {
  const int status = lua_pcall(L, count, 0, handler);
  if (status == 0) return;
  rovk_drop_error(L, status, handler);
  log_failed_call(context);
}

void deliver(lua_State* L, void* data) {
  const delivery& call = *static_cast<const delivery*>(data);
  const int count = call.row->value_count;
  // The function, the values, the error table, and what is pushed to fill a table.
  luaL_checkstack(L, count + 8, "too many callbacks inside each other");
  // Before anything is allocated: a collection in a state that is being closed may empty the reference.
  lua_rawgeti(L, LUA_REGISTRYINDEX, call.reference->ref);
  for (int i = 0; i < count; ++i) rovk_push_value(L, value_lists[call.row->values + i], call.values[i]);
  if (call.has_error) rovk_push_error_table(L, call.error, decoder_rows[call.row->decoder]);
  lua_call(L, count + call.has_error, 0);
}

// The state on which a reference's function can run.
lua_State* runnable_state(lua_State* L) {
  const bool is_main = lua_pushthread(L) != 0;
  lua_pop(L, 1);
  if (is_main) return L;
  lua_Debug frame;
  if (lua_status(L) == 0 && lua_getstack(L, 0, &frame)) return L;
  lua_pushlightuserdata(L, const_cast<char*>(&carrier_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  lua_State* const carrier = lua_tothread(L, -1);
  lua_pop(L, 1);
  return carrier ? carrier : L;
}

void run_delivery(delivery& call) {
  lua_State* const L = runnable_state(call.reference->state);
  if (!rovk_run_handled(L, deliver, &call)) log_failed_call(call.context);
}

}  // namespace

void rovk_bridge_open(lua_State* L) {
  rovk_protected_open(L);
  rovk_references_open(L);
  // A module that is opened again may be inside a callback: what is there stays.
  lua_pushlightuserdata(L, const_cast<char*>(&carrier_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_isnil(L, -1)) {
    lua_pushlightuserdata(L, const_cast<char*>(&carrier_key));
    lua_newthread(L);
    lua_rawset(L, LUA_REGISTRYINDEX);
  }
  // The head of the registry's list of free keys. With its place taken now, releasing a key never
  // allocates, and so cannot raise inside a library's callback.
  lua_rawgeti(L, LUA_REGISTRYINDEX, 0);
  if (lua_isnil(L, -1)) {
    lua_pushinteger(L, 0);
    lua_rawseti(L, LUA_REGISTRYINDEX, 0);
  }
  lua_pop(L, 2);
  // Room for the references of most scripts. A table of LuaJIT that finds no memory to grow may hide keys that
  // are whole numbers, the free ones among them.
  int keys[16];
  for (int& key : keys) {
    lua_pushboolean(L, 1);
    key = luaL_ref(L, LUA_REGISTRYINDEX);
  }
  for (const int key : keys) luaL_unref(L, LUA_REGISTRYINDEX, key);
}

ROVK_EXPORT void callCallbackFunc(void* transaction_context, swiglua_ref* reference, int count) {
  lua_State* const L = reference->state;
  lua_getfield(L, LUA_REGISTRYINDEX, ROVK_ON_ERROR_KEY);
  if (!lua_isfunction(L, -1)) {
    lua_pop(L, 1);
    call_function(L, transaction_context, count, 0);
    return;
  }
  const int handler = lua_gettop(L) - count - 1;
  lua_insert(L, handler);
  call_function(L, transaction_context, count, handler);
  lua_remove(L, handler);
}

void rovk_deliver_command(unsigned row, void* context, const void* error, const native_value* values, void* user) {
  auto* const reference = static_cast<swiglua_ref*>(user);
  // Null: no Lua function.
  if (!reference || rovk_is_retired(reference)) return;
  if (reference->state) {
    delivery call = {&callback_rows[row], context, values, reference, error, true};
    run_delivery(call);
  }
  freeContext(reference);
}

void rovk_deliver_event(unsigned row, void* context, const native_value* values, void* user) {
  auto* const reference = static_cast<swiglua_ref*>(user);
  if (!reference || !reference->state) return;
  delivery call = {&callback_rows[row], context, values, reference, nullptr, false};
  run_delivery(call);
}
