// What keeps a coroutine of plain Lua 5.1 from yielding, for a script.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

// barrier(thread): "other" when the caller does not run in that coroutine; else the innermost function of C under which
// it runs in it, such as pcall; nothing when there is none. Asked with each command of a task, so it makes no tables,
// as debug.getinfo would.
int rovk_barrier(lua_State* L);
