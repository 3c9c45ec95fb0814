// What keeps a coroutine of plain Lua 5.1 from yielding, for a script.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

// Puts on the stack the innermost function of C, such as pcall, between the function that called this one and the
// beginning of its coroutine. False, and nothing on the stack: there is none. Asked with each command of a task, so it
// makes no tables, as debug.getinfo would.
bool rovk_find_barrier(lua_State* L);

// barrier(thread): "other" when the caller does not run in that coroutine; else what rovk_find_barrier finds.
int rovk_barrier(lua_State* L);
