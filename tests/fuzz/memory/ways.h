// Ways to an allocation. Most requests for memory come where others came before; a sweep that refuses each way once
// has been at every place from which a test asks. Of one way are requests with the same native stack and, of Lua's,
// in the same line of the innermost Lua function.
#pragma once

#include <cstdint>

struct lua_State;

namespace memory {

struct Way {
  uint64_t key;  // 0: no way
  long request;  // the number in its test, from 0
  unsigned run, pass, test;
  bool is_ours, refused[2];  // with all behind it, alone
};

// Shared by the processes of a run and, in a file, by one run after the other.
struct Ways {
  unsigned runs, passes, count;
  long without_place;    // requests that found the table full
  uint64_t refused_key;  // of the case
  Way places[1U << 17];
};
extern Ways* ways;

// In the file of this name; without a name, for this run alone.
bool share_ways(const char* name);

// The state in which a script runs.
extern lua_State* running;

// Stacks are told apart up to this frame.
extern uintptr_t stack_end;

// While true, each request is looked at: whether it is the first of a way, or the first of this pass in the way's test,
// or comes earlier in its test than that of the way.
extern bool noting;
extern unsigned noted_test;

struct Supply;
// What is about to be counted, or refused.
void note_request(const Supply& supply, bool is_refused);

}  // namespace memory
