// The anatomy that all wrappers share: count, type checks, conversions, work, results. Each wrapper is
// a row; the function that a script gets is a thunk that hands its row's number to one of these.
#pragma once

#include "lua_api.h"
#include "tables.h"

int swig_run_command(lua_State* L, unsigned row);
int swig_run_constructor(lua_State* L, unsigned class_number);
int swig_run_attribute_get(lua_State* L, unsigned row);
int swig_run_attribute_set(lua_State* L, unsigned row);
int swig_run_variable_get(lua_State* L, unsigned row);
int swig_run_variable_set(lua_State* L, unsigned row);

// Where the accessors of attributes stand in the file.
#define SWIG_ACCESSOR [[gnu::section("swig_accessors")]]
extern "C" {
[[gnu::visibility("hidden")]] extern const char __start_swig_accessors[];
[[gnu::visibility("hidden")]] extern const char __stop_swig_accessors[];
}

// Raises "number must not be negative" for a negative number and NaN.
uint32_t swig_check_unsigned(lua_State* L, int index);
