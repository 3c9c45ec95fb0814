// The native half of rovk_loop and rovk_unit: when callbacks run, and a hand on the simulated unit. Both
// belong to our own libraries. Under others their functions are missing, which is said when one is called.
// Beside them, what rovk.dump cannot read through the module.
//
// Every function gives its result, or nil, a text and the negative status. The text tells what was wrong
// and what there is.
#include <errno.h>
#include <math.h>
#include <rovk/bridge.h>
#include <rovk/trans_delivery.h>
#include <rovk/transport.h>
#include <rovk/unit.h>
#include <string.h>

#include "bad_days.h"
#include "barrier.h"
#include "context.h"
#include "elements.h"
#include "look.h"
#include "results.h"
#include "runtime/numbers.h"

#pragma weak rovktrans_dispatch
#pragma weak rovktrans_fd
#pragma weak rovktrans_clock
#pragma weak rovk_unit_now
#pragma weak rovk_unit_advance
#pragma weak rovk_unit_set_input
#pragma weak rovk_unit_get_input
#pragma weak rovk_unit_release_input
#pragma weak rovk_unit_power
#pragma weak rovk_unit_reset
#pragma weak rovk_unit_fault
#pragma weak rovk_unit_spontaneous_error
#pragma weak rovk_unit_disturb

extern "C" __attribute__((visibility("default"))) int luaopen_rovk_companion(lua_State* L);

namespace {

enum { ERROR_BYTES = 18 };
constexpr double largest_whole = 9007199254740992.0;  // up to here a Lua number knows each whole number

// A whole number of a native width; another is an argument error and not cut.
double check_whole(lua_State* L, int index, double low, double high) {
  const double value = luaL_checknumber(L, index);
  if (!(value >= low && value <= high) || value != static_cast<double>(static_cast<int64_t>(value))) {
    const char* const text = lua_pushfstring(L, "whole number from %f to %f expected, got %f", low, high, value);
    luaL_argerror(L, index, text);
  }
  return value;
}

uint16_t check_u16(lua_State* L, int index) { return static_cast<uint16_t>(check_whole(L, index, 0, 65535)); }

uint32_t check_u32(lua_State* L, int index) { return static_cast<uint32_t>(check_whole(L, index, 0, 4294967295.0)); }

// What a failed call on the loop's side means to the script.
const char* loop_failure(int32_t status) {
  switch (status) {
    case -EBUSY:
      return "a callback is running; what is due runs when it has returned, so dispatch outside of it";
    case -EINVAL:
      return "the context is closed, or not one that rovktrans_init gave";
    default:
      return strerror(-status);
  }
}

int push_loop_failure(lua_State* L, int32_t status) { return rovk_push_failure(L, status, loop_failure(status)); }

// Waits in slices. Between them it calls a Lua function that does nothing, so that a hook which a signal
// handler has set meanwhile, as an interpreter does at an interrupt, gets to run.
constexpr double slice_ms = 50;

// The number of callbacks that ran, or a negative status.
int32_t dispatch_until(lua_State* L, void* context, double timeout_ms) {
  // Most often something is due, and nobody asks for the time.
  const int32_t due = rovktrans_dispatch(context, 0);
  if (due != 0 || timeout_ms == 0) return due;
  uint64_t start = 0;
  int32_t is_virtual = 0;
  const int32_t status = rovktrans_clock(context, &start, &is_virtual);
  if (status < 0) return status;
  if (timeout_ms > INT32_MAX) timeout_ms = INT32_MAX;
  if (is_virtual || (timeout_ms >= 0 && timeout_ms <= slice_ms)) {
    return rovktrans_dispatch(context, timeout_ms < 0 ? -1 : static_cast<int32_t>(timeout_ms));
  }
  for (double left = timeout_ms;;) {
    const double slice = left < 0 || left > slice_ms ? slice_ms : left;
    const int32_t count = rovktrans_dispatch(context, static_cast<int32_t>(ceil(slice)));
    uint64_t now = 0;
    if (count != 0 || rovktrans_clock(context, &now, nullptr) < 0) return count;
    if (timeout_ms >= 0) {
      left = timeout_ms - static_cast<double>(now - start) / nanoseconds_per_ms;
      if (left <= 0) return 0;
    }
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_call(L, 0, 0);
  }
}

int dispatch(lua_State* L) {
  CHECK_TRANS(rovktrans_dispatch);
  void* const context = rovk_check_context(L, 1);
  const double timeout_ms = luaL_optnumber(L, 2, 0);
  if (timeout_ms != timeout_ms) luaL_argerror(L, 2, "milliseconds expected, got a value that is no number");
  // Up: a wait for the rest of a millisecond would else end before that and be asked for again, for ever.
  const int32_t count = dispatch_until(L, context, ceil(timeout_ms));
  if (count < 0 && count != -ENODATA) return push_loop_failure(L, count);
  lua_pushnumber(L, count < 0 ? 0 : count);
  if (count >= 0) return 1;
  lua_pushliteral(L, "nothing can come any more: the clock is virtual and nothing is under way");
  return 2;
}

// Keeps the function at index 1, or none for nil, where the module looks when a callback fails.
int set_error_handler(lua_State* L) {
  lua_settop(L, 1);
  if (!lua_isnil(L, 1)) luaL_checktype(L, 1, LUA_TFUNCTION);
  lua_setfield(L, LUA_REGISTRYINDEX, ROVK_ON_ERROR_KEY);
  return 0;
}

int fd(lua_State* L) {
  CHECK_TRANS(rovktrans_fd);
  const int32_t descriptor = rovktrans_fd(rovk_check_context(L, 1));
  if (descriptor < 0) return push_loop_failure(L, descriptor);
  lua_pushnumber(L, descriptor);
  return 1;
}

int now(lua_State* L) {
  CHECK_UNIT(rovk_unit_now);
  uint64_t reading = 0;
  const int32_t status = rovk_unit_now(rovk_check_context(L, 1), &reading);
  if (status < 0) return rovk_push_unit_failure(L, status);
  lua_pushnumber(L, static_cast<double>(reading) / nanoseconds_per_ms);
  return 1;
}

int advance(lua_State* L) {
  CHECK_UNIT(rovk_unit_advance);
  void* const context = rovk_check_context(L, 1);
  const double duration = luaL_checknumber(L, 2);
  // A year is more than any script waits, and far below what the clock can count.
  if (!(duration >= 0 && duration <= 366.0 * 86400e3))
    luaL_argerror(L, 2, "milliseconds expected, from 0 to a year of them");
  return rovk_push_done(L, rovk_unit_advance(context, static_cast<uint64_t>(duration * nanoseconds_per_ms)));
}

int set_input(lua_State* L) {
  CHECK_UNIT(rovk_unit_set_input);
  void* const context = rovk_check_context(L, 1);
  const char* const input = luaL_checkstring(L, 2);
  const uint32_t index = check_u32(L, 3);
  if (lua_isnil(L, 4)) {
    CHECK_UNIT(rovk_unit_release_input);
    return rovk_push_done(L, rovk_unit_release_input(context, input, index));
  }
  const double value = check_whole(L, 4, -largest_whole, largest_whole);
  return rovk_push_done(L, rovk_unit_set_input(context, input, index, static_cast<int64_t>(value)));
}

// The inputs that a hand reaches: context and index are the arguments.
int put(lua_State* L, const char* input, int64_t value) {
  CHECK_UNIT(rovk_unit_set_input);
  void* const context = rovk_check_context(L, 1);
  return rovk_push_done(L, rovk_unit_set_input(context, input, check_u32(L, 2), value));
}

int press(lua_State* L) { return put(L, "button", 1); }
int release(lua_State* L) { return put(L, "button", 0); }
int open(lua_State* L) { return put(L, "alarm", 0); }
int close(lua_State* L) { return put(L, "alarm", 1); }
int sabotage(lua_State* L) { return put(L, "alarm", 2); }

int get_input(lua_State* L) {
  CHECK_UNIT(rovk_unit_get_input);
  void* const context = rovk_check_context(L, 1);
  int64_t value = 0;
  const int32_t status = rovk_unit_get_input(context, luaL_checkstring(L, 2), check_u32(L, 3), &value);
  if (status < 0) return rovk_push_unit_failure(L, status);
  lua_pushnumber(L, static_cast<double>(value));
  return 1;
}

int power(lua_State* L) {
  CHECK_UNIT(rovk_unit_power);
  void* const context = rovk_check_context(L, 1);
  luaL_checktype(L, 2, LUA_TBOOLEAN);
  return rovk_push_done(L, rovk_unit_power(context, lua_toboolean(L, 2)));
}

int reset(lua_State* L) {
  CHECK_UNIT(rovk_unit_reset);
  void* const context = rovk_check_context(L, 1);
  return rovk_push_done(L, rovk_unit_reset(context, check_u16(L, 2), check_u16(L, 3)));
}

int fault(lua_State* L) {
  CHECK_UNIT(rovk_unit_fault);
  void* const context = rovk_check_context(L, 1);
  return rovk_push_done(L, rovk_unit_fault(context, check_u16(L, 2), check_u16(L, 3)));
}

int spontaneous_error(lua_State* L) {
  CHECK_UNIT(rovk_unit_spontaneous_error);
  void* const context = rovk_check_context(L, 1);
  const uint16_t address = check_u16(L, 2);
  const uint16_t id = check_u16(L, 3);
  uint8_t bytes[ERROR_BYTES] = {};
  if (!lua_isnoneornil(L, 4)) {
    luaL_checktype(L, 4, LUA_TTABLE);
    const size_t count = lua_objlen(L, 4);
    if (count > sizeof bytes) luaL_argerror(L, 4, "at most 18 bytes expected");
    for (size_t i = 0; i < count; ++i) {
      lua_rawgeti(L, 4, static_cast<int>(i) + 1);
      const double value = lua_tonumber(L, -1);
      if (!lua_isnumber(L, -1) || !(value >= 0 && value <= 255))
        luaL_argerror(L, 4, "bytes, numbers from 0 to 255, expected");
      bytes[i] = static_cast<uint8_t>(value);
      lua_pop(L, 1);
    }
  }
  return rovk_push_done(L, rovk_unit_spontaneous_error(context, address, id, bytes));
}

int disturb(lua_State* L) {
  CHECK_UNIT(rovk_unit_disturb);
  void* const context = rovk_check_context(L, 1);
  const char* const what = luaL_checkstring(L, 2);
  const uint32_t count = check_u32(L, 3);
  return rovk_push_done(L, rovk_unit_disturb(context, what, count, lua_isnoneornil(L, 4) ? 0 : check_u32(L, 4)));
}

const luaL_Reg functions[] = {
    {"fd", fd},
    {"set_error_handler", set_error_handler},
    {"now", now},
    {"advance", advance},
    {"set", set_input},
    {"get", get_input},
    {"power", power},
    {"reset", reset},
    {"fault", fault},
    {"disturb", disturb},
    {"spontaneous_error", spontaneous_error},
    {"elements", rovk_elements},
    {"press", press},
    {"release", release},
    {"open", open},
    {"close", close},
    {"sabotage", sabotage},
    {"barrier", rovk_barrier},
    {"look_for", rovk_look_for},
    {nullptr, nullptr},
};

}  // namespace

int luaopen_rovk_companion(lua_State* L) {
  lua_newtable(L);
  for (const luaL_Reg* row = functions; row->name; ++row) {
    lua_pushcfunction(L, row->func);
    lua_setfield(L, -2, row->name);
  }
  rovk_bad_days_add(L);
  if (luaL_loadstring(L, "") != 0) lua_error(L);
  lua_pushcclosure(L, dispatch, 1);
  lua_setfield(L, -2, "dispatch");
  return 1;
}
