// The first three phases of a wrapper: count, type checks, conversions. What comes out is an array of
// native values; nothing has been allocated, so a failure at any point leaves nothing behind.
#pragma once

#include "tables.h"

enum { SWIG_BYTE_TABLE_SIZE = 22, SWIG_ALIAS_COUNT = 10, SWIG_MAX_ARGUMENTS = 16 };

// Room for the arguments of one call. Lives on the native stack.
struct argument_buffer {
  native_value values[SWIG_MAX_ARGUMENTS];
  // No wrapper has more than one table.
  union {
    uint8_t bytes[SWIG_BYTE_TABLE_SIZE];
    uint16_t aliases[SWIG_ALIAS_COUNT];
  };
};

// Fills `out`, one value for each argument, or raises.
void swig_take_arguments(lua_State* L, const command_row& row, argument_buffer& out);
