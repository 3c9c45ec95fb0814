// The one function through which protected work runs, kept in the registry so that a run allocates nothing.
#include "protected.h"

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

}  // namespace

void rovk_protected_open(lua_State* L) {
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  lua_pushcclosure(L, run, 0);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

bool rovk_run_protected(lua_State* L, rovk_protected_work work, void* data, int index) {
  if (index < 0 && index > LUA_REGISTRYINDEX) index += lua_gettop(L) + 1;
  protected_run call = {work, data};
  lua_pushlightuserdata(L, const_cast<char*>(&runner_key));
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (!lua_isfunction(L, -1)) {
    // A state in which the module was never opened.
    lua_pop(L, 1);
    lua_pushcclosure(L, run, 0);
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
