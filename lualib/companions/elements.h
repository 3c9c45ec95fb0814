// The elements of an array object, for a script.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

// elements(array): takes an object of `uint8_t *` or `rovk_address *` that belongs to a record, gives a table of its
// numbers. Anything else, and an array whose record is gone, is an argument error.
int rovk_elements(lua_State* L);
