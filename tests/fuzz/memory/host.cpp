// Runs a file of the Lua tests, by busted in this process, and lets memory end in each of its tests: at the n-th
// request of Lua's or of ours, that one alone or all from it on, each time in a process forked off where the test
// begins. The test may fail. What counts: the process lives, every reference to a callback is freed once its context is
// closed, the state closes, and with memory again a new state works.
//
//   fuzz_memory --build FOLDER [--seconds S | --sample M] [--seed N] [--only TEST:lua|ours:alone|rest:N]
//               [--ways FILE] FILE
//
// Each way to an allocation once, then in strides as long as the --seconds last; without them the ways alone. --ways:
// keeps which ways were taken, for the next file. --sample: so many requests of each test alone.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <lua.hpp>
#include <string>

#include "plan.h"
#include "supply.h"

extern "C" [[gnu::visibility("default")]] const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0:detect_leaks=0:allocator_may_return_null=1";
}

namespace {

using memory::Cost;
using memory::Plan;
using memory::Supply;
using memory::Way;
constexpr const char* supply_names[] = {"lua", "ours"};
constexpr const char* mode_names[] = {"rest", "alone"};
constexpr int lost_reference = 70, not_fresh = 71, not_finished = 72;

struct Options {
  std::string build = "build", file, here;
  double seconds = 0;
  long sample = 0, seed = 1;
  std::string only, ways;
  bool sweeps() const { return only.empty() && sample == 0; }
} options;

memory::Measured* measured;  // shared with the process that measures

enum class Part { measures, measures_one, leads, lacks } part;
unsigned test_number;
lua_State* main_state;
int report_fd = 2, child_output = -1;
long children, interrupted, findings;
long ways_tried, ways_missed;
double pace = 1;
long longest_stride[2];
unsigned swept_whole[2];

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}
double start_time;

Supply& supply_of(int number) { return number == 0 ? memory::lua : memory::ours; }

// One case: which supply ends, how and where.
struct Case {
  int supply = 0, alone = 0;
  long granted = 0;
} current;

bool works_anew() {
  lua_State* const L = luaL_newstate();
  luaL_openlibs(L);
  bool works = luaL_loadfile(L, (options.here + "/fresh.lua").c_str()) == 0;
  lua_pushstring(L, options.build.c_str());
  works = works && lua_pcall(L, 1, 0, 0) == 0;
  if (!works) fprintf(stderr, "a new state: %s\n", lua_tostring(L, -1));
  lua_close(L);
  return works;
}

// A test may wait for what want of memory took from it. It is interrupted as an interpreter does it; what goes on after
// that, the next alarm ends.
volatile sig_atomic_t was_interrupted;
constexpr unsigned patience_seconds = 10;

void raise_interrupt(lua_State* L, lua_Debug*) { luaL_error(L, "interrupted"); }

void interrupt(int) {
  was_interrupted = 1;
  signal(SIGALRM, SIG_DFL);
  alarm(patience_seconds);
  if (memory::running) lua_sethook(memory::running, raise_interrupt, LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT, 1);
}

// The end of a process that lacked memory.
[[noreturn]] void finish() {
  lua_sethook(main_state, nullptr, 0, 0);
  memory::at_end = true;
  memory::lua = memory::ours = {};
  lua_close(main_state);
  memory::close_contexts();
  if (memory::references() != 0) {
    fprintf(stderr, "%ld references to callbacks are left\n", memory::references());
    _exit(lost_reference);
  }
  // What processes share is ours, and a new state takes as long as the rest.
  const bool is_looked_at = current.supply == 1 || children % 8 == 0 || !options.only.empty();
  _exit(is_looked_at && !works_anew() ? not_fresh : was_interrupted ? not_finished : 0);
}

// One place in the code for all processes, or their stacks would differ.
[[gnu::noinline]] int call_test(lua_State* L, int count) {
  memory::stack_end = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  const int status = lua_pcall(L, count, 0, 0);
  memory::stack_end = 0;
  return status;
}

// In place of a test's function, which is its upvalue.
int run_test(lua_State* L) {
  const int count = lua_gettop(L);
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_insert(L, 1);
  lua_checkstack(L, 20);
  memory::lua = memory::ours = {};
  if (part == Part::lacks) supply_of(current.supply).refuse_after(current.granted, current.alone);
  memory::noted_test = test_number;
  memory::noting = (part == Part::measures || part == Part::measures_one) && options.sweeps();
  const double begin = now();
  const int status = call_test(L, count);
  memory::noting = false;
  if (part == Part::lacks) finish();
  if (part == Part::measures_one) _exit(0);
  if (part == Part::measures) {
    measured->tests[test_number] = {{memory::lua.count, memory::ours.count}, now() - begin};
    measured->count = test_number + 1;
  }
  return status == 0 ? 0 : lua_error(L);
}

void tell_finding(int status) {
  const std::string how = WIFSIGNALED(status)                     ? strsignal(WTERMSIG(status))
                          : WEXITSTATUS(status) == lost_reference ? "a callback is lost"
                          : WEXITSTATUS(status) == not_fresh      ? "nothing works in a new state"
                                                                  : "exit " + std::to_string(WEXITSTATUS(status));
  dprintf(report_fd, "%s: %s; again with --only %u:%s:%s:%ld\n", options.file.c_str(), how.c_str(), test_number,
          supply_names[current.supply], mode_names[current.alone], current.granted);
  char text[6000];
  const ssize_t length = pread(child_output, text, sizeof text, 0);
  if (length > 0) dprintf(report_fd, "%.*s\n", static_cast<int>(length), text);
  ++findings;
}

// True in the process that is forked off, which goes on to the test.
bool fork_case() {
  if (ftruncate(child_output, 0) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    part = Part::lacks;
    lseek(child_output, 0, SEEK_SET);
    dup2(child_output, 1);
    dup2(child_output, 2);
    signal(SIGALRM, interrupt);
    alarm(1 + static_cast<unsigned>(5 * measured->tests[test_number].seconds));
    return true;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  ++children;
  const bool is_interrupted = WIFEXITED(status) && WEXITSTATUS(status) == not_finished;
  interrupted += is_interrupted;
  if (status != 0 && !is_interrupted) tell_finding(status);
  return false;
}

unsigned long draw() {
  static unsigned long state = static_cast<unsigned long>(options.seed) % 2147483646 + 1;
  return state = state * 16807 % 2147483647;
}

// The ways of this test in both modes; true in the process that is forked off.
bool sweep_ways(const Cost& cost, double seconds) {
  static double real = 0, estimated = 0;
  const double deadline = now() + seconds;
  for (const Way& way : memory::ways->places) {
    if (way.key == 0 || way.run != memory::ways->runs || way.test != test_number) continue;
    for (int alone = 0; alone < 2; ++alone) {
      if (way.refused[alone]) continue;
      const double begin = now();
      if (begin > deadline) return false;
      current = {way.is_ours, alone, way.request};
      memory::ways->refused_key = 0;
      if (fork_case()) return true;
      ++ways_tried;
      ways_missed += memory::ways->refused_key != way.key;
      real += now() - begin;
      estimated += cost.of(way);
      pace = real / estimated;
    }
  }
  return false;
}

bool sweep_strides(const Cost& cost, double seconds) {
  for (current.supply = 0; current.supply < 2; ++current.supply) {
    const long end = cost.requests[current.supply];
    const long stride = std::max(1L, std::lround(std::ceil(cost.all(current.supply) / seconds)));
    longest_stride[current.supply] = std::max(longest_stride[current.supply], std::min(stride, end));
    swept_whole[current.supply] += stride == 1;
    for (current.alone = 0; current.alone < 2; ++current.alone) {
      for (current.granted = static_cast<long>(draw()) % stride; current.granted < end; current.granted += stride) {
        if (fork_case()) return true;
      }
    }
  }
  return false;
}

// Where things lie decides on the order in some tables, so here the ways' requests are numbered anew. True in the
// process that is forked off.
bool measure_one() {
  ++memory::ways->passes;
  const pid_t child = fork();
  if (child == 0) {
    part = Part::measures_one;
    return true;
  }
  waitpid(child, nullptr, 0);
  return false;
}

bool sweep(const Cost& cost) {
  const auto plan = [] {
    const double left = options.seconds > 0 ? options.seconds - (now() - start_time) : HUGE_VAL;
    return Plan(*measured, test_number, left, pace);
  };
  if (plan().ways_seconds() > 0 && (measure_one() || sweep_ways(cost, plan().ways_seconds()))) return true;
  const double seconds = options.seconds > 0 ? plan().stride_seconds() : 0;
  return seconds > 0 && sweep_strides(cost, seconds);
}

bool sample(const Cost& cost) {
  for (long i = 0; i < options.sample; ++i) {
    current.supply = static_cast<int>(draw() % 2);
    current.alone = static_cast<int>(draw() / 2 % 2);
    const long most = cost.requests[current.supply];
    if (most == 0) continue;
    current.granted = static_cast<long>(draw()) % most;
    if (fork_case()) return true;
  }
  return false;
}

bool run_only() {
  unsigned number = 0;
  char supply[8] = "", mode[8] = "";
  if (sscanf(options.only.c_str(), "%u:%7[a-z]:%7[a-z]:%ld", &number, supply, mode, &current.granted) != 4) exit(2);
  if (number != test_number) return false;
  current.supply = strcmp(supply, "ours") == 0;
  current.alone = strcmp(mode, "alone") == 0;
  return fork_case();
}

// start(test): what busted is about to run.
int start(lua_State* L) {
  static unsigned next;
  test_number = std::min(next++, memory::most_tests - 1);
  lua_getfield(L, 1, "run");
  lua_pushcclosure(L, run_test, 1);
  lua_setfield(L, 1, "run");
  memory::find_ours();
  if (part != Part::leads) return 0;
  const Cost& cost = measured->tests[test_number];
  if (!options.only.empty()) {
    run_only();
  } else if (options.sample > 0) {
    sample(cost);
  } else {
    sweep(cost);
  }
  return 0;
}

void tell_sweep() {
  long known = 0, refused[2] = {};
  for (const Way& way : memory::ways->places) {
    if (way.key == 0 || way.run != memory::ways->runs) continue;
    ++known;
    for (int alone = 0; alone < 2; ++alone) refused[alone] += way.refused[alone];
  }
  dprintf(report_fd, "; %ld ways, of them refused %ld alone and %ld with all behind them; at %ld of %ld was another",
          known, refused[1], refused[0], ways_missed, ways_tried);
  if (memory::ways->without_place != 0) dprintf(report_fd, "; NO PLACE for %ld requests", memory::ways->without_place);
  for (int supply = 0; supply < 2 && longest_stride[supply] != 0; ++supply) {
    dprintf(report_fd, "; %s: at each request in %u tests, in others at every %ldth or more often",
            supply_names[supply], swept_whole[supply], longest_stride[supply]);
  }
}

// In place of os.exit.
int end(lua_State*) {
  if (part == Part::lacks) finish();
  if (part != Part::leads) _exit(0);
  long requests[2] = {};
  for (unsigned i = 0; i < measured->count; ++i) {
    for (int supply = 0; supply < 2; ++supply) requests[supply] += measured->tests[i].requests[supply];
  }
  dprintf(report_fd,
          "%s: %u tests with %ld requests of lua's and %ld of ours, %ld times without memory, %ld of them interrupted, "
          "%ld findings, in %.0f s",
          options.file.c_str(), measured->count, requests[0], requests[1], children, interrupted, findings,
          now() - start_time);
  if (options.sweeps()) tell_sweep();
  dprintf(report_fd, "\n");
  _exit(findings != 0 || measured->count == 0);
}

void run_busted() {
  main_state = lua_newstate(memory::allocate, nullptr);
  lua_State* const L = main_state;
  luaL_openlibs(L);
  static const luaL_Reg functions[] = {{"start", start}, {nullptr, nullptr}};
  luaL_register(L, "memory", functions);
  lua_getglobal(L, "os");
  lua_pushcfunction(L, end);
  lua_setfield(L, -2, "exit");
  lua_settop(L, 0);
  const std::string text = "arg = {[0] = 'busted', '--helper=" + options.here +
                           "/helper.lua', '--output=plainTerminal', '" + options.file +
                           "'} require('busted.runner')({standalone = false})";
  if (luaL_dostring(L, text.c_str()) != 0 && part != Part::lacks) {
    dprintf(report_fd, "%s: %s\n", options.file.c_str(), lua_tostring(L, -1));
    _exit(3);
  }
  end(L);
}

}  // namespace

int main(int count, char** words) {
  options.here = ROVK_MEMORY_FOLDER;
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    const bool has_value = word.rfind("--", 0) == 0;
    if (has_value && i + 1 == count) return 2;
    if (word == "--build")
      options.build = words[++i];
    else if (word == "--seconds")
      options.seconds = atof(words[++i]);
    else if (word == "--sample")
      options.sample = atol(words[++i]);
    else if (word == "--seed")
      options.seed = atol(words[++i]);
    else if (word == "--only")
      options.only = words[++i];
    else if (word == "--ways")
      options.ways = words[++i];
    else if (!has_value)
      options.file = word;
    else
      return 2;
  }
  setenv("ROVK_BUILD", options.build.c_str(), 1);
  if (!memory::share_ways(options.ways.empty() ? nullptr : options.ways.c_str())) return 4;
  measured = static_cast<memory::Measured*>(
      mmap(nullptr, sizeof *measured, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  child_output = memfd_create("output", 0);
  report_fd = dup(2);
  const int nowhere = open("/dev/null", O_RDWR);
  dup2(nowhere, 0);
  dup2(nowhere, 1);
  dup2(nowhere, 2);
  const pid_t measures = fork();
  part = measures == 0 ? Part::measures : Part::leads;
  if (measures != 0) waitpid(measures, nullptr, 0);
  start_time = now();
  run_busted();
}
