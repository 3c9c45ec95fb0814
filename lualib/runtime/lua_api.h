// Lua 5.1's C interface, as C++ sees it.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

#define ROVK_EXPORT extern "C" __attribute__((visibility("default")))
