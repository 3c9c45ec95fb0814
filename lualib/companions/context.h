// The transaction context behind a Lua object of rovk_message. The companions are modules of their own:
// they know such an object by the registry's ring of types, which all modules of the kind share.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

// The context pointer of the argument at `index`, not yet known to be live: librovktrans says that.
// Raises an argument error for anything else.
void* rovk_check_context(lua_State* L, int index);
