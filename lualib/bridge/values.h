// Native values and error records to Lua.
#pragma once

#include "runtime/tables.h"

// Pushes one value: a number, a version table, or a table of an array's elements (empty for null).
void rovk_push_value(lua_State* L, const value_row& row, const native_value& value);

// Pushes the error table of an error record of 22 bytes, or of null.
void rovk_push_error_table(lua_State* L, const void* record, const decoder_row& decoder);

// Fills the table on top, whatever it is, from an error record or from null. Where a service has no errors
// of its own, an id from 32 up is reported on the standard output.
void rovk_decode_error(lua_State* L, const void* record, const decoder_row& decoder);
