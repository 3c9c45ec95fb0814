// What the module costs a process, and Lua states for that.
#pragma once

#include <lua.hpp>

namespace rovk::bench {

struct FreshState {
  lua_State* const L = luaL_newstate();
  FreshState() { luaL_openlibs(L); }
  ~FreshState() { lua_close(L); }
  FreshState(const FreshState&) = delete;
  FreshState& operator=(const FreshState&) = delete;

  double heap_kilobytes() const;
};

// Loads the module as an interpreter does.
lua_CFunction module_opener(const char* folder);
void open_module(lua_State* L, lua_CFunction open);

// Both in a process of their own, where nothing is loaded yet; so they come before all else.
double load_seconds(const char* folder);
long resident_kilobytes(const char* folder, bool opened);

}  // namespace rovk::bench
