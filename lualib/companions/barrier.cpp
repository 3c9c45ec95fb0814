#include "barrier.h"

bool rovk_find_barrier(lua_State* L) {
  lua_Debug frame;
  for (int level = 1; lua_getstack(L, level, &frame); ++level) {
    // A line has only what is written in Lua; most levels are that.
    lua_getinfo(L, "l", &frame);
    if (frame.currentline >= 0) continue;
    lua_getinfo(L, "f", &frame);
    if (lua_iscfunction(L, -1)) return true;
    lua_pop(L, 1);
  }
  return false;
}

int rovk_barrier(lua_State* L) {
  if (lua_tothread(L, 1) != L) {
    lua_pushliteral(L, "other");
    return 1;
  }
  return rovk_find_barrier(L) ? 1 : 0;
}
