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

// Raises "number must not be negative" for a negative number and NaN.
uint32_t swig_check_unsigned(lua_State* L, int index);
