// What each family of commands does once its arguments are in: the native call and the results. Each
// function returns the number of results on the stack.
#pragma once

#include "runtime/arguments.h"
#include "runtime/tables.h"

enum { ERROR_RECORD_SIZE = 22 };  // bytes, of every service

// One call of a command: which row it is, and its arguments.
struct command_call {
  unsigned number;  // in command_rows and command_targets
  const command_row& row;
  argument_buffer& arguments;

  // Left on the stack.
  const char* name(lua_State* L) const { return swig_text_push(L, row.name); }
  native_function target() const { return command_targets[number]; }
};

using command_work = int (*)(lua_State* L, const command_call& call);

// messages.cpp: builders, readers and all that give a status or nothing
int rovk_run_plain(lua_State* L, const command_call& call);
int rovk_run_status(lua_State* L, const command_call& call);
int rovk_run_retrieve(lua_State* L, const command_call& call);
int rovk_run_retrieve_status(lua_State* L, const command_call& call);
// blocking.cpp
int rovk_run_blocking(lua_State* L, const command_call& call);
// events.cpp: subscriptions, and the script's way into the internal callbacks
int rovk_run_register(lua_State* L, const command_call& call);
int rovk_run_unregister(lua_State* L, const command_call& call);
int rovk_run_internal_command(lua_State* L, const command_call& call);
int rovk_run_internal_event(lua_State* L, const command_call& call);
// fixed.cpp: functions that no service owns
int rovk_run_fixed(lua_State* L, const command_call& call);
