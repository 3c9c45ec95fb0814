// Arrays between native memory and Lua tables, for ten element types and for pointers. A part of the
// runtime for wrappers to come; no wrapper of this module moves its arrays this way.
//
// An array that a read returns is the caller's, to be freed with free(). On failure the result is null,
// nothing is left allocated, and the message lies on top of the stack: the caller raises it. `index` is
// an absolute stack index.
#pragma once

#include "lua_api.h"
#include "type_registry.h"

// The number of entries before the first nil, by raw access.
int swig_table_length(lua_State* L, int index);

// Element: signed char, unsigned char, short, unsigned short, int, unsigned, long, unsigned long, float,
// double. Integers take 32 bits at most, by the conversions of wrappers but without a test of the sign.

// 1 when all `size` entries were numbers, 0 otherwise.
template <typename Element>
int swig_table_read(lua_State* L, int index, Element* array, int size);
// "expected a table of size %d", "table must contain numbers"
template <typename Element>
Element* swig_table_get_fixed(lua_State* L, int index, int size);
// "expected a table", "table appears to be empty", "table must contain numbers"
template <typename Element>
Element* swig_table_get_var(lua_State* L, int index, int* out_size);
// Leaves a new table on top.
template <typename Element>
void swig_table_push(lua_State* L, const Element* array, int size);

// The same for objects of a type; nil is refused.
int swig_table_read_pointers(lua_State* L, int index, void** array, int size, swig_type_entry* type);
// Also "table must contain pointers of type %s", with the mangled name.
void** swig_table_get_fixed_pointers(lua_State* L, int index, int size, swig_type_entry* type);
void** swig_table_get_var_pointers(lua_State* L, int index, int* out_size, swig_type_entry* type);
void swig_table_push_pointers(lua_State* L, void* const* array, int size, swig_type_entry* type, int own);
