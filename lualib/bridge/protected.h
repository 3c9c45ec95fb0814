// Running what may raise a Lua error from where none may pass: inside a library's callback, or with
// native memory in hand.
#pragma once

#include "runtime/lua_api.h"

using rovk_protected_work = void (*)(lua_State* L, void* data);

// Makes the function that runs protected work; without it each run costs a closure. Raises when memory
// runs out.
void rovk_protected_open(lua_State* L);

// For protected work: pushes what a script has left under ROVK_ON_ERROR_KEY and gives its index, or pushes
// nothing and gives 0.
int rovk_push_error_handler(lua_State* L);

// Runs `work` on a stack of its own with, at index 2, a copy of the value at `index` (0: nil). False:
// it raised; the error is dropped. Raises nothing itself, and leaves the stack as it was.
bool rovk_run_protected(lua_State* L, rovk_protected_work work, void* data, int index = 0);
