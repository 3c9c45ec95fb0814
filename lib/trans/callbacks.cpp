#include "trans/callbacks.h"

#include <rovk/trans.h>

#include <utility>

#include "trans/context.h"
#include "trans/payload.h"

namespace rovk::trans {
namespace {

// Without a destructor: the main thread may still close contexts when the objects of its own are gone.
struct Thread {
  bool running = false;
  // Closed contexts that still owe callbacks, each linked to the next, so that joining needs no memory.
  Context* first_owing = nullptr;
  Context* last_owing = nullptr;
};

thread_local Thread this_thread;

void run(Thread& thread, const Callback& callback, void* handle, uint16_t address, void* error, const Value* values,
         void* user) {
  thread.running = true;
  callback.call(callback.function, handle, address, error, values, user);
  thread.running = false;
}

// A callback that runs here may close further contexts, which join at the end.
void run_owed(Thread& thread) {
  while (Context* const context = thread.first_owing) {
    while (const auto command = context->transactions.take_oldest()) {
      if (!command->callback.function) continue;
      ErrorRecord error = communication_failure(command->address, ROVKTRANS_FAILURE_CLOSED);
      const Values values(command->command->answer, nullptr);
      run(thread, command->callback, context->handle, command->address, error.data(), values.list(), command->user);
    }
    thread.first_owing = context->next_owing;
    if (!thread.first_owing) thread.last_owing = nullptr;
    const std::shared_ptr<Context> last_hold = std::move(context->kept_while_owing);
  }
}

}  // namespace

bool callback_running() { return this_thread.running; }

void run_callback(const Callback& callback, void* handle, uint16_t address, void* error, const Value* values,
                  void* user) {
  Thread& thread = this_thread;
  run(thread, callback, handle, address, error, values, user);
  run_owed(thread);
}

unsigned finish(void* handle, const Pending& command, const uint8_t* payload, ErrorRecord* error) {
  if (!command.callback.function) return 0;
  const Values values(command.command->answer, payload);
  run_callback(command.callback, handle, command.address, error ? error->data() : nullptr, values.list(), command.user);
  return 1;
}

unsigned fail(void* handle, const Pending& command, uint16_t type) {
  ErrorRecord error = communication_failure(command.address, type);
  return finish(handle, command, nullptr, &error);
}

void settle(std::shared_ptr<Context> closed) noexcept {
  Thread& thread = this_thread;
  Context* const context = closed.get();
  context->kept_while_owing = std::move(closed);
  (thread.last_owing ? thread.last_owing->next_owing : thread.first_owing) = context;
  thread.last_owing = context;
  if (!thread.running) run_owed(thread);
}

}  // namespace rovk::trans
