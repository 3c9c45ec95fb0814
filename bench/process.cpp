#include "process.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "operations.h"

namespace rovk::bench {
namespace {

// The result of `measure` in a child process.
double in_child(const std::function<double()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    const double value = measure();
    _exit(write(ends[1], &value, sizeof value) == sizeof value ? 0 : 1);
  }
  double value = 0;
  const bool complete = child > 0 && read(ends[0], &value, sizeof value) == sizeof value;
  int status = 0;
  waitpid(child, &status, 0);
  close(ends[0]);
  close(ends[1]);
  if (!complete || status != 0) {
    std::fprintf(stderr, "bench: a measurement in a process of its own has failed\n");
    std::exit(1);
  }
  return value;
}

long resident_pages() {
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  long all = 0, resident = 0;
  if (!file || std::fscanf(file, "%ld %ld", &all, &resident) != 2) std::abort();
  std::fclose(file);
  return resident;
}

}  // namespace

double FreshState::heap_kilobytes() const {
  lua_gc(L, LUA_GCCOLLECT, 0);
  return lua_gc(L, LUA_GCCOUNT, 0) + lua_gc(L, LUA_GCCOUNTB, 0) / 1024.0;
}

lua_CFunction module_opener(const char* folder) {
  void* const module = dlopen((std::string(folder) + "/rovk_message.so").c_str(), RTLD_NOW);
  void* const open = module ? dlsym(module, "luaopen_rovk_message") : nullptr;
  if (!open) {
    std::fprintf(stderr, "bench: %s\n", dlerror());
    std::exit(1);
  }
  return reinterpret_cast<lua_CFunction>(open);
}

void open_module(lua_State* L, lua_CFunction open) {
  lua_pushcfunction(L, open);
  if (lua_pcall(L, 0, 1, 0) != 0) stop(L);
}

double load_seconds(const char* folder) {
  std::vector<double> times;
  for (int i = 0; i < 15; ++i) {
    times.push_back(in_child([&] {
      const auto start = std::chrono::steady_clock::now();
      module_opener(folder);
      return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }));
  }
  std::nth_element(times.begin(), times.begin() + 7, times.end());
  return times[7];
}

long resident_kilobytes(const char* folder, bool opened) {
  const double pages = in_child([&] {
    const FreshState state;
    const long before = resident_pages();
    const lua_CFunction open = module_opener(folder);
    if (opened) open_module(state.L, open);
    return static_cast<double>(resident_pages() - before);
  });
  return static_cast<long>(pages) * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace rovk::bench
