// The door: luaopen_rovk_message turns the static tables and the class descriptions into a live module
// table. Everything is installed by raw sets of closures without upvalues, in a fixed order; nothing is
// ever taken back.
#include <stdio.h>

#include <initializer_list>

#include "bridge/callbacks.h"
#include "runtime/classes.h"
#include "runtime/failures.h"
#include "runtime/lua_api.h"
#include "runtime/objects.h"
#include "runtime/shared.h"
#include "runtime/tables.h"

// Both are the host program's to use: the text is run at the end of every open.
ROVK_EXPORT const char* luaopen_rovk_message_luacode;
const char* luaopen_rovk_message_luacode = "";
ROVK_EXPORT int luaopen_rovk_message_user(lua_State* L);
ROVK_EXPORT int luaopen_rovk_message(lua_State* L);

namespace {

// Leaves on top what `field` (".get" or ".set"), a table in the metatable of the table at index 1, has
// under the key at index 2; nil when there is no such table.
void push_module_entry(lua_State* L, const char* function, const char* field) {
  if (!lua_istable(L, 1) || !lua_getmetatable(L, 1)) {
    swig_fail_argument(L, function, 1, "module table", swig_argument_type_name(L, 1));
  }
  lua_pushstring(L, field);
  lua_rawget(L, -2);
  if (!lua_istable(L, -1)) {
    lua_pushnil(L);
    return;
  }
  lua_pushvalue(L, 2);
  lua_rawget(L, -2);
}

int SWIG_Lua_module_get(lua_State* L) {
  lua_settop(L, 2);
  push_module_entry(L, "__index", ".get");
  if (lua_iscfunction(L, -1)) {
    lua_call(L, 0, 1);
  } else {
    lua_pushnil(L);
  }
  return 1;
}

int SWIG_Lua_module_set(lua_State* L) {
  lua_settop(L, 3);
  push_module_entry(L, "__newindex", ".set");
  if (lua_iscfunction(L, -1)) {
    lua_pushvalue(L, 3);
    lua_call(L, 1, 0);
    return 0;
  }
  lua_settop(L, 3);
  lua_rawset(L, 1);
  return 0;
}

void swig_module_add_function(lua_State* L, const char* name, lua_CFunction function) {
  lua_pushstring(L, name);
  lua_pushcclosure(L, function, 0);
  lua_rawset(L, -3);
}

void swig_module_add_function(lua_State* L, swig_text name, lua_CFunction function) {
  swig_text_push(L, name);
  lua_pushcclosure(L, function, 0);
  lua_rawset(L, -3);
}

// Expects a table on top, makes the module table a field of it, and leaves the module table on top.
void SWIG_Lua_module_begin(lua_State* L, const char* name) {
  lua_pushstring(L, name);
  lua_createtable(L, 0, static_cast<int>(swig_command_count + swig_class_count + swig_constant_count));
  lua_createtable(L, 0, 4);
  swig_module_add_function(L, "__index", SWIG_Lua_module_get);
  swig_module_add_function(L, "__newindex", SWIG_Lua_module_set);
  for (const char* field : {".get", ".set"}) {
    lua_pushstring(L, field);
    lua_createtable(L, 0, static_cast<int>(swig_variable_count));
    lua_rawset(L, -3);
  }
  lua_setmetatable(L, -2);
  lua_rawset(L, -3);
  lua_pushstring(L, name);
  lua_rawget(L, -2);
}

// Expects the module table on top.
void SWIG_Lua_module_add_variable(lua_State* L, swig_text name, lua_CFunction get, lua_CFunction set) {
  lua_getmetatable(L, -1);
  lua_pushliteral(L, ".get");
  lua_rawget(L, -2);
  swig_module_add_function(L, name, get);
  lua_pop(L, 1);
  if (set) {
    lua_pushliteral(L, ".set");
    lua_rawget(L, -2);
    swig_module_add_function(L, name, set);
    lua_pop(L, 1);
  }
  lua_pop(L, 1);
}

// Pushes the value of a row; false for a kind that there is not.
bool push_constant(lua_State* L, const swig_constant_entry& row) {
  switch (row.kind) {
    case SWIG_LUA_INT:
      lua_pushnumber(L, row.int_value);
      return true;
    case SWIG_LUA_FLOAT:
      lua_pushnumber(L, row.float_value);
      return true;
    case SWIG_LUA_STRING:
      lua_pushstring(L, static_cast<const char*>(row.pointer_value));
      return true;
    case SWIG_LUA_POINTER:
      swig_object_new(L, const_cast<void*>(row.pointer_value), *row.type_slot, 0);
      return true;
    case SWIG_LUA_BINARY:
      SWIG_Lua_NewPackedObj(L, row.pointer_value, static_cast<size_t>(row.int_value), *row.type_slot);
      return true;
    case SWIG_LUA_CHAR: {
      const char character = static_cast<char>(row.int_value);
      lua_pushlstring(L, &character, 1);
      return true;
    }
    default:
      return false;
  }
}

// Expects the module table on top.
void swig_install_constant(lua_State* L, swig_text name, const swig_constant_entry& row) {
  swig_text_push(L, name);
  if (push_constant(L, row)) {
    lua_rawset(L, -3);
  } else {
    lua_pop(L, 1);
  }
}

// 0 for nothing to do or success, 1 for failure, whose message goes to the standard error stream.
int swig_run_string(lua_State* L, const char* text) {
  if (!text || !*text) return 0;
  const int top = lua_gettop(L);
  const bool failed = luaL_loadstring(L, text) != 0 || lua_pcall(L, 0, 0, 0) != 0;
  if (failed) {
    const char* const message = lua_tolstring(L, -1, nullptr);
    fprintf(stderr, "%s\n", message ? message : "(error object is not a string)");
  }
  lua_settop(L, top);
  return failed ? 1 : 0;
}

// Installs everything; gives the globals table and the module table.
int install(lua_State* L) {
  swig_shared_open(L);
  lua_pushvalue(L, LUA_GLOBALSINDEX);
  swig_module_link(L);
  swig_module_propagate_class_data();
  swig_module_add_function(L, "swig_type", swig_type);
  swig_module_add_function(L, "swig_equals", swig_equals);
  rovk_bridge_open(L);
  SWIG_Lua_module_begin(L, "rovk_message");
  for (unsigned i = 0; i < swig_command_count; ++i) {
    swig_module_add_function(L, command_rows[i].name, swig_function_at<lua_CFunction>(command_wrappers[i]));
  }
  for (unsigned i = 0; i < swig_variable_count; ++i) {
    SWIG_Lua_module_add_variable(L, variable_names[i], swig_function_at<lua_CFunction>(variable_getters[i]),
                                 swig_function_at<lua_CFunction>(variable_setters[i]));
  }
  for (swig_type_entry** slot = swig_type_table; *slot; ++slot) {
    if ((*slot)->class_data) swig_class_resolve_bases(L, (*slot)->class_data);
  }
  const int module = lua_gettop(L);
  const int common = swig_class_begin(L);
  for (swig_type_entry** slot = swig_type_table; *slot; ++slot) {
    if ((*slot)->class_data) swig_class_register(L, (*slot)->class_data, module, common);
  }
  lua_settop(L, module);
  for (unsigned i = 0; i < swig_constant_count; ++i) {
    const constant_row& row = constant_rows[i];
    swig_install_constant(L, row.name, {SWIG_LUA_INT, row.value, 0, nullptr, nullptr});
  }
  return 2;
}

// The collector's pace while the module is installed, in percent of its own: next to nothing of what is
// made is garbage, so going over it would be in vain.
constexpr int slow_pace = 1;

}  // namespace

int luaopen_rovk_message_user(lua_State* L) { return swig_run_string(L, luaopen_rovk_message_luacode); }

int luaopen_rovk_message(lua_State* L) {
  lua_pushcclosure(L, install, 0);
  lua_pushvalue(L, -1);
  const int pace = lua_gc(L, LUA_GCSETSTEPMUL, slow_pace);
  const int status = lua_pcall(L, 0, 2, 0);
  lua_gc(L, LUA_GCSETSTEPMUL, pace);
  if (status != 0) {
    // Once more with a collector that keeps up. Where memory is short that may be enough, and if it is not,
    // the error goes out as it is.
    lua_pop(L, 1);
    lua_call(L, 0, 2);
  } else {
    lua_remove(L, -3);
  }
  luaopen_rovk_message_user(L);
  return 1;
}
