// A transaction context and the register of those that are live. The handle that a program holds is a
// number, never an address: it is looked up, not followed, and no number is given out twice, so a
// handle that is spent, or was never one, is recognised.
#pragma once

#include <rovk/transport.h>
#include <rovk/types.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

#include "trans/discovery.h"
#include "trans/subscriptions.h"
#include "trans/transaction.h"
#include "transport/guard.h"
#include "wire/queue.h"

namespace rovk::trans {

struct CloseTransport {
  void operator()(rovk_transport* transport) const { rovk_transport_close(transport); }
};

// One thread at a time works on a context. A context that is closed inside one of its own callbacks
// lives on, without a transport, until the calls around that callback have returned and its pending
// commands have ended.
struct Context {
  explicit Context(void* handle_, uint64_t limit_ns_) : handle(handle_), limit_ns(limit_ns_) {}

  uint64_t now_ns() const { return rovk_transport_now_ns(transport.get()); }
  bool closed() const { return !transport; }
  // Tells the descriptor, if somebody has asked for one, when there will be something to do.
  void update_descriptor();

  void* const handle;
  const uint64_t limit_ns;  // time for an answer
  std::unique_ptr<rovk_transport, CloseTransport> transport;
  uint16_t application = 0;
  Transactions transactions;
  Subscriptions subscriptions;
  Lookups lookups;
  // Messages that came while no callback may run; they are older than all that the transport has.
  wire::Queue kept;
  uint64_t dropped = 0;
  bool told_of_lost_events = false;
  bool watched = false;
  uint64_t wake_ns = 0;
  // While the context owes callbacks of commands it is in a list, and keeps itself alive.
  std::shared_ptr<Context> kept_while_owing;
  Context* next_owing = nullptr;
};

// Opens a context and stores its handle.
int32_t open_context(const char* text, void** slot);
// Null: the handle is not live.
std::shared_ptr<Context> find_context(void* handle);
// Ends the handle; the context goes with the last who holds it.
void forget_context(void* handle);

// Runs `work(context)` on a live context, which it keeps alive meanwhile.
template <typename Work>
int32_t with_context(void* handle, Work work) {
  return guarded([&]() -> int32_t {
    const std::shared_ptr<Context> context = find_context(handle);
    if (!context) return -EINVAL;
    const int32_t status = work(*context);
    context->update_descriptor();
    return status;
  });
}

}  // namespace rovk::trans
