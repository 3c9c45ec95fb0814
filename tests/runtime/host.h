// A host program in small: a Lua state whose memory can run out, and native memory that can.
#pragma once

#include <cstddef>
#include <string>

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

#include <rovk/bridge.h>

namespace host {

// A Lua state of its own. `remaining` counts the allocations that still succeed; negative: all do.
class State {
 public:
  State();
  ~State();
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  lua_State* operator*() const { return L_; }
  void open_module();
  // Runs a text and gives its one result as text; the message of a failure otherwise.
  std::string run(const char* text);
  // Entries of the registry, for leak checks: all keys, and the references in use among the numbers.
  int registry_size();

  long remaining = -1;

 private:
  static void* allocate(void* self, void* block, std::size_t old_size, std::size_t new_size);
  lua_State* L_;
};

// The number of calloc calls that still succeed; negative: all do.
extern long native_remaining;
// Asked at each of them, where it is set.
extern bool (*refuses)();

// What the bridge logged, newest last, joined by line feeds. Reading clears it.
std::string take_log();

}  // namespace host
