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

// Failures. None returns; the result type lets a caller write `return swig_fail_...`.
int swig_fail_count(lua_State* L, const char* name, int wanted);
int swig_fail_argument(lua_State* L, const char* name, int argument, const char* expected, const char* got);

// Raises "number must not be negative" for a negative number and NaN.
uint32_t swig_check_unsigned(lua_State* L, int index);
