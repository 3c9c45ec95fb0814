#include "barrier.h"

int rovk_barrier(lua_State* L) {
  lua_Debug frame;
  for (int level = 1; lua_getstack(L, level, &frame); ++level) {
    lua_getinfo(L, "f", &frame);
    if (lua_iscfunction(L, -1)) return 1;
    lua_pop(L, 1);
  }
  return 0;
}
