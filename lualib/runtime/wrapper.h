// The anatomy that all wrappers share: count, type checks, conversions, work, results. Each wrapper is
// a row; the function that a script gets is a thunk that hands its row's number to one of these.
#pragma once

#include "lua_api.h"
#include "tables.h"

// A thunk is to leave by a jump: it has no frame then, and needs no unwind tables for Lua errors to pass. So
// what it calls is known to be in this module, and where all arguments travel on the stack, these two do not.
#ifdef __i386__
#define SWIG_RUNNER [[gnu::visibility("hidden"), gnu::regparm(2)]]
#else
#define SWIG_RUNNER [[gnu::visibility("hidden")]]
#endif
SWIG_RUNNER int swig_run_command(lua_State* L, unsigned row);
SWIG_RUNNER int swig_run_constructor(lua_State* L, unsigned class_number);
SWIG_RUNNER int swig_run_attribute_get(lua_State* L, unsigned row);
SWIG_RUNNER int swig_run_attribute_set(lua_State* L, unsigned row);
SWIG_RUNNER int swig_run_variable_get(lua_State* L, unsigned row);
SWIG_RUNNER int swig_run_variable_set(lua_State* L, unsigned row);

// Where the accessors of attributes stand in the file.
#define SWIG_ACCESSOR [[gnu::section("swig_accessors")]]
extern "C" {
[[gnu::visibility("hidden")]] extern const char __start_swig_accessors[];
[[gnu::visibility("hidden")]] extern const char __stop_swig_accessors[];
}

// Raises "number must not be negative" for a negative number and NaN.
uint32_t swig_check_unsigned(lua_State* L, int index);
