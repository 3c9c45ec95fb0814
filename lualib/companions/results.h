// What functions of the companions give back, and what they say of a library below that lacks a function.
#pragma once

#include <cstdint>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

inline constexpr double nanoseconds_per_ms = 1e6;

// Raises an error when the weak symbol of `library` is not there.
template <typename Function>
void rovk_check_present(lua_State* L, Function* function, const char* library, const char* name) {
  if (!function) luaL_error(L, "the %s under this program has no %s", library, name);
}

#define CHECK_TRANS(name) rovk_check_present(L, name, "librovktrans", #name)
#define CHECK_UNIT(name) rovk_check_present(L, name, "librovk-transport", #name)

// Pushes nil, a text and the status; gives their number.
int rovk_push_failure(lua_State* L, int32_t status, const char* text);
// The same in the words of librovk-transport, which has some for what a script can get wrong.
int rovk_push_unit_failure(lua_State* L, int32_t status);
// true, or for a negative status the failure.
int rovk_push_done(lua_State* L, int32_t status);
