// Measures the module beside a yardstick written by hand and prints one row for each measurement. The
// two take turns, so that a busy machine slows both; a row shows the medians and the median of the
// ratios.
//   bench MODULE_FOLDER
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <lua.hpp>
#include <string>
#include <vector>

#include "replay.h"

namespace rovk::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int repetitions = 21;
constexpr double repetition_seconds = 0.02;

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

double seconds(const std::function<void()>& action) {
  const auto start = Clock::now();
  action();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void stop(lua_State* L) {
  std::fprintf(stderr, "bench: %s\n", lua_tostring(L, -1));
  std::exit(1);
}

std::string in_unit(double time) {
  char text[32];
  if (time < 1e-6) {
    std::snprintf(text, sizeof text, "%.1f ns", time * 1e9);
  } else if (time < 1e-3) {
    std::snprintf(text, sizeof text, "%.2f us", time * 1e6);
  } else {
    std::snprintf(text, sizeof text, "%.2f ms", time * 1e3);
  }
  return text;
}

void print_row(const char* what, const std::string& ours, const std::string& bare, double ratio, const char* bar) {
  std::printf("%-52s %12s %12s %7.2f  %s\n", what, ours.c_str(), bare.c_str(), ratio, bar);
  std::fflush(stdout);
}

// Both sides measured in turn; each gives the time of one operation.
void compare(const char* what, const std::function<double()>& ours, const std::function<double()>& bare,
             const char* bar = "") {
  std::vector<double> our_times, bare_times, ratios;
  for (int i = 0; i < repetitions; ++i) {
    our_times.push_back(ours());
    bare_times.push_back(bare());
    ratios.push_back(our_times.back() / bare_times.back());
  }
  print_row(what, in_unit(median(our_times)), in_unit(median(bare_times)), median(ratios), bar);
}

// The functions under measurement, under one set of names: those of the module here, those of
// rovk_bare as they are. `m` is the table; `address` and `index` are those of an LED.
constexpr const char* prelude = R"lua(
local rovk = require "rovk_message"
local loop, unit = require "rovk_loop", require "rovk_unit"
local accessors = getmetatable(rovk.rovk_version())
ours = {
  version = rovk.rovk_version,
  message = rovk.rovk_message,
  major_get = accessors[".get"].major,
  major_set = accessors[".set"].major,
  initialize = rovk.rovk_led_0001_initialize_set_state_command,
  open = function() return select(2, rovk.rovktrans_init("sim", nil)) end,
  close = rovk.rovktrans_deinit,
  get_state = rovk.rovktrans_led_0001_get_state,
  get_state_async = rovk.rovktrans_led_0001_get_state_async_lua,
  on_reset = rovk.rovktrans_common_reset_occurred_register_callback_lua,
  reset = unit.reset,
  dispatch = loop.dispatch,
}
bare = require "rovk_bare"
local context = ours.open()
local led = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED)
address, index = led.address, led.index
assert(ours.close(context) == 0)
function received(m, context, count)
  while count() > 0 do
    assert(m.dispatch(context, 1000) > 0, "nothing came")
  end
end
)lua";

struct Row {
  const char* what;
  const char* chunk;  // gets m, gives a function that does the operation n times
  const char* bar;
};

constexpr Row rows[] = {
    {"read an attribute, v.major",
     "local m = ... local v = m.version() return function(n) local x for _ = 1, n do x = v.major end return x end",
     "1.6"},
    {"write an attribute, v.major = 1",
     "local m = ... local v = m.version() return function(n) for _ = 1, n do v.major = 1 end end", "1.6"},
    {"read by the accessor called directly",
     "local m = ... local v, get = m.version(), m.major_get return function(n) for _ = 1, n do get(v) end end", "1.6"},
    {"write by the accessor called directly",
     "local m = ... local v, set = m.version(), m.major_set return function(n) for _ = 1, n do set(v, 1) end end",
     "1.6"},
    {"call with an object and 5 integers",
     "local m = ... local message, call = m.message(), m.initialize "
     "return function(n) for _ = 1, n do call(message, 7, 1, 1, 200, 800) end end",
     "1.8"},
    {"blocking command",
     "local m = ... local context, call, address, index = m.open(), m.get_state, address, index "
     "return function(n) for _ = 1, n do call(context, address, index) end end",
     ""},
    {"asynchronous command, from the call to its callback",
     "local m = ... local context, open = m.open(), 0 local function done() open = open - 1 end "
     "return function(n) for _ = 1, n do m.get_state_async(context, address, done, index) open = open + 1 "
     "received(m, context, function() return open end) end end",
     ""},
    {"event, from the unit to a Lua function",
     "local m = ... local context, open = m.open(), 0 m.on_reset(context, address, function() open = open - 1 end) "
     "return function(n) for _ = 1, n do m.reset(context, address, 1) open = open + 1 "
     "received(m, context, function() return open end) end end",
     ""},
};

constexpr const char* in_flight =
    "local m = ... local context, open = m.open(), 0 local function done() open = open - 1 end "
    "return function(n) for _ = 1, n do m.get_state_async(context, address, done, index) end open = n "
    "received(m, context, function() return open end) end";

// A chunk's function for one side, kept in the registry.
int prepare(lua_State* L, const char* chunk, const char* side) {
  if (luaL_loadstring(L, chunk) != 0) stop(L);
  lua_getglobal(L, side);
  if (lua_pcall(L, 1, 1, 0) != 0) stop(L);
  return luaL_ref(L, LUA_REGISTRYINDEX);
}

double time_of(lua_State* L, int function, int count) {
  return seconds([&] {
           lua_rawgeti(L, LUA_REGISTRYINDEX, function);
           lua_pushnumber(L, count);
           if (lua_pcall(L, 1, 0, 0) != 0) stop(L);
         }) /
         count;
}

void measure(lua_State* L, const Row& row) {
  const int ours = prepare(L, row.chunk, "ours"), bare = prepare(L, row.chunk, "bare");
  int count = 1;
  while (count < (1 << 24) && time_of(L, bare, count) * count < repetition_seconds) count *= 2;
  compare(
      row.what, [&] { return time_of(L, ours, count); }, [&] { return time_of(L, bare, count); }, row.bar);
}

void measure_in_flight(lua_State* L, int count) {
  const int ours = prepare(L, in_flight, "ours"), bare = prepare(L, in_flight, "bare");
  const std::string what = std::to_string(count) + " commands in flight, each";
  compare(
      what.c_str(), [&] { return time_of(L, ours, count); }, [&] { return time_of(L, bare, count); });
}

struct FreshState {
  lua_State* L = luaL_newstate();
  FreshState() { luaL_openlibs(L); }
  ~FreshState() { lua_close(L); }
  FreshState(const FreshState&) = delete;
  FreshState& operator=(const FreshState&) = delete;

  double heap_kilobytes() const {
    lua_gc(L, LUA_GCCOLLECT, 0);
    return lua_gc(L, LUA_GCCOUNT, 0) + lua_gc(L, LUA_GCCOUNTB, 0) / 1024.0;
  }
};

void open_module(lua_State* L, lua_CFunction open) {
  lua_pushcfunction(L, open);
  if (lua_pcall(L, 0, 1, 0) != 0) stop(L);
}

void measure_opening(lua_CFunction open) {
  Replay replay;
  {
    // The module table and the class table of the registry, below one root.
    FreshState sample;
    lua_newtable(sample.L);
    open_module(sample.L, open);
    lua_setfield(sample.L, 1, "rovk_message");
    lua_getfield(sample.L, LUA_REGISTRYINDEX, "SWIG");
    lua_setfield(sample.L, 1, "SWIG");
    replay.add(sample.L);
  }
  compare(
      "open the module in a fresh state",
      [&] {
        FreshState state;
        return seconds([&] { open_module(state.L, open); });
      },
      [&] {
        FreshState state;
        return seconds([&] { replay.run(state.L); });
      },
      "0.75");

  FreshState ours, bare;
  open_module(ours.L, open);
  replay.run(bare.L);
  const double our_heap = ours.heap_kilobytes(), bare_heap = bare.heap_kilobytes();
  const auto kilobytes = [](double size) { return std::to_string(static_cast<int>(size + 0.5)) + " KB"; };
  print_row("Lua heap after that", kilobytes(our_heap), kilobytes(bare_heap), our_heap / bare_heap, "1343 KB");
  std::printf("  (the plain loop installs the same %zu entries)\n", replay.entries());
}

int run(const char* folder) {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  lua_getglobal(L, "package");
  lua_pushfstring(L, "%s/?.so", folder);
  lua_setfield(L, -2, "cpath");
  lua_pushfstring(L, "%s/?.lua", folder);
  lua_setfield(L, -2, "path");
  if (luaL_loadstring(L, prelude) != 0 || lua_pcall(L, 0, 0, 0) != 0) stop(L);

  std::printf("%-52s %12s %12s %7s  %s\n", "", "ours", "by hand", "ratio", "bar");
  for (const Row& row : rows) measure(L, row);
  for (const int count : {100, 1000, 10000}) measure_in_flight(L, count);

  lua_getglobal(L, "package");
  lua_getfield(L, -1, "loadlib");
  lua_pushfstring(L, "%s/rovk_message.so", folder);
  lua_pushstring(L, "luaopen_rovk_message");
  if (lua_pcall(L, 2, 1, 0) != 0 || !lua_iscfunction(L, -1)) stop(L);
  measure_opening(lua_tocfunction(L, -1));
  lua_close(L);
  return 0;
}

}  // namespace
}  // namespace rovk::bench

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: bench MODULE_FOLDER\n");
    return 2;
  }
  return rovk::bench::run(arguments[1]);
}
