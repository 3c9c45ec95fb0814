// The native half of the script fuzzer, a Lua module, so that every interpreter can run it: Lua states that
// are made and closed in mid-course, memory that runs out, objects of no known library, and a record of the
// last steps that is printed when the process dies.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>
#include <rovk/unit.h>
#include <signal.h>
#include <sys/personality.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <lua.hpp>
#include <string>
#include <vector>

// Of the sanitizers, where the process has them.
extern "C" {
[[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)(void));
[[gnu::weak]] void __sanitizer_set_report_fd(void* fd);
[[gnu::weak]] int __lsan_do_recoverable_leak_check(void);
[[gnu::weak]] size_t __sanitizer_get_current_allocated_bytes(void);
}

namespace {

// The last steps, kept where a dying process still finds them.
struct Step {
  unsigned number;
  char text[200];
};
constexpr unsigned kept_steps = 24;
Step steps[kept_steps];
unsigned step_count;
char where[200];  // how to come back here
int report_fd = 2;
bool tracing;

void print_steps() {
  dprintf(report_fd, "\nfuzz: the last steps:\n");
  const unsigned first = step_count > kept_steps ? step_count - kept_steps : 0;
  for (unsigned i = first; i < step_count; ++i) {
    dprintf(report_fd, "%10u %s\n", steps[i % kept_steps].number, steps[i % kept_steps].text);
  }
  dprintf(report_fd, "fuzz: again with: %s\n", where);
}

void die(int number) {
  dprintf(report_fd, "\nfuzz: %s", number == SIGALRM ? "a step does not come to its end" : strsignal(number));
  print_steps();
  signal(number, SIG_DFL);
  raise(number == SIGALRM ? SIGKILL : number);
}

// One state that runs an episode, inside another's perhaps.
struct State {
  lua_State* L = nullptr;
  long remaining = -1;          // allocations that still succeed; negative: all
  std::vector<void*> contexts;  // that it opened; whatever it closed itself is a spent handle
  std::vector<void*> disowned;  // records that no object frees any more
  State* outer = nullptr;
};
State* running;

void* allocate(void* data, void* block, size_t old_size, size_t new_size) {
  long& remaining = static_cast<State*>(data)->remaining;
  if (new_size == 0) {
    std::free(block);
    return nullptr;
  }
  if (new_size > old_size) {
    if (remaining == 0) return nullptr;
    if (remaining > 0) --remaining;
  }
  return std::realloc(block, new_size);
}

struct Object {
  const char* const* type;  // first member of a type entry: its name
  int own;
  void* pointer;
};

Object* object_at(lua_State* L, int index) {
  return lua_touserdata(L, index) && lua_objlen(L, index) >= sizeof(Object)
             ? static_cast<Object*>(lua_touserdata(L, index))
             : nullptr;
}

// note(step, text)
int note(lua_State* L) {
  Step& step = steps[step_count++ % kept_steps];
  step.number = static_cast<unsigned>(lua_tonumber(L, 1));
  const char* const text = lua_tostring(L, 2);
  snprintf(step.text, sizeof step.text, "%s", text ? text : "?");
  if (tracing) dprintf(report_fd, "%10u %s\n", step.number, step.text);
  return 0;
}

// limit(count): so many allocations succeed from now on; without a number all do.
int limit(lua_State* L) {
  if (running) running->remaining = lua_isnumber(L, 1) ? static_cast<long>(lua_tonumber(L, 1)) : -1;
  return 0;
}

// open(function, text, object): calls the function; the context that it gives is closed after the state, should nobody
// have done so, and whatever strikes the script meanwhile.
int open(lua_State* L) {
  lua_settop(L, 3);
  lua_call(L, 2, 2);
  const Object* const object = object_at(L, 2);
  if (object && running) running->contexts.push_back(object->pointer);
  return 2;
}

// disown(function, object): calls the function; a record that lost its owner is freed after the state.
int disown(lua_State* L) {
  const Object* const object = object_at(L, 2);
  void* const record = object && object->own ? object->pointer : nullptr;
  lua_settop(L, 2);
  lua_pushvalue(L, 1);
  lua_pushvalue(L, 2);
  lua_call(L, 1, 0);
  // It was not refused, so it is one of the module's; a context is no record.
  if (record && running && strcmp(*object->type, "_p_void") != 0) running->disowned.push_back(record);
  return 0;
}

// foreign(kind, size): a userdata of a library that nobody knows, with unlike insides.
int foreign(lua_State* L) {
  static const struct { const char* name; } thing = {"_p_void"};
  const auto size = static_cast<size_t>(luaL_checkinteger(L, 2));
  void* const block = lua_newuserdata(L, size);
  const void* const words[] = {nullptr, &thing, block, L};
  const auto kind = static_cast<size_t>(luaL_checkinteger(L, 1));
  memset(block, kind < 4 ? 0 : 0xa5, size);
  for (size_t at = 0; kind < 4 && at + sizeof(void*) <= size; at += sizeof(void*)) {
    memcpy(static_cast<char*>(block) + at, &words[kind], sizeof(void*));
  }
  return 1;
}

int light(lua_State* L) {
  static int target;
  lua_pushlightuserdata(L, luaL_optinteger(L, 1, 0) ? L : static_cast<void*>(&target));
  return 1;
}

// used(): bytes on the heap.
int used(lua_State* L) {
  lua_pushnumber(L,
                 static_cast<double>(__sanitizer_get_current_allocated_bytes ? __sanitizer_get_current_allocated_bytes()
                                                                             : mallinfo2().uordblks));
  return 1;
}

// leaks(): whether blocks are lost; the leak sanitizer tells which.
int leaks(lua_State* L) {
  lua_pushboolean(L, __lsan_do_recoverable_leak_check && __lsan_do_recoverable_leak_check());
  return 1;
}

// finish(code): ends the process at once.
int finish(lua_State* L) { _exit(static_cast<int>(luaL_checkinteger(L, 1))); }

int report(lua_State* L) {
  dprintf(report_fd, "%s\n", luaL_checkstring(L, 1));
  if (lua_toboolean(L, 2)) print_steps();
  return 0;
}

const luaL_Reg inside[] = {{"note", note},       {"limit", limit}, {"open", open},     {"disown", disown},
                           {"foreign", foreign}, {"light", light}, {"report", report}, {nullptr, nullptr}};

int episode(lua_State* L);

void push_functions(lua_State* L) {
  lua_newtable(L);
  luaL_register(L, nullptr, inside);
  lua_pushcfunction(L, episode);
  lua_setfield(L, -2, "episode");
}

// What a closed state leaves: contexts with commands and subscriptions under way, a clock that moves on.
void end_contexts(const State& state) {
  for (void* const context : state.contexts) {
    rovk_unit_advance(context, 50'000'000);
    rovktrans_dispatch(context, 10);
  }
  for (void* const context : state.contexts) rovktrans_deinit(context);
}

// False: something has left a callback in a way that its library has not noticed, so no other would run ever again.
bool delivers() {
  void* context = nullptr;
  if (rovktrans_init("sim?clock=virtual", nullptr, &context) != 0) return true;
  const bool runs = rovktrans_dispatch(context, 0) != -EBUSY;
  rovktrans_deinit(context);
  return runs;
}

// episode(file, text...): runs a file in a fresh state with the texts as its arguments, and closes the state.
// Gives what it returned, or nil and a message.
int episode(lua_State* L) {
  // What may raise comes before there is something to close.
  const int count = lua_gettop(L);
  for (int i = 1; i <= count; ++i) luaL_checkstring(L, i);
  luaL_checkstack(L, 4, "no room for results");
  State state;
  state.outer = running;
  state.L = lua_newstate(allocate, &state);
  if (!state.L) state.L = luaL_newstate();
  if (!state.L) return luaL_error(L, "no further state");
  running = &state;
  luaL_openlibs(state.L);
  push_functions(state.L);
  lua_setglobal(state.L, "fuzz");
  bool failed = luaL_loadfile(state.L, lua_tostring(L, 1)) != 0;
  if (!failed) {
    for (int i = 2; i <= count; ++i) {
      size_t length = 0;
      const char* const text = lua_tolstring(L, i, &length);
      lua_pushlstring(state.L, text, length);
    }
    failed = lua_pcall(state.L, count - 1, 1, 0) != 0;
  }
  const char* const text = lua_tostring(state.L, -1);
  char result[400];
  snprintf(result, sizeof result, "%s", text ? text : luaL_typename(state.L, -1));
  // Finalizers know by it that nothing will run for what they make.
  state.remaining = -1;
  lua_getglobal(state.L, "fuzz");
  lua_pushboolean(state.L, 1);
  lua_setfield(state.L, -2, "closing");
  lua_close(state.L);
  running = state.outer;
  end_contexts(state);
  if (!state.outer && !delivers()) {
    failed = true;
    snprintf(result, sizeof result, "no callback runs any more");
  }
  for (void* const record : state.disowned) std::free(record);
  if (failed) lua_pushnil(L);
  lua_pushstring(L, result);
  return failed ? 2 : 1;
}

// begin(where, seconds, trace): the line that leads back here; how long it may take until the next.
int begin(lua_State* L) {
  snprintf(where, sizeof where, "%s", luaL_checkstring(L, 1));
  alarm(static_cast<unsigned>(luaL_checkinteger(L, 2)));
  tracing = lua_toboolean(L, 3);
  return 0;
}

// Addresses decide on the order of tables, and so on what the steps of a seed are: a process in which they are drawn
// at random starts anew without that, where it may.
void keep_addresses() {
#ifdef ROVK_FUZZ_REPEATS
  const int now = personality(0xffffffff);
  if (now < 0 || now & ADDR_NO_RANDOMIZE || personality(static_cast<unsigned long>(now) | ADDR_NO_RANDOMIZE) < 0)
    return;
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::string words((std::istreambuf_iterator<char>(file)), {});
  std::vector<char*> list;
  for (size_t at = 0; at < words.size(); at += strlen(&words[at]) + 1) list.push_back(&words[at]);
  list.push_back(nullptr);
  execv("/proc/self/exe", list.data());
#endif
}

// quiet(): what is tested writes to nowhere from now on; what tests, to where the standard error stream was.
int quiet(lua_State*) {
  keep_addresses();
  report_fd = dup(2);
  const int nowhere = ::open("/dev/null", O_WRONLY);
  dup2(nowhere, 1);
  dup2(nowhere, 2);
  close(nowhere);
  if (__sanitizer_set_report_fd) __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(report_fd)));
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(print_steps);
  signal(SIGALRM, die);
  signal(SIGABRT, die);
  if (!__sanitizer_set_death_callback) {
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) signal(number, die);
  }
  return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_fuzz_host(lua_State* L) {
  push_functions(L);
  static const luaL_Reg outside[] = {{"begin", begin}, {"quiet", quiet},   {"used", used},
                                     {"leaks", leaks}, {"finish", finish}, {nullptr, nullptr}};
  luaL_register(L, nullptr, outside);
  return 1;
}
