// What is measured, as data: each operation is a Lua chunk that runs on both sides.
#pragma once

#include <lua.hpp>
#include <span>

namespace rovk::bench {

struct Operation {
  const char* name;
  // Gets the side's functions as `m`; gives a function that does the operation n times.
  const char* chunk;
  int counted;  // the times it is done while instructions are counted; 0: it is not counted
  int fixed;    // the times it is done in one slice; 0: as often as the slice has room for
};

std::span<const Operation> operations();

// Commands in tasks of the companion, and by the functions of the module that it stands on: on our side alone.
std::span<const Operation> task_operations();

// The functions under measurement, under one set of names: those of the module, or those of rovk_bare.
enum class Side { ours, bare };

// A state that has one side in it, and nothing of the other.
class State {
 public:
  State(const char* folder, Side side);
  ~State() { lua_close(L_); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  lua_State* lua() const { return L_; }
  // Gives the operation's function as a key of the registry.
  int prepare(const Operation& operation);
  void release(int function) { luaL_unref(L_, LUA_REGISTRYINDEX, function); }
  void run(int function, int count);
  void collect() { lua_gc(L_, LUA_GCCOLLECT, 0); }

 private:
  lua_State* L_;
};

// The message on top of the stack goes to the standard error stream, and the program ends.
[[noreturn]] void stop(lua_State* L);

}  // namespace rovk::bench
