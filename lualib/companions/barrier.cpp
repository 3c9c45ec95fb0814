#include "barrier.h"

int rovk_barrier(lua_State* L) {
  if (lua_tothread(L, 1) != L) {
    lua_pushliteral(L, "other");
    return 1;
  }
  lua_Debug frame;
  for (int level = 1; lua_getstack(L, level, &frame); ++level) {
    lua_getinfo(L, "f", &frame);
    if (lua_iscfunction(L, -1)) return 1;
    lua_pop(L, 1);
  }
  return 0;
}
