#include "operations.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace rovk::bench {
namespace {

constexpr const char* ours = R"lua(
local rovk, loop, unit = require "rovk_message", require "rovk_loop", require "rovk_unit"
local accessors = getmetatable(rovk.rovk_version())
local m = {
  version = rovk.rovk_version,
  message = rovk.rovk_message,
  major_get = accessors[".get"].major,
  major_set = accessors[".set"].major,
  initialize = rovk.rovk_led_0001_initialize_set_state_command,
  retrieve = rovk.rovk_led_0001_retrieve_set_state_command,
  open = function(text) return select(2, rovk.rovktrans_init(text, nil)) end,
  close = rovk.rovktrans_deinit,
  get_state = rovk.rovktrans_led_0001_get_state,
  get_state_async = rovk.rovktrans_led_0001_get_state_async_lua,
  set_state_async = rovk.rovktrans_led_0001_set_state_async_lua,
  on_reset = rovk.rovktrans_common_reset_occurred_register_callback_lua,
  give_reset = rovk.internal_rovktrans_common_reset_occurred_event_callback,
  on_press = rovk.rovktrans_button_0002_state_change_register_callback_lua,
  set = unit.set,
  dispatch = loop.dispatch,
}
)lua";

constexpr const char* bare = "local m = require 'rovk_bare'\n";

// An LED of the simulated unit, at an address and index that both sides see alike.
constexpr const char* both = R"lua(
m.address, m.index, m.other_address, m.button = ...
function m.receive(context, open)
  while open() > 0 do
    assert(m.dispatch(context, 1000) > 0, "nothing came")
  end
end
return m
)lua";

constexpr const char* find_led = R"lua(
local rovk = require "rovk_message"
local _, context = rovk.rovktrans_init("sim", nil)
local led = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED)
local address, index = led.address, led.index
local other_address = 0
repeat
  other_address = other_address + 1
  local handle = other_address ~= address
    and rovk.rovktrans_common_reset_occurred_register_callback_lua(context, other_address, print)
until handle
local button = rovk.rovktrans_find_device(context, rovk.ROVK_BUTTON_0002_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_BUTTON_RESET).address
assert(rovk.rovktrans_deinit(context) == 0)
return address, index, other_address, button
)lua";

constexpr Operation list[] = {
    {"read an attribute",
     "local m = ... local v = m.version() return function(n) local x for _ = 1, n do x = v.major end return x end",
     1000, 0},
    {"write an attribute", "local m = ... local v = m.version() return function(n) for _ = 1, n do v.major = 1 end end",
     1000, 0},
    {"read by the accessor",
     "local m = ... local v, get = m.version(), m.major_get return function(n) for _ = 1, n do get(v) end end", 1000,
     0},
    {"write by the accessor",
     "local m = ... local v, set = m.version(), m.major_set return function(n) for _ = 1, n do set(v, 1) end end", 1000,
     0},
    // Enough of them for many rounds of the collector.
    {"make and collect an object",
     "local m = ... local make = m.version return function(n) for _ = 1, n do make() end end", 50000, 0},
    {"call with an object and 5 integers",
     "local m = ... local message, call = m.message(), m.initialize "
     "return function(n) for _ = 1, n do call(message, 7, 1, 1, 200, 800) end end",
     1000, 0},
    {"read 4 numbers from a message",
     "local m = ... local message, call = m.message(), m.retrieve m.initialize(message, 7, 1, 1, 200, 800) "
     "return function(n) for _ = 1, n do call(message) end end",
     1000, 0},
    {"write a message and read it back",
     "local m = ... local message, write, read = m.message(), m.initialize, m.retrieve "
     "return function(n) for _ = 1, n do write(message, 7, 1, 1, 200, 800) read(message) end end",
     1000, 0},
    {"blocking command without a unit",
     "local m = ... local call = m.get_state return function(n) for _ = 1, n do call(nil, 7, 1) end end", 10000, 0},
    {"callback without a unit",
     "local m = ... local context = m.open('sim') local handle = m.on_reset(context, m.address, function() end) "
     "local give, address = m.give_reset, m.address assert(handle) "
     "return function(n) for _ = 1, n do give(context, address, 1, handle) end end",
     1000, 0},
    {"blocking command",
     "local m = ... local context, call, address, index = m.open('sim'), m.get_state, m.address, m.index "
     "assert(call(context, address, index) == 0) return function(n) for _ = 1, n do call(context, address, index) end "
     "end",
     10000, 0},
    {"asynchronous command to its callback, one dispatch",
     "local m = ... local context, open = m.open('sim'), 0 local function done() open = open - 1 end "
     "local call, address, index, dispatch = m.get_state_async, m.address, m.index, m.dispatch "
     "return function(n) for _ = 1, n do call(context, address, done, index) open = open + 1 dispatch(context, 1000) "
     "end assert(open == 0) end",
     10000, 0},
    {"event from the unit to a Lua function",
     "local m = ... local context, open = m.open('sim'), 0 "
     "local set, dispatch = m.set, m.dispatch "
     "m.on_press(context, m.button, function() open = open - 1 end) "
     "return function(n) for i = 1, n do set(context, 'button', 0, i % 2) open = open + 1 dispatch(context, 1000) end "
     "assert(open == 0) end",
     1000, 0},
    {"the same with 1000 other subscriptions",
     "local m = ... local context, open = m.open('sim'), 0 local function other() end "
     "for _ = 1, 1000 do assert(m.on_reset(context, m.other_address, other)) end "
     "local set, dispatch = m.set, m.dispatch "
     "m.on_press(context, m.button, function() open = open - 1 end) "
     "return function(n) for i = 1, n do set(context, 'button', 0, i % 2) open = open + 1 dispatch(context, 1000) end "
     "assert(open == 0) end",
     200, 0},
    {"blocking command, 1000 contexts on the unit",
     "local m = ... local held = {} for i = 1, 1000 do held[i] = m.open('sim?unit=bench') end "
     "local context, call, address, index = held[500], m.get_state, m.address, m.index "
     "assert(call(context, address, index) == 0) return function(n) for _ = 1, n do call(context, address, index) end "
     "return held end",
     100, 0},
    {"open and close a context",
     "local m = ... local open, close = m.open, m.close "
     "return function(n) for _ = 1, n do assert(close(open('sim')) == 0) end end",
     10, 0},
    {"a command with 100 in flight",
     "local m = ... local context, open = m.open('sim'), 0 local function done() open = open - 1 end "
     "return function(n) for _ = 1, n do m.get_state_async(context, m.address, done, m.index) end open = n "
     "m.receive(context, function() return open end) end",
     100, 100},
    {"a command with 10000 in flight",
     "local m = ... local context, open = m.open('sim'), 0 local function done() open = open - 1 end "
     "return function(n) for _ = 1, n do m.get_state_async(context, m.address, done, m.index) end open = n "
     "m.receive(context, function() return open end) end",
     10000, 10000},
    {"a command with 30000 in flight",
     "local m = ... local context, open = m.open('sim'), 0 local function done() open = open - 1 end "
     "return function(n) for _ = 1, n do m.get_state_async(context, m.address, done, m.index) end open = n "
     "m.receive(context, function() return open end) end",
     30000, 30000},
};

// A hundred tasks, or chains of callbacks, that do n commands together.
#define IN_TASKS(command)                                                          \
  "local unit = require 'rovk'.open 'sim' "                                        \
  "local led = unit:device('led_0001', 'LED_FRONT_PANEL_RED') return function(n) " \
  "for _ = 1, 100 do unit:spawn(function() for _ = 1, n / 100 do " command         \
  " end end) end assert(unit:run() == 'done') end"

#define IN_CALLBACKS(call, inputs)                                                          \
  "local m = ... local context, open = m.open('sim'), 0 local call, address, index = " call \
  ", m.address, m.index return function(n) for _ = 1, 100 do local left = n / 100 "         \
  "local function answered(...) assert(select(-1, ...).error_id == 0) left = left - 1 "     \
  "if left > 0 then assert(call(context, address, answered, " inputs                        \
  ") == 0) else open = open - 1 end end "                                                   \
  "open = open + 1 assert(call(context, address, answered, " inputs                         \
  ") == 0) end "                                                                            \
  "m.receive(context, function() return open end) end"

constexpr Operation task_list[] = {
    {"values by name in a task", IN_TASKS("led:get_state()"), 3000, 100},
    {"values by name in a task, plain", IN_CALLBACKS("m.get_state_async", "index"), 3000, 100},
    {"inputs by place in a task", IN_TASKS("led:set_state(1, 200, 800)"), 3000, 100},
    {"inputs by name in a task", IN_TASKS("led:set_state { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 }"),
     3000, 100},
    {"inputs in a task, plain", IN_CALLBACKS("m.set_state_async", "index, 1, 200, 800"), 3000, 100},
};

// Runs a chunk that gives `results` values.
void run_chunk(lua_State* L, const char* text, int arguments, int results) {
  if (luaL_loadstring(L, text) != 0) stop(L);
  lua_insert(L, -1 - arguments);
  if (lua_pcall(L, arguments, results, 0) != 0) stop(L);
}

}  // namespace

std::span<const Operation> operations() { return list; }

std::span<const Operation> task_operations() { return task_list; }

void stop(lua_State* L) {
  std::fprintf(stderr, "bench: %s\n", lua_tostring(L, -1));
  std::exit(1);
}

State::State(const char* folder, Side side) : L_(luaL_newstate()) {
  luaL_openlibs(L_);
  lua_getglobal(L_, "package");
  for (const char* field : {"cpath", "path"}) {
    lua_pushfstring(L_, field[0] == 'c' ? "%s/?.so" : "%s/?.lua", folder);
    lua_setfield(L_, -2, field);
  }
  lua_pop(L_, 1);
  // Found once and by the module, in a state of its own, so that the bare side has nothing of it.
  static double led[4];
  static bool found = false;
  if (!found) {
    found = true;
    const State finder(folder, Side::ours);
    run_chunk(finder.lua(), find_led, 0, 4);
    for (int i = 0; i < 4; ++i) led[i] = lua_tonumber(finder.lua(), i - 4);
  }
  for (const double number : led) lua_pushnumber(L_, number);
  const std::string text = std::string(side == Side::ours ? ours : bare) + both;
  run_chunk(L_, text.c_str(), 4, 1);
}

int State::prepare(const Operation& operation) {
  lua_pushvalue(L_, 1);
  run_chunk(L_, operation.chunk, 1, 1);
  return luaL_ref(L_, LUA_REGISTRYINDEX);
}

void State::run(int function, int count) {
  lua_rawgeti(L_, LUA_REGISTRYINDEX, function);
  lua_pushnumber(L_, count);
  if (lua_pcall(L_, 1, 0, 0) != 0) stop(L_);
}

}  // namespace rovk::bench
