// Registration of record classes and the functions of their metatables. A script can get hold of these
// functions and call them with anything, so each makes sure of its object first.
#include "classes.h"

#include <stdio.h>

#include "failures.h"
#include "objects.h"

namespace {

const char registry_key[] = "SWIG";

// Leaves on the stack: the object at 1, its arguments up to `top`, its metatable, and the metatable's
// table `field`. Raises when the value at 1 has nothing of the kind, so that what is called behind gets
// some object; each accessor makes sure itself that it is one of its own.
void open_class(lua_State* L, const char* function, int top, const char* field, size_t length) {
  if (lua_gettop(L) != top) lua_settop(L, top);
  if (lua_touserdata(L, 1) && lua_getmetatable(L, 1)) {
    lua_pushlstring(L, field, length);
    lua_rawget(L, top + 1);
    if (lua_istable(L, -1)) return;
  }
  swig_fail_argument(L, function, 1, "record object", swig_argument_type_name(L, 1));
}

void set_function(lua_State* L, const char* name, lua_CFunction function) {
  lua_pushstring(L, name);
  lua_pushcclosure(L, function, 0);
  lua_rawset(L, -3);
}

// What the metatable of a class holds beside its tables; `__disown` goes into its .fn.
struct shared_function {
  const char* name;
  lua_CFunction function;
};

const shared_function shared_functions[] = {
    {"__disown", SWIG_Lua_class_disown}, {"__index", SWIG_Lua_class_get},         {"__newindex", SWIG_Lua_class_set},
    {"__gc", SWIG_Lua_class_destruct},   {"__tostring", SWIG_Lua_class_tostring},
};

enum { SHARED_COUNT = sizeof shared_functions / sizeof *shared_functions };

int attribute_count(const swig_class_entry* entry) {
  int count = 0;
  while (entry->attributes[count].name) ++count;
  return count;
}

// Expects a new table's name and size; leaves it as a raw field of the table on top.
void set_new_table(lua_State* L, const char* name, int size) {
  lua_pushstring(L, name);
  lua_createtable(L, 0, size);
  lua_rawset(L, -3);
}

}  // namespace

void swig_class_registry_push(lua_State* L) {
  lua_pushstring(L, registry_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_istable(L, -1)) return;
  lua_pop(L, 1);
  lua_pushstring(L, registry_key);
  lua_createtable(L, 0, static_cast<int>(swig_class_count));
  lua_rawset(L, LUA_REGISTRYINDEX);
  lua_pushstring(L, registry_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
}

void swig_class_metatable_push(lua_State* L, const char* name) {
  swig_class_registry_push(L);
  lua_pushstring(L, name);
  lua_rawget(L, -2);
  lua_remove(L, -2);
}

void swig_class_resolve_bases(lua_State* L, swig_class_entry* entry) {
  swig_module_entry* const head = swig_module_head_get(L);
  for (unsigned i = 0; entry->base_names[i]; ++i) {
    if (entry->bases[i]) continue;
    const swig_type_entry* const type = swig_module_find_pretty(head, head, entry->base_names[i]);
    if (type) entry->bases[i] = type->class_data;
  }
}

int swig_class_functions_push(lua_State* L) {
  for (const shared_function& shared : shared_functions) lua_pushcclosure(L, shared.function, 0);
  return lua_gettop(L) - SHARED_COUNT + 1;
}

void swig_class_register(lua_State* L, swig_class_entry* entry, int functions) {
  if (entry->constructor) set_function(L, entry->name, entry->constructor);
  const int attributes = attribute_count(entry);
  lua_createtable(L, 0, 8);
  lua_pushliteral(L, ".type");
  lua_pushstring(L, entry->name);
  lua_rawset(L, -3);
  set_new_table(L, ".get", attributes);
  set_new_table(L, ".set", attributes);
  lua_pushliteral(L, ".fn");
  lua_createtable(L, 0, 1);
  for (int i = 0; i < SHARED_COUNT; ++i) {
    lua_pushstring(L, shared_functions[i].name);
    lua_pushvalue(L, functions + i);
    lua_rawset(L, -3);
    if (i == 0) lua_rawset(L, -3);  // .fn is complete
  }
  swig_class_registry_push(L);
  lua_pushstring(L, entry->name);
  lua_pushvalue(L, -3);
  lua_rawset(L, -3);
  lua_pop(L, 1);
  SWIG_Lua_add_class_details(L, entry);
  lua_pop(L, 1);
}

void SWIG_Lua_add_class_details(lua_State* L, const swig_class_entry* entry) {
  // Bases first, so that a row of the class replaces a base's row of the same name.
  for (unsigned i = 0; entry->bases[i]; ++i) SWIG_Lua_add_class_details(L, entry->bases[i]);
  lua_pushliteral(L, ".get");
  lua_rawget(L, -2);
  lua_pushliteral(L, ".set");
  lua_rawget(L, -3);
  for (const swig_attribute_entry* row = entry->attributes; row->name; ++row) {
    SWIG_Lua_add_class_variable(L, row->name, row->get, row->set);
  }
  lua_pop(L, 2);
  if (!entry->methods[0].name) return;
  lua_pushliteral(L, ".fn");
  lua_rawget(L, -2);
  for (const swig_method_entry* row = entry->methods; row->name; ++row) set_function(L, row->name, row->function);
  lua_pop(L, 1);
  for (const swig_method_entry* row = entry->methods; row->name; ++row) {
    if (row->name[0] == '_' && row->name[1] == '_') set_function(L, row->name, row->function);
  }
}

void SWIG_Lua_add_class_variable(lua_State* L, const char* name, lua_CFunction get, lua_CFunction set) {
  lua_pushstring(L, name);
  lua_pushvalue(L, -1);
  lua_pushcclosure(L, get, 0);
  lua_rawset(L, -5);
  if (set) {
    lua_pushcclosure(L, set, 0);
    lua_rawset(L, -3);
  } else {
    lua_pop(L, 1);
  }
}

int SWIG_Lua_class_get(lua_State* L) {
  open_class(L, "__index", 2, ".get", 4);
  lua_pushvalue(L, 2);
  lua_rawget(L, 4);
  if (lua_iscfunction(L, -1)) {
    lua_pushvalue(L, 1);
    lua_call(L, 1, 1);
    return 1;
  }
  lua_pushliteral(L, ".fn");
  lua_rawget(L, 3);
  if (lua_istable(L, -1)) {
    lua_pushvalue(L, 2);
    lua_rawget(L, -2);
    if (lua_isfunction(L, -1)) return 1;
  }
  lua_pushliteral(L, "__getitem");
  lua_rawget(L, 3);
  if (lua_iscfunction(L, -1)) {
    lua_pushvalue(L, 1);
    lua_pushvalue(L, 2);
    lua_call(L, 2, 1);
    return 1;
  }
  return 0;
}

int SWIG_Lua_class_set(lua_State* L) {
  open_class(L, "__newindex", 3, ".set", 4);
  lua_pushvalue(L, 2);
  lua_rawget(L, 5);
  if (lua_iscfunction(L, -1)) {
    lua_pushvalue(L, 1);
    lua_pushvalue(L, 3);
    lua_call(L, 2, 0);
    return 0;
  }
  lua_pushliteral(L, "__setitem");
  lua_rawget(L, 4);
  if (lua_iscfunction(L, -1)) {
    lua_pushvalue(L, 1);
    lua_pushvalue(L, 2);
    lua_pushvalue(L, 3);
    lua_call(L, 3, 0);
  }
  return 0;
}

int SWIG_Lua_class_destruct(lua_State* L) {
  swig_object* const object = swig_object_at(L, 1);
  if (!object) return swig_fail_argument(L, "__gc", 1, "record object", swig_argument_type_name(L, 1));
  const swig_class_entry* const entry = object->type->class_data;
  if (!object->own || !entry || !entry->destructor) return 0;
  // Cleared at once: a script may call this function itself, and children look at the pointer.
  void* const record = object->pointer;
  object->own = 0;
  object->pointer = nullptr;
  entry->destructor(record);
  return 0;
}

int SWIG_Lua_class_disown(lua_State* L) {
  const int top = lua_gettop(L);
  swig_object* const object = top > 0 ? swig_object_at(L, top) : nullptr;
  if (!object)
    return swig_fail_argument(L, "__disown", 1, "record object", swig_argument_type_name(L, top > 0 ? top : 1));
  object->own = 0;
  return 0;
}

int SWIG_Lua_class_tostring(lua_State* L) {
  open_class(L, "__tostring", 1, ".get", 4);
  const void* const object = lua_touserdata(L, 1);
  lua_pushliteral(L, ".type");
  lua_rawget(L, 2);
  if (lua_type(L, -1) != LUA_TSTRING) return swig_fail_argument(L, "__tostring", 1, "record object", "object");
  char text[256];
  snprintf(text, sizeof text, "<%s userdata: %lX>", lua_tostring(L, -1),
           static_cast<unsigned long>(reinterpret_cast<uintptr_t>(object)));
  lua_pushstring(L, text);
  return 1;
}

int swig_immutable_set(lua_State* L) {
  lua_settop(L, 0);
  lua_pushliteral(L, "This variable is immutable");
  return lua_error(L);
}
