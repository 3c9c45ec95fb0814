// One callback at a time. Whoever gives callbacks here expects each to run to its end before the next one
// begins, whatever contexts they belong to: a Lua state has one stack, and what nests on it without bound
// ends it. So a callback that waits, waits for its own answer alone; it cannot dispatch; and the commands
// of a context that it closes end when it has returned.
//
// The promise is kept thread by thread: what runs on two threads has nothing to do with each other.
#pragma once

#include <cstdint>
#include <memory>

#include "trans/calls.h"
#include "trans/transaction.h"

namespace rovk::trans {

struct Context;

// Whether this is called from inside a callback.
bool callback_running();

// Runs a callback, then the callbacks of contexts that it has closed. Not from inside a callback.
void run_callback(const Callback& callback, void* handle, uint16_t address, void* error, const Value* values,
                  void* user);

// Runs the callback of a command that has ended, with the values of a payload or with an error record.
// Gives the number of callbacks that ran for it.
unsigned finish(void* handle, const Pending& command, const uint8_t* payload, ErrorRecord* error);
// The same without an answer. `type` is one of enum rovktrans_failure.
unsigned fail(void* handle, const Pending& command, uint16_t type);

// Ends all pending commands of a closed context: now, or inside a callback as soon as that has returned.
// Cannot fail, since nobody else would run them.
void settle(std::shared_ptr<Context> closed) noexcept;

}  // namespace rovk::trans
