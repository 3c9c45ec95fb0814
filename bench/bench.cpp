// Measures the module beside a yardstick written by hand.
//   bench MODULE_FOLDER          times each operation and prints a row for it
//   bench MODULE_FOLDER count    does each a given number of times, for valgrind's callgrind to count
//
// Times: the sides take turns, in alternating order, each in a state of its own and after a full
// collection, so that a busy machine slows both alike. A row shows the medians, the median of the ratios
// and the range in which the middle half of the ratios lies.
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else  // only times can be measured
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) (void)(name)
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "operations.h"
#include "process.h"
#include "replay.h"

namespace rovk::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int slices = 15;
constexpr double slice_seconds = 0.02;

double seconds(const std::function<void()>& action) {
  const auto start = Clock::now();
  action();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double quantile(std::vector<double> values, double part) {
  const auto place = static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * part + 0.5);
  std::nth_element(values.begin(), values.begin() + place, values.end());
  return values[static_cast<std::size_t>(place)];
}

double median(const std::vector<double>& values) { return quantile(values, 0.5); }

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

// `ours` and `bare` do one slice each and give the time of one operation.
void compare(const char* what, const std::function<double()>& ours, const std::function<double()>& bare) {
  std::vector<double> our_times, bare_times, ratios;
  for (int i = 0; i < slices; ++i) {
    double our_time = 0, bare_time = 0;
    if (i % 2 == 0) our_time = ours();
    bare_time = bare();
    if (i % 2 != 0) our_time = ours();
    our_times.push_back(our_time);
    bare_times.push_back(bare_time);
    ratios.push_back(our_time / bare_time);
  }
  std::printf("%-52s %12s %12s %7.2f  %.2f to %.2f\n", what, in_unit(median(our_times)).c_str(),
              in_unit(median(bare_times)).c_str(), median(ratios), quantile(ratios, 0.25), quantile(ratios, 0.75));
  std::fflush(stdout);
}

void print_one(const char* what, const std::string& value) {
  std::printf("%-52s %12s\n", what, value.c_str());
  std::fflush(stdout);
}

double slice(State& state, int function, int count) {
  state.collect();
  return seconds([&] { state.run(function, count); }) / count;
}

// How often an operation is done so that a slice is long enough on the quicker side.
int fitting_count(State& ours, int our_function, State& bare, int bare_function) {
  int count = 1;
  while (count < (1 << 24) && (slice(bare, bare_function, count) * count < slice_seconds ||
                               slice(ours, our_function, count) * count < slice_seconds)) {
    count *= 2;
  }
  return count;
}

void time_operation(State& ours, State& bare, const Operation& operation) {
  const int our_function = ours.prepare(operation), bare_function = bare.prepare(operation);
  const int count = operation.fixed ? operation.fixed : fitting_count(ours, our_function, bare, bare_function);
  compare(
      operation.name, [&] { return slice(ours, our_function, count); },
      [&] { return slice(bare, bare_function, count); });
  ours.release(our_function);
  bare.release(bare_function);
}

constexpr Operation direct_call = {"blocking command called from C",
                                   "local m = ... local context, address, index = m.open('sim'), m.address, m.index "
                                   "return function(n) m.direct(context, address, index, n) end",
                                   10000, 0};

// The module table and the class table of the registry, below one root.
Replay taken_down(lua_CFunction open) {
  Replay replay;
  const FreshState sample;
  lua_newtable(sample.L);
  open_module(sample.L, open);
  lua_setfield(sample.L, 1, "rovk_message");
  lua_getfield(sample.L, LUA_REGISTRYINDEX, "SWIG");
  lua_setfield(sample.L, 1, "SWIG");
  replay.add(sample.L);
  return replay;
}

// One opening takes no 20 ms, so a slice has many, each in a state of its own.
double open_slice(const std::function<void(lua_State*)>& open) {
  double sum = 0;
  int count = 0;
  for (; sum < slice_seconds; ++count) {
    const FreshState state;
    sum += seconds([&] { open(state.L); });
  }
  return sum / count;
}

void time_opening(lua_CFunction open) {
  const Replay replay = taken_down(open);
  compare(
      "open the module in a fresh state", [&] { return open_slice([&](lua_State* L) { open_module(L, open); }); },
      [&] { return open_slice([&](lua_State* L) { replay.run(L); }); });
  FreshState ours, bare;
  open_module(ours.L, open);
  replay.run(bare.L);
  std::printf("%-52s %9.0f KB %9.0f KB\n", "Lua heap after that", ours.heap_kilobytes(), bare.heap_kilobytes());
}

void time_all(const char* folder) {
  print_one("first load of the module and its libraries", in_unit(load_seconds(folder)));
  print_one("resident memory for it, loaded", std::to_string(resident_kilobytes(folder, false)) + " KB");
  print_one("and opened, with Lua's tables", std::to_string(resident_kilobytes(folder, true)) + " KB");
  std::printf("%-52s %12s %12s %7s  %s\n", "", "ours", "by hand", "ratio", "middle half");
  State ours(folder, Side::ours), bare(folder, Side::bare);
  for (const Operation& operation : operations()) time_operation(ours, bare, operation);
  const int function = bare.prepare(direct_call);
  std::vector<double> times;
  for (int i = 0; i < slices; ++i) times.push_back(slice(bare, function, 4 * direct_call.counted));
  print_one(direct_call.name, in_unit(median(times)));
  time_opening(module_opener(folder));
}

// ---- counting -----------------------------------------------------------------------------------

// Callgrind writes what was counted since the last one to a file of its own, under this name.
void dump(const std::string& name, int count) {
  const std::string label = name + "|" + std::to_string(count);
  CALLGRIND_DUMP_STATS_AT(label.c_str());
}

void count_operation(State& state, const Operation& operation, const char* side) {
  const int function = state.prepare(operation);
  // What happens once, as the binding of a library's functions, is over then.
  state.run(function, operation.fixed ? operation.fixed : 10);
  state.collect();
  CALLGRIND_ZERO_STATS;
  state.run(function, operation.counted);
  dump(operation.name + std::string(side), operation.counted);
  state.release(function);
}

void count_opening(lua_CFunction open) {
  const FreshState first, second;
  CALLGRIND_ZERO_STATS;
  open_module(first.L, open);
  dump("first open in the process", 1);
  open_module(second.L, open);
  dump("open in a fresh state", 1);
  const Replay replay = taken_down(open);
  const FreshState bare;
  CALLGRIND_ZERO_STATS;
  replay.run(bare.L);
  dump("open in a fresh state, by hand", 1);
}

void count_all(const char* folder) {
  count_opening(module_opener(folder));
  {
    State ours(folder, Side::ours);
    for (const Operation& operation : operations()) {
      if (operation.counted) count_operation(ours, operation, "");
    }
    for (const Operation& operation : task_operations()) count_operation(ours, operation, "");
  }
  State bare(folder, Side::bare);
  for (const Operation& operation : operations()) {
    if (operation.counted && !operation.fixed) count_operation(bare, operation, ", by hand");
  }
  count_operation(bare, direct_call, "");
}

}  // namespace
}  // namespace rovk::bench

int main(int count, char** arguments) {
  if (count == 2) {
    rovk::bench::time_all(arguments[1]);
  } else if (count == 3 && std::string(arguments[2]) == "count") {
    rovk::bench::count_all(arguments[1]);
  } else {
    std::fprintf(stderr, "usage: bench MODULE_FOLDER [count]\n");
    return 2;
  }
  return 0;
}
