// The names by which the module's functions find their tables in a Lua state, at fixed places of one table.
// That table is the environment of every function that the open sequence makes, so a name is one array
// access away and costs no search among Lua's strings.
#pragma once

#include "lua_api.h"

enum swig_shared_place {
  SHARED_GET = 1,   // ".get"
  SHARED_SET,       // ".set"
  SHARED_REGISTRY,  // "SWIG"
  SHARED_CLASSES,   // the name of the first class; the others follow
};

// Makes the table the environment of the running function, which the functions that this makes inherit.
void swig_shared_open(lua_State* L);

// Inside a function of the module. Lua's debug library can give it another environment, so what comes may
// be anything.
inline void swig_shared_push(lua_State* L, int place) { lua_rawgeti(L, LUA_ENVIRONINDEX, place); }

// Pops the value.
inline void swig_shared_set(lua_State* L, int place) { lua_rawseti(L, LUA_ENVIRONINDEX, place); }
