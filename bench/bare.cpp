// The yardstick of the benchmarks: what the module does, for a handful of its functions, written by hand
// as lean as it can be and still be right for right arguments. Nothing is checked, so a wrong argument is a
// crash. What a function needs of Lua (a table, a metatable, a key) is its upvalue, so nothing is looked up
// twice. A Lua module like the other, so that both are built and called the same way.
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <lua.hpp>
#include <new>

#include "rovk/message.h"
#include "rovk/trans.h"
#include "rovk/trans_delivery.h"
#include "rovk/unit.h"

namespace {

// An object is a userdata that holds a pointer, as in the module.
template <typename Record>
Record* record(lua_State* L, int index) {
  return static_cast<Record*>(*static_cast<void**>(lua_touserdata(L, index)));
}

// Null for nil.
void* context(lua_State* L) {
  auto* const block = static_cast<void**>(lua_touserdata(L, 1));
  return block ? *block : nullptr;
}

template <typename Number>
Number number(lua_State* L, int index) {
  return static_cast<Number>(static_cast<int64_t>(lua_tonumber(L, index)));
}

int major_get(lua_State* L) {
  lua_pushnumber(L, record<rovk_version>(L, 1)->major);
  return 1;
}

int major_set(lua_State* L) {
  record<rovk_version>(L, 1)->major = number<uint8_t>(L, 2);
  return 0;
}

// Upvalue: the table from attribute to accessor, both here and below.
int object_index(lua_State* L) {
  lua_rawget(L, lua_upvalueindex(1));
  return lua_tocfunction(L, 2)(L);
}

int object_newindex(lua_State* L) {
  lua_pushvalue(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  const lua_CFunction set = lua_tocfunction(L, -1);
  lua_settop(L, 3);
  lua_remove(L, 2);
  return set(L);
}

int object_gc(lua_State* L) {
  std::free(record<void>(L, 1));
  return 0;
}

// Upvalue: the metatable.
template <typename Record>
int make(lua_State* L) {
  auto* const block = static_cast<void**>(lua_newuserdata(L, sizeof(void*)));
  *block = std::calloc(1, sizeof(Record));
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_setmetatable(L, -2);
  return 1;
}

int initialize(lua_State* L) {
  rovk_led_0001_initialize_set_state_command(record<rovk_message>(L, 1), number<uint16_t>(L, 2), number<uint8_t>(L, 3),
                                             number<uint16_t>(L, 4), number<uint16_t>(L, 5), number<uint16_t>(L, 6));
  return 0;
}

int retrieve(lua_State* L) {
  uint8_t index = 0;
  uint16_t on = 0, on_ms = 0, off_ms = 0;
  rovk_led_0001_retrieve_set_state_command(record<rovk_message>(L, 1), &index, &on, &on_ms, &off_ms);
  for (const unsigned value : {unsigned{index}, unsigned{on}, unsigned{on_ms}, unsigned{off_ms}})
    lua_pushnumber(L, value);
  return 4;
}

int open(lua_State* L) {
  void* context = nullptr;
  rovktrans_init(lua_tostring(L, 1), nullptr, &context);
  *static_cast<void**>(lua_newuserdata(L, sizeof(void*))) = context;
  return 1;
}

int close(lua_State* L) {
  lua_pushnumber(L, rovktrans_deinit(context(L)));
  return 1;
}

// `key`: where the text "error_id" is on the stack or among the upvalues.
void push_errors(lua_State* L, const rovk_error_led_0001_error* error, int key) {
  lua_createtable(L, 0, 1);
  lua_pushvalue(L, key);
  lua_pushnumber(L, error ? error->id : 0);
  lua_rawset(L, -3);
}

// Upvalue: "error_id".
int get_state(lua_State* L) {
  rovk_error_led_0001_error* error = nullptr;
  uint16_t on = 0, on_ms = 0, off_ms = 0;
  lua_pushnumber(L, rovktrans_led_0001_get_state(context(L), number<uint16_t>(L, 2), &error, number<uint8_t>(L, 3), &on,
                                                 &on_ms, &off_ms));
  push_errors(L, error, lua_upvalueindex(1));
  std::free(error);
  for (const unsigned value : {unsigned{on}, unsigned{on_ms}, unsigned{off_ms}}) lua_pushnumber(L, value);
  return 5;
}

// A Lua function that the library calls back, kept behind an integer in the registry.
struct Callback {
  lua_State* state;
  int function;
};

Callback* keep(lua_State* L, int index) {
  lua_pushvalue(L, index);
  return new (std::nothrow) Callback{L, luaL_ref(L, LUA_REGISTRYINDEX)};
}

// Where the registry has the text "error_id".
int error_key;

void got_state(void*, uint16_t, rovk_error_led_0001_error* error, uint16_t on, uint16_t on_ms, uint16_t off_ms,
               void* user) {
  auto* const callback = static_cast<Callback*>(user);
  lua_State* const L = callback->state;
  lua_rawgeti(L, LUA_REGISTRYINDEX, error_key);
  const int key = lua_gettop(L);
  lua_rawgeti(L, LUA_REGISTRYINDEX, callback->function);
  for (const unsigned value : {unsigned{on}, unsigned{on_ms}, unsigned{off_ms}}) lua_pushnumber(L, value);
  push_errors(L, error, key);
  lua_pcall(L, 4, 0, 0);
  lua_settop(L, key - 1);
  luaL_unref(L, LUA_REGISTRYINDEX, callback->function);
  delete callback;
}

int get_state_async(lua_State* L) {
  lua_pushnumber(L, rovktrans_led_0001_get_state_async(context(L), number<uint16_t>(L, 2), got_state, keep(L, 3),
                                                       number<uint8_t>(L, 4)));
  return 1;
}

void was_reset(void*, uint16_t, uint16_t type, void* user) {
  auto* const callback = static_cast<Callback*>(user);
  lua_rawgeti(callback->state, LUA_REGISTRYINDEX, callback->function);
  lua_pushnumber(callback->state, type);
  if (lua_pcall(callback->state, 1, 0, 0) != 0) lua_pop(callback->state, 1);
}

// The handle is a light userdata.
int on_reset(lua_State* L) {
  Callback* const callback = keep(L, 3);
  rovktrans_common_reset_occurred_register_callback(context(L), number<uint16_t>(L, 2), was_reset, callback);
  lua_pushlightuserdata(L, callback);
  return 1;
}

int give_reset(lua_State* L) {
  was_reset(context(L), number<uint16_t>(L, 2), number<uint16_t>(L, 3), lua_touserdata(L, 4));
  return 0;
}

void was_pressed(void*, uint16_t, uint8_t index, uint8_t pressed, void* user) {
  auto* const callback = static_cast<Callback*>(user);
  lua_rawgeti(callback->state, LUA_REGISTRYINDEX, callback->function);
  lua_pushnumber(callback->state, index);
  lua_pushnumber(callback->state, pressed);
  if (lua_pcall(callback->state, 2, 0, 0) != 0) lua_pop(callback->state, 1);
}

int on_press(lua_State* L) {
  Callback* const callback = keep(L, 3);
  rovktrans_button_0002_state_change_register_callback(context(L), number<uint16_t>(L, 2), was_pressed, callback);
  lua_pushlightuserdata(L, callback);
  return 1;
}

int set(lua_State* L) {
  lua_pushnumber(L, rovk_unit_set_input(context(L), lua_tostring(L, 2), number<uint32_t>(L, 3), number<int64_t>(L, 4)));
  return 1;
}

int dispatch(lua_State* L) {
  lua_pushnumber(L, rovktrans_dispatch(context(L), number<int32_t>(L, 2)));
  return 1;
}

// get_state as a program in C has it, n times: the floor of every blocking command.
int direct(lua_State* L) {
  void* const handle = context(L);
  const auto address = number<uint16_t>(L, 2);
  const auto index = number<uint8_t>(L, 3);
  for (int left = number<int>(L, 4); left > 0; --left) {
    rovk_error_led_0001_error* error = nullptr;
    uint16_t on = 0, on_ms = 0, off_ms = 0;
    rovktrans_led_0001_get_state(handle, address, &error, index, &on, &on_ms, &off_ms);
    std::free(error);
  }
  return 0;
}

void add_functions(lua_State* L, std::initializer_list<luaL_Reg> functions) {
  for (const luaL_Reg& row : functions) {
    lua_pushcfunction(L, row.func);
    lua_setfield(L, -2, row.name);
  }
}

// Expects the function's upvalue on top and the table that gets it below.
void add_closure(lua_State* L, const char* name, lua_CFunction function) {
  lua_pushcclosure(L, function, 1);
  lua_setfield(L, -2, name);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_rovk_bare(lua_State* L) {
  lua_newtable(L);
  add_functions(L, {{"major_get", major_get},
                    {"major_set", major_set},
                    {"initialize", initialize},
                    {"retrieve", retrieve},
                    {"open", open},
                    {"close", close},
                    {"get_state_async", get_state_async},
                    {"on_reset", on_reset},
                    {"give_reset", give_reset},
                    {"on_press", on_press},
                    {"set", set},
                    {"dispatch", dispatch},
                    {"direct", direct}});
  lua_createtable(L, 0, 1);
  add_functions(L, {{"__gc", object_gc}});
  add_closure(L, "message", make<rovk_message>);
  lua_createtable(L, 0, 3);
  add_functions(L, {{"__gc", object_gc}});
  lua_createtable(L, 0, 1);
  add_functions(L, {{"major", major_get}});
  add_closure(L, "__index", object_index);
  lua_createtable(L, 0, 1);
  add_functions(L, {{"major", major_set}});
  add_closure(L, "__newindex", object_newindex);
  add_closure(L, "version", make<rovk_version>);
  lua_pushliteral(L, "error_id");
  lua_pushvalue(L, -1);
  error_key = luaL_ref(L, LUA_REGISTRYINDEX);
  add_closure(L, "get_state", get_state);
  return 1;
}
