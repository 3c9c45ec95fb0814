// Registration of record classes and the functions of their metatables. A script can get hold of these
// functions and call them with anything, so each makes sure of its object first.
#include "classes.h"

#include <stdio.h>

#include <initializer_list>

#include "failures.h"
#include "objects.h"
#include "shared.h"
#include "wrapper.h"

namespace {

const char registry_key[] = "SWIG";

// Leaves on the stack: the object at 1, its arguments up to `top`, its metatable, and the metatable's
// table whose name is at `place`. Raises when the value at 1 has nothing of the kind, so that what is called
// behind gets some object; each accessor makes sure itself that it is one of its own.
void open_class(lua_State* L, const char* function, int top, int place) {
  if (lua_gettop(L) != top) lua_settop(L, top);
  if (lua_touserdata(L, 1) && lua_getmetatable(L, 1)) {
    swig_shared_push(L, place);
    lua_rawget(L, top + 1);
    if (lua_istable(L, -1)) return;
  }
  swig_fail_argument(L, function, 1, "record object", swig_argument_type_name(L, 1));
}

// The module's accessors stand in a section of their own, so they are known by their address. They use
// nothing of the call but their arguments, and so need not be called through Lua.
bool is_accessor(lua_CFunction function) {
  const auto address = reinterpret_cast<uintptr_t>(function);
  return address >= reinterpret_cast<uintptr_t>(__start_swig_accessors) &&
         address < reinterpret_cast<uintptr_t>(__stop_swig_accessors);
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

// Places from the index that swig_class_begin gives on. Behind them the shared functions, each with its name.
enum { CLASS_REGISTRY, KEY_TYPE, KEY_GET, KEY_SET, KEY_FN, SHARED_FUNCTIONS };

int attribute_count(const swig_class_entry* entry) {
  int count = 0;
  while (entry->attributes[count].name) ++count;
  for (unsigned i = 0; entry->bases[i]; ++i) count += attribute_count(entry->bases[i]);
  return count;
}

// Where a class's name is at hand; 0 for a class of another module.
int shared_place(const swig_class_entry* entry) {
  const auto distance = reinterpret_cast<uintptr_t>(entry) - reinterpret_cast<uintptr_t>(swig_classes);
  const uintptr_t number = distance / sizeof *swig_classes;
  return number < swig_class_count ? SHARED_CLASSES + static_cast<int>(number) : 0;
}

// Stores the value at one index under the key at another in the table on top.
void set_field(lua_State* L, int key, int value) {
  lua_pushvalue(L, key);
  lua_pushvalue(L, value);
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

void swig_class_metatable_push_here(lua_State* L, const swig_class_entry* entry) {
  if (const int place = shared_place(entry)) {
    swig_shared_push(L, SHARED_REGISTRY);
    lua_rawget(L, LUA_REGISTRYINDEX);
    if (lua_istable(L, -1)) {
      swig_shared_push(L, place);
      lua_rawget(L, -2);
      lua_replace(L, -2);
      return;
    }
    lua_pop(L, 1);
  }
  swig_class_metatable_push(L, entry->name);
}

void swig_class_resolve_bases(lua_State* L, swig_class_entry* entry) {
  if (!entry->base_names[0]) return;
  swig_module_entry* const head = swig_module_head_get(L);
  for (unsigned i = 0; entry->base_names[i]; ++i) {
    if (entry->bases[i]) continue;
    const swig_type_entry* const type = swig_module_find_pretty(head, head, entry->base_names[i]);
    if (type) entry->bases[i] = type->class_data;
  }
}

int swig_class_begin(lua_State* L) {
  luaL_checkstack(L, 2 * LUA_MINSTACK, "no room to register classes");
  swig_class_registry_push(L);
  const int common = lua_gettop(L);
  for (const char* key : {".type", ".get", ".set", ".fn"}) lua_pushstring(L, key);
  for (const shared_function& shared : shared_functions) {
    lua_pushstring(L, shared.name);
    lua_pushcclosure(L, shared.function, 0);
  }
  return common;
}

void swig_class_register(lua_State* L, swig_class_entry* entry, int module, int common) {
  const int attributes = attribute_count(entry);
  lua_createtable(L, 0, 8);
  const int metatable = lua_gettop(L);
  lua_pushstring(L, entry->name);
  if (const int place = shared_place(entry)) {
    lua_pushvalue(L, -1);
    swig_shared_set(L, place);
  }
  if (entry->constructor) {
    lua_pushvalue(L, -1);
    lua_pushcclosure(L, entry->constructor, 0);
    lua_rawset(L, module);
  }
  lua_pushvalue(L, common + KEY_TYPE);
  lua_pushvalue(L, -2);
  lua_rawset(L, metatable);
  lua_pushvalue(L, metatable);
  lua_rawset(L, common + CLASS_REGISTRY);
  lua_createtable(L, 0, attributes);
  lua_createtable(L, 0, attributes);
  lua_createtable(L, 0, 1);
  SWIG_Lua_add_class_details(L, entry, metatable);
  int shared = common + SHARED_FUNCTIONS;
  set_field(L, shared, shared + 1);  // .fn is complete
  for (const int key : {KEY_FN, KEY_SET, KEY_GET}) {
    lua_pushvalue(L, common + key);
    lua_insert(L, -2);
    lua_rawset(L, metatable);
  }
  for (const shared_function& function : shared_functions) {
    if (&function != shared_functions) set_field(L, shared, shared + 1);
    shared += 2;
  }
  lua_settop(L, metatable - 1);
}

void SWIG_Lua_add_class_details(lua_State* L, const swig_class_entry* entry, int metatable) {
  // Bases first, so that a row of the class replaces a base's row of the same name.
  for (unsigned i = 0; entry->bases[i]; ++i) SWIG_Lua_add_class_details(L, entry->bases[i], metatable);
  for (const swig_attribute_entry* row = entry->attributes; row->name; ++row) {
    SWIG_Lua_add_class_variable(L, row->name, row->get, row->set);
  }
  for (const swig_method_entry* row = entry->methods; row->name; ++row) {
    set_function(L, row->name, row->function);
    if (row->name[0] != '_' || row->name[1] != '_') continue;
    lua_pushstring(L, row->name);
    lua_pushcclosure(L, row->function, 0);
    lua_rawset(L, metatable);
  }
}

void SWIG_Lua_add_class_variable(lua_State* L, const char* name, lua_CFunction get, lua_CFunction set) {
  lua_pushstring(L, name);
  if (set) {
    lua_pushvalue(L, -1);
    lua_pushcclosure(L, set, 0);
    lua_rawset(L, -5);
  }
  lua_pushcclosure(L, get, 0);
  lua_rawset(L, -5);
}

int SWIG_Lua_class_get(lua_State* L) {
  open_class(L, "__index", 2, SHARED_GET);
  lua_pushvalue(L, 2);
  lua_rawget(L, 4);
  if (const lua_CFunction get = lua_tocfunction(L, -1)) {
    if (is_accessor(get)) {
      lua_settop(L, 1);
      return get(L);
    }
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
  open_class(L, "__newindex", 3, SHARED_SET);
  lua_pushvalue(L, 2);
  lua_rawget(L, 5);
  if (const lua_CFunction set = lua_tocfunction(L, -1)) {
    if (is_accessor(set)) {
      lua_settop(L, 3);
      lua_remove(L, 2);
      return set(L);
    }
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
  open_class(L, "__tostring", 1, SHARED_GET);
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
