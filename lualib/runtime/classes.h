// Record classes as a script sees them: one metatable a class, kept in the registry, and the functions
// in it.
#pragma once

#include "lua_api.h"
#include "tables.h"

void swig_class_registry_push(lua_State* L);
void swig_class_metatable_push(lua_State* L, const char* name);
void swig_class_resolve_bases(lua_State* L, swig_class_entry* entry);
// Pushes the functions that the metatables of all classes share, and gives the index of the first.
int swig_class_functions_push(lua_State* L);
// Expects the module table on top of the stack, and the shared functions at `functions`.
void swig_class_register(lua_State* L, swig_class_entry* entry, int functions);
// Both expect the class metatable on top of the stack.
void SWIG_Lua_add_class_details(lua_State* L, const swig_class_entry* entry);
void SWIG_Lua_add_class_variable(lua_State* L, const char* name, lua_CFunction get, lua_CFunction set);

int SWIG_Lua_class_get(lua_State* L);
int SWIG_Lua_class_set(lua_State* L);
int SWIG_Lua_class_destruct(lua_State* L);
int SWIG_Lua_class_tostring(lua_State* L);
int SWIG_Lua_class_disown(lua_State* L);

// Raises "This variable is immutable".
int swig_immutable_set(lua_State* L);
