// The one function through which protected work runs, kept in the registry so that a run allocates nothing.
// Its upvalue is the key of the error handler, so that looking for one costs no search for the string.
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
  lua_pushcclosure(L, run, 1);
}

}  // namespace

void rovk_protected_open(lua_State* L) {
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  push_runner(L);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

int rovk_push_error_handler(lua_State* L) {
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_isfunction(L, -1)) return lua_gettop(L);
  lua_pop(L, 1);
  return 0;
}

bool rovk_run_protected(lua_State* L, rovk_protected_work work, void* data, int index) {
  if (index < 0 && index > LUA_REGISTRYINDEX) index += lua_gettop(L) + 1;
  protected_run call = {work, data};
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (!lua_isfunction(L, -1)) {
    // A state in which the module was never opened.
    lua_pop(L, 1);
    push_runner(L);
  }
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
