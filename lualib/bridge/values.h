// Native values and error records to Lua.
#pragma once

#include "runtime/tables.h"

// Pushes one value: a number, a version table, or a table of an array's elements (empty for null).
void rovk_push_value(lua_State* L, const value_row& row, const native_value& value);

// Fills the table on top from an error record of 22 bytes, or from null. Where a service has no errors
// of its own, an id from 32 up is reported on the standard output.
void rovk_decode_error(lua_State* L, const void* record, const decoder_row& decoder);
