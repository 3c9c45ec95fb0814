/* What rovk_message.so offers to a native program beside its Lua table: the callback bridge. A program
 * that hosts a Lua state uses it to give Lua functions to librovktrans and to run what comes back.
 *
 * All of it works directly on the Lua state of a reference, on the calling thread; that state must not
 * be running on another thread. Pointers are trusted.
 *
 * Threads. States on several threads may open the module and use it at once, first opens included. A state,
 * and a context with all that was made on it, belong to one thread at a time; contexts on different threads
 * may share a unit. Of the process, and so for the host to keep apart: the version records that a script can
 * write to (`rovk_protocol_version` and its like), what rovktrans_find_peripheral and _device give,
 * luaopen_rovk_message_luacode, and other modules that share the types of this one, which are opened before
 * there is a second thread.
 *
 * Closing a state ends what its scripts subscribed to, which may wait for the unit's router as unsubscribing
 * does, and empties all other references made on it. Contexts stay open: they are the host's to close. */
#ifndef ROVK_BRIDGE_H
#define ROVK_BRIDGE_H

#include <rovk/types.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct lua_State;

/* Registry key of a function that is to be told of errors in callbacks: it is the message handler under
 * which they run, with the error value as its one argument and the failed functions still on the stack.
 * Where memory or stack ran out it is called after them. Its result is not used. */
#define ROVK_ON_ERROR_KEY "rovk_message.on_error"

/* A Lua function kept alive in the registry. On the heap; freed by freeContext. */
typedef struct swiglua_ref {
  struct lua_State* state; /* where the function was given; null once cleared or once that state is closed */
  int32_t ref;             /* key in the registry */
} swiglua_ref;

/* A function argument: a state and a stack index. */
typedef struct SWIGLUA_FN {
  struct lua_State* state;
  int index;
} SWIGLUA_FN;

/* Opens the module: pushes the globals table and the module table, returns 1. */
int luaopen_rovk_message(struct lua_State* L);
/* Runs luaopen_rovk_message_luacode. 0: nothing to do, or success; 1: failure, told on stderr. */
int luaopen_rovk_message_user(struct lua_State* L);
/* Lua text that every open runs last; "" at first. The host's to set and to keep. */
extern const char* luaopen_rovk_message_luacode;

/* Stores the value at `index` in the registry. Raises a Lua error when memory runs out. A coroutine is
 * kept alive along with its function. */
void swiglua_ref_set(swiglua_ref* reference, struct lua_State* L, int index);
/* Pushes the value on the reference's state; nothing for a cleared reference. */
void swiglua_ref_get(swiglua_ref* reference);
/* Releases the registry key and zeroes both fields. */
void swiglua_ref_clear(swiglua_ref* reference);

/* A new reference, or null when memory runs out or the state is being closed; raises nothing and leaves
 * the stack as it was. The caller owns it. Closing the Lua state empties it: what comes for it then runs
 * nothing, and a command's is freed. */
swiglua_ref* buildCallbackRef(SWIGLUA_FN function);
/* Takes the context pointer of a callback, pushes its function on the reference's state and gives the
 * reference back. */
swiglua_ref* setUpContext(void* context);
/* Calls the function that setUpContext pushed with the `count` arguments above it. An error in it goes to
 * the function under ROVK_ON_ERROR_KEY, if there is one, is dropped, and is logged through
 * `transaction_context`. Does not touch the reference afterwards. */
void callCallbackFunc(void* transaction_context, swiglua_ref* reference, int count);
/* Clears and frees a reference. Not for null. */
void freeContext(swiglua_ref* reference);

/* Pushes a new table with the keys `major` and `minor`. */
void push_rovk_version_table(struct lua_State* L, struct rovk_version version);

#ifdef __cplusplus
}
#endif

#include <rovk/bridge_services.h>

#endif
