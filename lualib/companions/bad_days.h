// The functions of bad_days.cpp, for the table of rovk_companion.
#pragma once

extern "C" {
#include <lauxlib.h>
}

extern const luaL_Reg rovk_bad_days[];
