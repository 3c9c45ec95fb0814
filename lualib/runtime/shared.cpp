#include "shared.h"

#include "tables.h"

void swig_shared_open(lua_State* L) {
  lua_createtable(L, SHARED_CLASSES + static_cast<int>(swig_class_count), 0);
  lua_replace(L, LUA_ENVIRONINDEX);
  lua_pushliteral(L, ".get");
  swig_shared_set(L, SHARED_GET);
  lua_pushliteral(L, ".set");
  swig_shared_set(L, SHARED_SET);
  lua_pushliteral(L, "SWIG");
  swig_shared_set(L, SHARED_REGISTRY);
}
