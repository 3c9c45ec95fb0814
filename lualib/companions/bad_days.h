// The functions of bad_days.cpp, for the table of rovk_companion.
#pragma once

extern "C" {
#include <lauxlib.h>
}

// Adds them to the table on top.
void rovk_bad_days_add(lua_State* L);
