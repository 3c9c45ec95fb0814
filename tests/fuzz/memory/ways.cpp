// How a way is told from others, by what holds in every process: places in the objects, not in the address space.
#include "ways.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <unwind.h>

#include <lua.hpp>
#include <mutex>

#include "supply.h"

namespace memory {

Ways* ways;
lua_State* running;
uintptr_t stack_end;
bool noting;
unsigned noted_test;

namespace {

constexpr unsigned place_count = sizeof Ways::places / sizeof *Ways::places;
constexpr unsigned most_ways = place_count / 4 * 3;
constexpr int most_frames = 30;
uintptr_t load_end;  // up to this frame the parser is at work

uint64_t mixed(uint64_t key, uint64_t value) {
  key = (key ^ value) * 0x9e3779b97f4a7c15U;
  return key ^ key >> 29;
}

struct Trace {
  uint64_t key;
  int frames;
  uintptr_t load_end;
};

_Unwind_Reason_Code add_frame(_Unwind_Context* context, void* data) {
  auto& trace = *static_cast<Trace*>(data);
  const uintptr_t address = _Unwind_GetIP(context), frame = _Unwind_GetCFA(context);
  if (trace.load_end != 0 && frame >= trace.load_end) trace = {0, 0, 0};
  dl_find_object object;
  if (frame >= stack_end || _dl_find_object(reinterpret_cast<void*>(address), &object) != 0) return _URC_END_OF_STACK;
  trace.key = mixed(trace.key, address - reinterpret_cast<uintptr_t>(object.dlfo_map_start));
  return ++trace.frames == most_frames ? _URC_END_OF_STACK : _URC_NO_REASON;
}

// A chunk's own lines, each run once and in a file of data by the thousand, are as one.
uint64_t with_line(uint64_t key) {
  lua_Debug place;
  for (int level = 0; running && lua_getstack(running, level, &place); ++level) {
    lua_getinfo(running, "Sl", &place);
    if (place.currentline < 0) continue;
    for (const char* name = place.short_src; *name; ++name) key = mixed(key, static_cast<unsigned char>(*name));
    return mixed(key, *place.what == 'm' ? 0 : static_cast<uint64_t>(place.currentline));
  }
  return key;
}

uint64_t key_here(bool is_ours) {
  Trace trace{1U + is_ours, 0, is_ours ? 0 : load_end};
  _Unwind_Backtrace(add_frame, &trace);
  return (is_ours ? trace.key : with_line(trace.key)) | 1;
}

// The place of a way, or where it would be.
Way& place_of(uint64_t key) {
  uint64_t place = (key >> 16) % place_count;
  while (ways->places[place].key != 0 && ways->places[place].key != key) place = (place + 1) % place_count;
  return ways->places[place];
}

}  // namespace

bool share_ways(const char* name) {
  const int file = name ? open(name, O_RDWR | O_CREAT, 0644) : -1;
  if (name && (file < 0 || ftruncate(file, sizeof(Ways)) != 0)) return false;
  void* const memory =
      mmap(nullptr, sizeof(Ways), PROT_READ | PROT_WRITE, name ? MAP_SHARED : MAP_SHARED | MAP_ANONYMOUS, file, 0);
  if (memory == MAP_FAILED) return false;
  ways = static_cast<Ways*>(memory);
  ++ways->runs;
  return true;
}

void note_request(const Supply& supply, bool is_refused) {
  const bool is_ours = &supply == &ours;
  const uint64_t key = key_here(is_ours);
  static std::mutex mutex;  // the libraries' threads ask as well
  const std::lock_guard guard(mutex);
  Way& way = place_of(key);
  if (is_refused) {
    ways->refused_key = key;
    if (way.key != 0) way.refused[supply.alone] = true;
  } else if (way.key == 0 && ways->count == most_ways) {
    ++ways->without_place;
  } else if (way.key == 0) {
    ++ways->count;
    way = {key, supply.count, ways->runs, ways->passes, noted_test, is_ours, {false, false}};
  } else if (way.run != ways->runs || supply.count < way.request ||
             (way.test == noted_test && way.pass != ways->passes)) {
    way.run = ways->runs;
    way.pass = ways->passes;
    way.test = noted_test;
    way.request = supply.count;
  }
}

}  // namespace memory

// Through these a script comes to run in a state. Where an error leaves lua_call, a lua_pcall around it in the same
// state, or what resumed it, puts back what ran before.
template <class Call>
static int run_in(lua_State* L, Call call) {
  lua_State* const before = memory::running;
  memory::running = L;
  const int result = call();
  memory::running = before;
  return result;
}

#define SHOWN extern "C" [[gnu::visibility("default")]]
#define REAL(name) static const auto real = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

SHOWN void lua_call(lua_State* L, int arguments, int results) {
  REAL(lua_call);
  run_in(L, [&] { return real(L, arguments, results), 0; });
}
SHOWN int lua_pcall(lua_State* L, int arguments, int results, int handler) {
  REAL(lua_pcall);
  return run_in(L, [&] { return real(L, arguments, results, handler); });
}
SHOWN int lua_resume(lua_State* L, int arguments) {
  REAL(lua_resume);
  return run_in(L, [&] { return real(L, arguments); });
}

// All that the interpreter asks for as it compiles a text, by thousands of ways through its parser, is on one.
SHOWN int lua_load(lua_State* L, lua_Reader reader, void* data, const char* name) {
  REAL(lua_load);
  const uintptr_t before = memory::load_end;
  memory::load_end = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  const int status = real(L, reader, data, name);
  memory::load_end = before;
  return status;
}
