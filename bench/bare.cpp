// The yardstick of the benchmarks: what the module does, for a handful of its functions, written by
// hand without any check. A Lua module like the other, so that both are built and called the same way.
// A wrong argument here is a crash; nothing but bench.cpp uses it.
#include <cstdlib>
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

void push_object(lua_State* L, void* pointer) { *static_cast<void**>(lua_newuserdata(L, sizeof(void*))) = pointer; }

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

// The accessor of an attribute, found in the metatable's table of that name, is left on the stack.
void push_accessor(lua_State* L, const char* table) {
  lua_getmetatable(L, 1);
  lua_pushstring(L, table);
  lua_rawget(L, -2);
  lua_pushvalue(L, 2);
  lua_rawget(L, -2);
}

int object_index(lua_State* L) {
  push_accessor(L, ".get");
  lua_pushvalue(L, 1);
  lua_call(L, 1, 1);
  return 1;
}

int object_newindex(lua_State* L) {
  push_accessor(L, ".set");
  lua_pushvalue(L, 1);
  lua_pushvalue(L, 3);
  lua_call(L, 2, 0);
  return 0;
}

int object_gc(lua_State* L) {
  std::free(record<void>(L, 1));
  return 0;
}

int version(lua_State* L) {
  push_object(L, std::calloc(1, sizeof(rovk_version)));
  luaL_getmetatable(L, "bare.version");
  lua_setmetatable(L, -2);
  return 1;
}

int message(lua_State* L) {
  push_object(L, std::calloc(1, sizeof(rovk_message)));
  luaL_getmetatable(L, "bare.message");
  lua_setmetatable(L, -2);
  return 1;
}

int initialize(lua_State* L) {
  rovk_led_0001_initialize_set_state_command(record<rovk_message>(L, 1), number<uint16_t>(L, 2), number<uint8_t>(L, 3),
                                             number<uint16_t>(L, 4), number<uint16_t>(L, 5), number<uint16_t>(L, 6));
  return 0;
}

int open(lua_State* L) {
  void* context = nullptr;
  rovktrans_init(nullptr, nullptr, &context);
  push_object(L, context);
  return 1;
}

int close(lua_State* L) {
  lua_pushnumber(L, rovktrans_deinit(record<void>(L, 1)));
  return 1;
}

void push_errors(lua_State* L, const rovk_error_led_0001_error* error) {
  lua_newtable(L);
  lua_pushstring(L, "error_id");
  lua_pushnumber(L, error ? error->id : 0);
  lua_settable(L, -3);
}

int get_state(lua_State* L) {
  rovk_error_led_0001_error* error = nullptr;
  uint16_t on = 0, on_ms = 0, off_ms = 0;
  lua_pushnumber(L, rovktrans_led_0001_get_state(record<void>(L, 1), number<uint16_t>(L, 2), &error,
                                                 number<uint8_t>(L, 3), &on, &on_ms, &off_ms));
  push_errors(L, error);
  std::free(error);
  lua_pushnumber(L, on);
  lua_pushnumber(L, on_ms);
  lua_pushnumber(L, off_ms);
  return 5;
}

// A Lua function that the library calls back.
struct Callback {
  lua_State* state;
  int function;
};

Callback* keep(lua_State* L, int index) {
  lua_pushvalue(L, index);
  return new (std::nothrow) Callback{L, luaL_ref(L, LUA_REGISTRYINDEX)};
}

void got_state(void*, uint16_t, rovk_error_led_0001_error* error, uint16_t on, uint16_t on_ms, uint16_t off_ms,
               void* user) {
  auto* callback = static_cast<Callback*>(user);
  lua_State* L = callback->state;
  lua_rawgeti(L, LUA_REGISTRYINDEX, callback->function);
  lua_pushnumber(L, on);
  lua_pushnumber(L, on_ms);
  lua_pushnumber(L, off_ms);
  push_errors(L, error);
  lua_call(L, 4, 0);
  luaL_unref(L, LUA_REGISTRYINDEX, callback->function);
  delete callback;
}

int get_state_async(lua_State* L) {
  lua_pushnumber(L, rovktrans_led_0001_get_state_async(record<void>(L, 1), number<uint16_t>(L, 2), got_state,
                                                       keep(L, 3), number<uint8_t>(L, 4)));
  return 1;
}

void was_reset(void*, uint16_t, uint16_t type, void* user) {
  auto* callback = static_cast<Callback*>(user);
  lua_rawgeti(callback->state, LUA_REGISTRYINDEX, callback->function);
  lua_pushnumber(callback->state, type);
  lua_call(callback->state, 1, 0);
}

int on_reset(lua_State* L) {
  Callback* callback = keep(L, 3);
  lua_pushnumber(L, rovktrans_common_reset_occurred_register_callback(record<void>(L, 1), number<uint16_t>(L, 2),
                                                                      was_reset, callback));
  return 1;
}

int reset(lua_State* L) {
  lua_pushnumber(L, rovk_unit_reset(record<void>(L, 1), number<uint16_t>(L, 2), number<uint16_t>(L, 3)));
  return 1;
}

int dispatch(lua_State* L) {
  lua_pushnumber(L, rovktrans_dispatch(record<void>(L, 1), number<int32_t>(L, 2)));
  return 1;
}

void add_functions(lua_State* L, std::initializer_list<luaL_Reg> functions) {
  for (const luaL_Reg& row : functions) {
    lua_pushcfunction(L, row.func);
    lua_setfield(L, -2, row.name);
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_rovk_bare(lua_State* L) {
  luaL_newmetatable(L, "bare.message");
  add_functions(L, {{"__gc", object_gc}});
  luaL_newmetatable(L, "bare.version");
  add_functions(L, {{"__gc", object_gc}, {"__index", object_index}, {"__newindex", object_newindex}});
  lua_newtable(L);
  add_functions(L, {{"major", major_get}});
  lua_setfield(L, -2, ".get");
  lua_newtable(L);
  add_functions(L, {{"major", major_set}});
  lua_setfield(L, -2, ".set");
  lua_newtable(L);
  add_functions(L, {{"version", version},
                    {"message", message},
                    {"major_get", major_get},
                    {"major_set", major_set},
                    {"initialize", initialize},
                    {"open", open},
                    {"close", close},
                    {"get_state", get_state},
                    {"get_state_async", get_state_async},
                    {"on_reset", on_reset},
                    {"reset", reset},
                    {"dispatch", dispatch}});
  return 1;
}
