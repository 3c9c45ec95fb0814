// The quick look at a command's call: whether it is as it should be, which most are.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

// look_for(names, lows, highs, own_index): makes look(thread, class, self, ...) for a command with inputs of those
// names, in that order, whole numbers within those limits; `own_index` is where the device's own index stands among
// them, 0 where the command takes none from it. What it makes gives true and the native function's inputs where
// `self` has the metatable `class`, the call is in that coroutine, which can yield, and the inputs, by place or in one
// table by name, are right. Anywhere else it gives nothing: what is wrong is for rovk/commands.lua to find and to
// tell. Gives nothing itself where there are more inputs than it can keep.
int rovk_look_for(lua_State* L);
