// The hand of a test on the recording libraries: `require "recorder"`.
#include <malloc.h>

#include <lua.hpp>

#include "recorder.h"

namespace {

// recorder.behave { status =, outputs = "fill" | "untouched", error_id =, at_once = }
// What is left out goes back to: status 0, outputs filled, no error record, callbacks on deliver().
int behave(lua_State* L) {
  static const char* const outputs[] = {"fill", "untouched", nullptr};
  luaL_checktype(L, 1, LUA_TTABLE);
  recorder::Behaviour behaviour;
  lua_getfield(L, 1, "status");
  behaviour.status = static_cast<int32_t>(luaL_optinteger(L, -1, 0));
  lua_getfield(L, 1, "outputs");
  behaviour.outputs = static_cast<recorder::Outputs>(luaL_checkoption(L, -1, "fill", outputs));
  lua_getfield(L, 1, "error_id");
  behaviour.with_error = !lua_isnil(L, -1);
  behaviour.error_id = static_cast<uint16_t>(luaL_optinteger(L, -1, 0));
  lua_getfield(L, 1, "at_once");
  behaviour.call_back_at_once = lua_toboolean(L, -1) != 0;
  recorder::behave(behaviour);
  return 0;
}

int reset(lua_State*) {
  recorder::reset();
  return 0;
}

int calls(lua_State* L) {
  lua_pushstring(L, recorder::take_lines());
  return 1;
}

int deliver(lua_State* L) {
  lua_pushinteger(L, static_cast<lua_Integer>(recorder::deliver_pending()));
  return 1;
}

int raise(lua_State* L) {
  lua_pushinteger(L, static_cast<lua_Integer>(recorder::raise_events()));
  return 1;
}

int open_blocks(lua_State* L) {
  lua_pushinteger(L, static_cast<lua_Integer>(recorder::open_blocks()));
  return 1;
}

int memory(lua_State* L) {
  lua_pushnumber(L, static_cast<lua_Number>(mallinfo2().uordblks));
  return 1;
}

}  // namespace

RECORDED int luaopen_recorder(lua_State* L) {
  static const luaL_Reg functions[] = {{"behave", behave},   {"reset", reset},  {"calls", calls},
                                       {"deliver", deliver}, {"raise", raise},  {"open_blocks", open_blocks},
                                       {"memory", memory},   {nullptr, nullptr}};
  lua_newtable(L);
  luaL_register(L, nullptr, functions);
  return 1;
}
