// The one function through which protected work runs, kept in the registry so that a run allocates nothing.
// Its upvalues are the key of the error handler and that of error tables, which then need not be hashed anew, and
// the text of an error inside an error handler: Lua makes that one when it has left the protected call already, and
// would, without memory for it, raise through the library that delivers.
#include "protected.h"

#include <rovk/bridge.h>

namespace {

const char runner_key = 0;

struct protected_run {
  rovk_protected_work work;
  void* data;
};

int run(lua_State* L) {
  const auto* const call = static_cast<const protected_run*>(lua_touserdata(L, 1));
  call->work(L, call->data);
  return 0;
}

void push_runner(lua_State* L) {
  lua_pushstring(L, ROVK_ON_ERROR_KEY);
  lua_pushliteral(L, "error_id");
  lua_pushliteral(L, "error in error handling");
  lua_pushcclosure(L, run, 3);
}

int open(lua_State* L) {
  rovk_protected_open(L);
  return 0;
}

// False, with nothing pushed: in a state in which the module was never opened there is no memory for a runner.
bool push_ready_runner(lua_State* L) {
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_isfunction(L, -1)) return true;
  lua_pop(L, 1);
  const bool opened = lua_cpcall(L, open, nullptr) == 0;
  if (!opened) {
    lua_pop(L, 1);
    return false;
  }
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  return true;
}

}  // namespace

void rovk_protected_open(lua_State* L) {
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  push_runner(L);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

bool rovk_run_protected(lua_State* L, rovk_protected_work work, void* data, int index) {
  if (index < 0 && index > LUA_REGISTRYINDEX) index += lua_gettop(L) + 1;
  protected_run call = {work, data};
  if (!push_ready_runner(L)) return false;
  lua_pushlightuserdata(L, &call);
  if (index) {
    lua_pushvalue(L, index);
  } else {
    lua_pushnil(L);
  }
  if (lua_pcall(L, 2, 0, 0) == 0) return true;
  lua_pop(L, 1);
  return false;
}

bool rovk_run_handled(lua_State* L, rovk_protected_work work, void* data) {
  const int top = lua_gettop(L);
  protected_run call = {work, data};
  if (!push_ready_runner(L)) return false;
  lua_getupvalue(L, -1, 1);
  lua_rawget(L, LUA_REGISTRYINDEX);
  const int handler = lua_isfunction(L, -1) ? top + 1 : 0;
  // The handler goes below, or what is no handler goes away.
  lua_insert(L, -2);
  if (!handler) lua_remove(L, top + 1);
  lua_pushlightuserdata(L, &call);
  const int status = lua_pcall(L, 1, 0, handler);
  if (status != 0) rovk_drop_error(L, status, handler);
  lua_settop(L, top);
  return status == 0;
}

void rovk_push_error_id(lua_State* L) {
  if (!push_ready_runner(L)) luaL_error(L, "not enough memory");
  lua_getupvalue(L, -1, 2);
  lua_remove(L, -2);
}

void rovk_drop_error(lua_State* L, int status, int handler) {
  if (handler && status != LUA_ERRRUN) {
    // Where the stack or the memory ended there was no room for the handler; now there is.
    lua_pushvalue(L, handler);
    lua_insert(L, -2);
    if (lua_pcall(L, 1, 0, 0) == 0) return;
  }
  lua_pop(L, 1);
}
