// The native half of what rovk_unit has for bad days: plans, actions at a time, probes, the report.
//
// Every function gives its result, or nil, a text and the negative status.
#include "bad_days.h"

#include <errno.h>
#include <rovk/bridge.h>
#include <rovk/transport.h>
#include <rovk/unit.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "context.h"
#include "results.h"

#pragma weak rovk_unit_plan
#pragma weak rovk_unit_at
#pragma weak rovk_unit_now
#pragma weak rovk_unit_probe
#pragma weak rovk_unit_report

namespace {

constexpr double century_ms = 100.0 * 366 * 86400e3;

uint64_t check_time(lua_State* L, int index) {
  const double ms = luaL_checknumber(L, index);
  if (!(ms >= 0 && ms <= century_ms)) luaL_argerror(L, index, "milliseconds of the unit's clock expected");
  return static_cast<uint64_t>(ms * nanoseconds_per_ms);
}

int plan(lua_State* L) {
  CHECK_UNIT(rovk_unit_plan);
  void* const context = rovk_check_context(L, 1);
  return rovk_push_done(L, rovk_unit_plan(context, luaL_checkstring(L, 2)));
}

// A Lua function that waits for its time, on a thread of its own with what reports its error below it; the
// registry keeps the thread. The unit and its clock may outlast the state, so that knows who waits.
struct Waiting {
  lua_State* thread;  // null: its state was closed
  int reference;
  Waiting* next;
  Waiting** link;  // what points here
};

// A userdata whose finalizer tells that the state is being closed: those who wait have it on their stacks, so
// nothing else ends it.
struct Waiters {
  Waiting* first;
  bool closed;
};

void unlink(Waiting* waiting) {
  *waiting->link = waiting->next;
  if (waiting->next) waiting->next->link = waiting->link;
}

int forget_all(lua_State* L) {
  if (!lua_isuserdata(L, 1) || lua_objlen(L, 1) != sizeof(Waiters)) return 0;
  auto* const waiters = static_cast<Waiters*>(lua_touserdata(L, 1));
  for (Waiting* waiting = waiters->first; waiting; waiting = waiting->next) waiting->thread = nullptr;
  *waiters = {nullptr, true};
  return 0;
}

// An error goes where those of callbacks go, or else to the standard error stream.
int report_error(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, ROVK_ON_ERROR_KEY);
  lua_insert(L, -2);
  if (lua_isfunction(L, -2)) {
    lua_pushliteral(L, "an action of rovk_unit.at");
    if (lua_pcall(L, 2, 0, 0) == 0) return 0;
  }
  const char* const text = lua_tostring(L, -1);
  fprintf(stderr, "rovk: error in an action of rovk_unit.at: %s\n", text ? text : "(no text)");
  return 0;
}

void act(void* pointer, int32_t runs) {
  auto* const waiting = static_cast<Waiting*>(pointer);
  if (lua_State* const L = waiting->thread) {
    if (runs && lua_pcall(L, 0, 0, 0) != 0) lua_pcall(L, 1, 0, 0);
  }
  if (lua_State* const L = waiting->thread) {
    lua_settop(L, 0);
    unlink(waiting);
    luaL_unref(L, LUA_REGISTRYINDEX, waiting->reference);
  }
  free(waiting);
}

int at(lua_State* L) {
  CHECK_UNIT(rovk_unit_at);
  void* const context = rovk_check_context(L, 1);
  const uint64_t when = check_time(L, 2);
  luaL_checktype(L, 3, LUA_TFUNCTION);
  auto* const waiters = static_cast<Waiters*>(lua_touserdata(L, lua_upvalueindex(1)));
  if (waiters->closed) luaL_error(L, "the Lua state is being closed");
  lua_State* const thread = lua_newthread(L);
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_pushcfunction(L, report_error);
  lua_pushvalue(L, 3);
  lua_xmove(L, thread, 3);
  const int reference = luaL_ref(L, LUA_REGISTRYINDEX);
  auto* const waiting = static_cast<Waiting*>(malloc(sizeof(Waiting)));
  int32_t status = -ENOMEM;
  if (waiting) {
    *waiting = {thread, reference, waiters->first, &waiters->first};
    if (waiting->next) waiting->next->link = &waiting->next;
    waiters->first = waiting;
    status = rovk_unit_at(context, when, act, waiting);
  }
  if (status < 0) {
    luaL_unref(L, LUA_REGISTRYINDEX, reference);
    if (waiting) unlink(waiting);
    free(waiting);
  }
  return rovk_push_done(L, status);
}

int probe(lua_State* L) {
  CHECK_UNIT(rovk_unit_probe);
  void* const context = rovk_check_context(L, 1);
  const char* const what = luaL_checkstring(L, 2);
  const double index = luaL_optnumber(L, 3, 0);
  if (!(index >= 0 && index <= 65535)) luaL_argerror(L, 3, "an index from 0 expected");
  int64_t value = 0;
  const int32_t status = rovk_unit_probe(context, what, static_cast<uint32_t>(index),
                                         lua_isnoneornil(L, 4) ? 0 : check_time(L, 4), &value);
  if (status < 0) return rovk_push_done(L, status);
  lua_pushnumber(L, static_cast<double>(value));
  return 1;
}

int report(lua_State* L) {
  CHECK_UNIT(rovk_unit_report);
  void* const context = rovk_check_context(L, 1);
  uint32_t needed = 0;
  int32_t status = rovk_unit_report(context, nullptr, 0, &needed);
  if (status < 0) return rovk_push_done(L, status);
  char* const text = static_cast<char*>(lua_newuserdata(L, needed));
  status = rovk_unit_report(context, text, needed, &needed);
  if (status < 0) return rovk_push_done(L, status);
  lua_pushstring(L, text);
  return 1;
}

const luaL_Reg bad_days[] = {
    {"plan", plan},
    {"probe", probe},
    {"report", report},
    {nullptr, nullptr},
};

}  // namespace

void rovk_bad_days_add(lua_State* L) {
  luaL_register(L, nullptr, bad_days);
  *static_cast<Waiters*>(lua_newuserdata(L, sizeof(Waiters))) = {nullptr, false};
  lua_createtable(L, 0, 1);
  lua_pushcfunction(L, forget_all);
  lua_setfield(L, -2, "__gc");
  lua_setmetatable(L, -2);
  lua_pushcclosure(L, at, 1);
  lua_setfield(L, -2, "at");
}
