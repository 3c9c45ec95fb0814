// The texts of a bad call. Each function raises and does not return; the result type lets a caller write
// `return swig_fail_...`. The texts go out bare, without a position.
#pragma once

#include "lua_api.h"

[[noreturn]] int swig_fail_count(lua_State* L, const char* name, int wanted, int given);
[[noreturn]] int swig_fail_argument(lua_State* L, const char* name, int argument, const char* expected,
                                    const char* got);
