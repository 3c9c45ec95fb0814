// Running what may raise a Lua error from where none may pass: inside a library's callback, or with
// native memory in hand.
#pragma once

#include "runtime/lua_api.h"

using rovk_protected_work = void (*)(lua_State* L, void* data);

// Makes the function that runs protected work; without it each run costs a closure. Raises when memory
// runs out.
void rovk_protected_open(lua_State* L);

// Runs `work` on a stack of its own with, at index 2, a copy of the value at `index` (0: nil). False:
// it raised; the error is dropped. Raises nothing itself, and leaves the stack as it was.
bool rovk_run_protected(lua_State* L, rovk_protected_work work, void* data, int index = 0);

// The same without a value, and what a script has left under ROVK_ON_ERROR_KEY is told of an error.
bool rovk_run_handled(lua_State* L, rovk_protected_work work, void* data);

// Pushes the key that every error table has, "error_id".
void rovk_push_error_id(lua_State* L);

// Pops the error of a call that has failed with `status`. The function at index `handler` (0: none), with
// which the call was made, is told now where it could not be told before.
void rovk_drop_error(lua_State* L, int status, int handler);
