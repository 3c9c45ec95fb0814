// The functions of bad_days.cpp, for the table of rovk_companion.
#pragma once

extern "C" {
#include <lauxlib.h>
}

extern const luaL_Reg rovk_bad_days[];

// What actions need in a state. Before any of them, since what is made while a state closes is not finalized.
void rovk_bad_days_open(lua_State* L);
