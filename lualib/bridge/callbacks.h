// From the libraries' native callbacks to Lua functions.
//
// A callback comes from inside a library, so no Lua error may pass through: everything that can raise,
// the pushing of values included, runs protected. The function runs on the state on which its reference
// was made, when that state can run one: the main state, or a coroutine that is running or waits for
// another. A coroutine that is suspended or has ended cannot, and a function that yielded there would
// tear its stack; its callbacks run on a thread that this module keeps for them.
#pragma once

#include <rovk/bridge.h>

#include "runtime/tables.h"

// Puts what the bridge needs into the registry of a state. Part of the open sequence.
void rovk_bridge_open(lua_State* L);

// References of a state: prepares the registry for them. Raises when memory runs out.
void rovk_references_open(lua_State* L);
// Whether a command's reference was given up because the library refused the command.
bool rovk_is_retired(const swiglua_ref* reference);

// Whether the state takes references: it was opened, and is not being closed.
bool rovk_references_are_open(lua_State* L);

// What ends a subscription.
struct rovk_subscription {
  void* context;
  uint16_t address;
  int32_t (*unregister)(void* context, uint16_t address, swiglua_ref* reference);
};
// A script's subscription ends with its state at the latest; from here on until it is dropped.
void rovk_keep_subscription(lua_State* L, swiglua_ref* reference, const rovk_subscription& made);
void rovk_drop_subscription(swiglua_ref* reference);

// Run the function behind `user` with the values of a callback and, for a command, an error table. A
// command's reference is freed afterwards. `row` is the place in callback_rows.
void rovk_deliver_command(unsigned row, void* context, const void* error, const native_value* values, void* user);
void rovk_deliver_event(unsigned row, void* context, const native_value* values, void* user);

// An asynchronous command on its way into the library. A library may call back before it returns, and
// may refuse after that; this keeps track, so that a reference is let go once and only once.
struct rovk_starting_command {
  swiglua_ref* reference;
  bool released;
  rovk_starting_command* outer;
};

// The reference for the library, or null. `rovk_command_started` must follow unless it was null; it
// passes the status on.
swiglua_ref* rovk_start_command(rovk_starting_command& starting, SWIGLUA_FN function);
int32_t rovk_command_started(rovk_starting_command& starting, int32_t status);

// Subscribing and unsubscribing, alike for all events.
swiglua_ref* rovk_subscribe(void* context, uint16_t address, SWIGLUA_FN function, native_function internal_callback,
                            native_function library_register);
int32_t rovk_unsubscribe(void* context, uint16_t address, swiglua_ref* reference, native_function internal_callback,
                         native_function library_unregister);
