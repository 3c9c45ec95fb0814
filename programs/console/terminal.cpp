// What the console needs of a terminal and Lua has not: a line that is edited while other things go on, and an
// interrupt that ends the line that runs but not the program. Over libreadline, whose lines arrive a key at a time;
// with input from a pipe, lines are read here and nothing is edited.
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

// After stdio, which they need and do not include.
#include <readline/history.h>
#include <readline/readline.h>

#include "runtime/lua_api.h"

extern "C" __attribute__((visibility("default"))) int luaopen_rovk_terminal(lua_State* L);

namespace {

enum { KEPT_LINES = 1000, HOOK_INSTRUCTIONS = 10000, PIPE_BYTES = 4096 };

// A process has one terminal; so has this module one state.
struct {
  lua_State* main = nullptr;     // the state that opened the module: the scheduler's, which is never interrupted
  bool edits = false;            // standard input and output are a terminal
  bool prompted = false;         // a line is being edited
  bool hidden = false;           // its text is off the screen, since something else was written
  bool ended = false;            // standard input has no more
  char* line = nullptr;          // what was entered, of malloc, until it is fetched
  char* history_file = nullptr;  // of malloc; null: history is not kept
  int complete = LUA_NOREF;      // the function that completes words
  char* pipe = nullptr;          // input that is no whole line yet, of malloc
  size_t pipe_size = 0;
} terminal;

volatile sig_atomic_t interrupted = 0;
volatile sig_atomic_t resumed = 0;

void on_interrupt(int /*signal*/) { interrupted = 1; }

void on_resume(int /*signal*/) { resumed = 1; }

// Lines and tasks run in coroutines, which take the hook over from the state that made them. It stays an interrupt
// until somebody fetches it, so that a pcall in the line does not swallow it.
void check_interrupt(lua_State* L, lua_Debug* /*unused*/) {
  if (interrupted && L != terminal.main) luaL_error(L, "interrupted");
}

// Words --------------------------------------------------------------------------------------------------

char** no_matches() { return nullptr; }

char* copy_text(const char* text) {
  char* const copy = strdup(text);
  if (!copy) abort();  // readline itself ends the program where it gets no memory
  return copy;
}

// The list on top of the stack, in readline's form: what all have in common first. Both are freed by readline.
char** matches_of(lua_State* L, const char* word) {
  const size_t count = lua_objlen(L, -1);
  if (count == 0) return no_matches();
  char** const list = static_cast<char**>(malloc((count + 2) * sizeof(char*)));
  if (!list) return no_matches();
  size_t common = 0;
  for (size_t place = 1; place <= count; ++place) {
    lua_rawgeti(L, -1, static_cast<int>(place));
    const char* const text = lua_tostring(L, -1);
    list[place] = copy_text(text ? text : word);
    lua_pop(L, 1);
    size_t same = 0;
    while (list[1][same] && list[1][same] == list[place][same]) ++same;
    common = place == 1 ? strlen(list[1]) : (same < common ? same : common);
  }
  list[0] = strndup(list[1], common);
  list[count + 1] = nullptr;
  if (count == 1) {
    free(list[1]);
    list[1] = nullptr;
  }
  return list;
}

// Calls complete(line up to the word, word); an error in it completes nothing.
char** complete_word(const char* word, int start, int /*end*/) {
  rl_attempted_completion_over = 1;
  rl_completion_append_character = '\0';
  lua_State* const L = terminal.main;
  lua_rawgeti(L, LUA_REGISTRYINDEX, terminal.complete);
  lua_pushlstring(L, rl_line_buffer, static_cast<size_t>(start));
  lua_pushstring(L, word);
  char** list = nullptr;
  if (lua_pcall(L, 2, 1, 0) == 0 && lua_istable(L, -1)) list = matches_of(L, word);
  lua_pop(L, 1);
  return list;
}

// Lines --------------------------------------------------------------------------------------------------

void take_line(char* line) {
  // Here, and not by the caller: else readline would show its prompt once more.
  rl_callback_handler_remove();
  terminal.prompted = false;
  terminal.line = line;
  if (!line) terminal.ended = true;
}

void hide_line() {
  if (!terminal.prompted || terminal.hidden) return;
  rl_clear_visible_line();
  fflush(rl_outstream);
  terminal.hidden = true;
}

void show_line() {
  if (!terminal.prompted || !terminal.hidden) return;
  fflush(stdout);
  rl_on_new_line();
  rl_redisplay();
  terminal.hidden = false;
}

void drop_line() {
  show_line();
  rl_point = rl_end;
  rl_redisplay();
  // Before the handler goes, which moves to the beginning of the line.
  fputs("^C\n", rl_outstream);
  fflush(rl_outstream);
  rl_callback_sigcleanup();
  rl_free_line_state();
  rl_callback_handler_remove();
  terminal.prompted = terminal.hidden = false;
}

// The first whole line of what came through the pipe, or, at its end, what is left; null: none.
char* line_of_pipe() {
  char* const end = static_cast<char*>(terminal.pipe_size ? memchr(terminal.pipe, '\n', terminal.pipe_size) : nullptr);
  if (!end && !(terminal.ended && terminal.pipe_size)) return nullptr;
  const size_t length = end ? static_cast<size_t>(end - terminal.pipe) : terminal.pipe_size;
  char* const line = static_cast<char*>(malloc(length + 1));
  if (!line) return nullptr;
  memcpy(line, terminal.pipe, length);
  line[length] = '\0';
  const size_t used = end ? length + 1 : length;
  terminal.pipe_size -= used;
  memmove(terminal.pipe, terminal.pipe + used, terminal.pipe_size);
  return line;
}

void read_pipe() {
  char* const grown = static_cast<char*>(realloc(terminal.pipe, terminal.pipe_size + PIPE_BYTES));
  if (!grown) abort();
  terminal.pipe = grown;
  const ssize_t got = read(STDIN_FILENO, terminal.pipe + terminal.pipe_size, PIPE_BYTES);
  if (got > 0) {
    terminal.pipe_size += static_cast<size_t>(got);
  } else if (got == 0 || errno != EINTR) {
    terminal.ended = true;
  }
}

int push_line(lua_State* L, char* line) {
  lua_pushliteral(L, "line");
  lua_pushstring(L, line);
  free(line);
  return 2;
}

// What a wait for input has brought; 0: nothing yet.
int push_input(lua_State* L) {
  if (!terminal.edits) terminal.line = line_of_pipe();
  if (terminal.line) {
    char* const line = terminal.line;
    terminal.line = nullptr;
    return push_line(L, line);
  }
  if (!terminal.ended) return 0;
  lua_pushliteral(L, "end");
  return 1;
}

// Surface ------------------------------------------------------------------------------------------------

// open(complete, history_file): readies the terminal. complete(before, word) gives a list of texts that the word may
// become. @return true when lines are edited, false with input from a pipe
int open_terminal(lua_State* L) {
  luaL_checktype(L, 1, LUA_TFUNCTION);
  const char* const file = luaL_optstring(L, 2, nullptr);
  terminal.edits = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
  lua_sethook(L, check_interrupt, LUA_MASKCOUNT, HOOK_INSTRUCTIONS);
  // Without SA_RESTART: an interrupt ends a wait.
  struct sigaction action = {};
  sigemptyset(&action.sa_mask);
  if (terminal.edits) {
    action.sa_handler = on_interrupt;
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = on_resume;
    sigaction(SIGCONT, &action, nullptr);
    lua_pushvalue(L, 1);
    terminal.complete = luaL_ref(L, LUA_REGISTRYINDEX);
    rl_readline_name = "rovk";
    rl_catch_signals = 0;
    rl_attempted_completion_function = complete_word;
    rl_completer_word_break_characters = " \t\n\"'`~!@#$%^&*()-+={}[]|\\:;<>,./?";
    rl_completer_quote_characters = "";
    rl_basic_quote_characters = "";
    // One Tab lists what there is; a question, or a page, would keep the unit waiting. The user's inputrc may differ.
    rl_variable_bind("show-all-if-ambiguous", "on");
    rl_variable_bind("page-completions", "off");
    rl_completion_query_items = 0;
    rl_sort_completion_matches = 0;
    // Entries of several lines stay whole: their beginnings are told by a time stamp.
    history_comment_char = '#';
    history_write_timestamps = 1;
    history_multiline_entries = 1;
    using_history();
    stifle_history(KEPT_LINES);
    if (file) {
      terminal.history_file = copy_text(file);
      read_history(file);
      history_truncate_file(file, KEPT_LINES);
    }
  }
  lua_pushboolean(L, terminal.edits);
  return 1;
}

// prompt(text): begins a new line. With a pipe: nothing.
int prompt(lua_State* L) {
  const char* const text = luaL_checkstring(L, 1);
  if (!terminal.edits || terminal.ended) return 0;
  fflush(stdout);
  terminal.prompted = true;
  terminal.hidden = false;
  rl_callback_handler_install(text, take_line);
  return 0;
}

// wait(descriptor, ms, input): waits for the descriptor (nil: none), at most so many milliseconds (nil: no limit), and,
// where input is true, for a line. @return "line" and its text, "end", "interrupt", or nothing
int wait_for(lua_State* L) {
  const int descriptor = lua_isnil(L, 1) ? -1 : static_cast<int>(luaL_checkinteger(L, 1));
  const lua_Number ms = luaL_optnumber(L, 2, -1);
  const bool input = lua_toboolean(L, 3);
  if (input) {
    const int pushed = push_input(L);
    if (pushed) return pushed;
    show_line();
  }
  pollfd list[] = {{descriptor, POLLIN, 0}, {input ? STDIN_FILENO : -1, POLLIN, 0}};
  const int limit = ms < 0 ? -1 : ms > 3600e3 ? 3600000 : static_cast<int>(ms + 0.999);
  if (!interrupted && poll(list, 2, limit) < 0) list[0].revents = list[1].revents = 0;
  if (resumed) {
    resumed = 0;
    if (terminal.prompted) {
      rl_deprep_terminal();
      rl_prep_terminal(1);
      rl_forced_update_display();
    }
  }
  if (interrupted) {
    interrupted = 0;
    if (input && terminal.prompted) drop_line();
    lua_pushliteral(L, "interrupt");
    return 1;
  }
  if (terminal.prompted) rl_check_signals();  // the window's new size
  if (!list[1].revents) return 0;
  if (terminal.edits) {
    rl_callback_read_char();
  } else {
    read_pipe();
  }
  return push_input(L);
}

// interrupted(): whether the user wants the line that runs to end; asking takes note of it.
int was_interrupted(lua_State* L) {
  lua_pushboolean(L, interrupted);
  interrupted = 0;
  return 1;
}

// hide(): takes the line that is edited off the screen, for something else to be written; `wait` shows it again.
int hide(lua_State* /*L*/) {
  hide_line();
  return 0;
}

// remember(text): adds to the history, and to its file.
int remember(lua_State* L) {
  const char* const text = luaL_checkstring(L, 1);
  if (!terminal.edits) return 0;
  const HIST_ENTRY* const last = history_length > 0 ? history_get(history_base + history_length - 1) : nullptr;
  if (last && strcmp(last->line, text) == 0) return 0;
  char stamp[32];
  snprintf(stamp, sizeof stamp, "#%lld", static_cast<long long>(time(nullptr)));
  add_history(text);
  add_history_time(stamp);
  if (!terminal.history_file) return 0;
  const mode_t before = umask(077);  // what is typed is the user's own affair
  FILE* const file = fopen(terminal.history_file, "a");
  umask(before);
  if (!file) return 0;
  fclose(file);
  append_history(1, terminal.history_file);
  return 0;
}

// width(): columns of the terminal.
int width(lua_State* L) {
  int rows = 0;
  int columns = 80;
  if (terminal.edits) rl_get_screen_size(&rows, &columns);
  lua_pushinteger(L, columns > 0 ? columns : 80);
  return 1;
}

// close(): gives the terminal back as it was.
int close_terminal(lua_State* /*L*/) {
  if (terminal.prompted) rl_callback_handler_remove();
  terminal.prompted = false;
  return 0;
}

constexpr luaL_Reg functions[] = {
    {"open", open_terminal},          {"prompt", prompt}, {"wait", wait_for},
    {"interrupted", was_interrupted}, {"hide", hide},     {"remember", remember},
    {"close", close_terminal},        {"width", width},   {nullptr, nullptr},
};

}  // namespace

int luaopen_rovk_terminal(lua_State* L) {
  terminal.main = L;
  lua_newtable(L);
  for (const luaL_Reg* entry = functions; entry->name; ++entry) {
    lua_pushcfunction(L, entry->func);
    lua_setfield(L, -2, entry->name);
  }
  return 1;
}
