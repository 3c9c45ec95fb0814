// Record classes as a script sees them: one metatable a class, kept in the registry, and the functions
// in it.
#pragma once

#include "lua_api.h"
#include "tables.h"

void swig_class_registry_push(lua_State* L);
// Nil for a class that is not registered.
void swig_class_metatable_push(lua_State* L, const char* name);
// The same, quicker, inside a function of the module.
void swig_class_metatable_push_here(lua_State* L, const swig_class_entry* entry);
void swig_class_resolve_bases(lua_State* L, swig_class_entry* entry);
// Pushes what the registration of every class needs, and gives the index of the first of it.
int swig_class_begin(lua_State* L);
// `module`: index of the module table; `common`: what swig_class_begin gave.
void swig_class_register(lua_State* L, swig_class_entry* entry, int module, int common);
// Both expect the class's tables of getters, setters and functions on top of the stack, in this order.
void SWIG_Lua_add_class_details(lua_State* L, const swig_class_entry* entry, int metatable);
void SWIG_Lua_add_class_variable(lua_State* L, const char* name, lua_CFunction get, lua_CFunction set);

int SWIG_Lua_class_get(lua_State* L);
int SWIG_Lua_class_set(lua_State* L);
int SWIG_Lua_class_destruct(lua_State* L);
int SWIG_Lua_class_tostring(lua_State* L);
int SWIG_Lua_class_disown(lua_State* L);

// Raises "This variable is immutable".
extern "C" [[gnu::visibility("hidden")]] int swig_immutable_set(lua_State* L);
