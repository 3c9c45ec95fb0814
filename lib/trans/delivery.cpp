// Delivery has two halves that never mix: receiving and running. Receiving takes one message from the
// transport. An answer to a blocking call goes to that call's Wait at once, whichever call happens to
// be receiving, so an outer call finds its answer when the call inside its callback has returned.
// Anything that would run a callback is kept in order of arrival. Running takes the oldest kept
// message, and only after it is out of all lists does the callback get control.
//
// From that follow the promises of the interface:
//
// Exactly once. A pending command leaves the table before its callback runs, by its answer, by its time
// limit or by the closing of the context, and whoever took it out calls it. A second answer finds
// nothing and is dropped. An answer that was received is never overtaken by its time limit, since kept
// messages run before limits are looked at.
//
// One at a time. Inside a callback a call that waits only receives; what it keeps runs in the wait or
// the dispatch outside, when the callback has returned. So the stack does not grow with the number of
// commands.
//
// Re-entrancy. While a callback runs, no reference into the context's lists is held, only copies. A
// callback may therefore wait, subscribe, unsubscribe or close the context. After each callback the
// loops ask whether the context is closed before they touch its transport again; the object itself is
// kept alive by the call at the bottom of the stack.
//
// Bounded. dispatch() runs what was there when it began; a callback that always issues the next command
// does not keep it from returning.
#include "trans/delivery.h"

#include <rovk/trans.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "trans/callbacks.h"
#include "trans/log.h"
#include "wire/message.h"

namespace rovk::trans {
namespace {

constexpr uint64_t no_deadline = UINT64_MAX;

bool well_formed(const Context& context, const rovk_message& message) {
  if (wire::application(message) != context.application) return false;
  if (wire::type(message) == ROVK_TYPE_EVENT) return true;
  return wire::type(message) == ROVK_TYPE_RESPONSE && wire::body(message) <= ROVK_RESPONSE_ERROR_INFO;
}

uint64_t lost_events(const Context& context) {
  return context.kept.lost() + rovk_transport_lost_events(context.transport.get());
}

// One line for each context: whoever does not take its events would have a line for each of them.
void tell_of_lost_events(Context& context) {
  if (context.told_of_lost_events) return;
  context.told_of_lost_events = true;
  log_lost_events(lost_events(context));
}

// Takes one message in; waits for it until the deadline. 1: there are more.
int32_t receive(Context& context, uint64_t deadline_ns) {
  rovk_message message;
  int32_t status = rovk_transport_receive(context.transport.get(), &message, deadline_ns);
  if (status == -ENOBUFS) {
    tell_of_lost_events(context);
    status = rovk_transport_receive(context.transport.get(), &message, deadline_ns);
  }
  if (status < 0) return status;
  if (!well_formed(context, message)) {
    ++context.dropped;
  } else if (wire::type(message) == ROVK_TYPE_EVENT || !context.transactions.answer_wait(message)) {
    const uint64_t lost = context.kept.lost();
    context.kept.push(message);
    if (context.kept.lost() != lost) tell_of_lost_events(context);
  }
  return status;
}

// Runs what the oldest kept message asks for; gives the number of callbacks that ran. Something is kept.
unsigned run_kept(Context& context) {
  rovk_message message;
  context.kept.take(message);
  if (wire::type(message) == ROVK_TYPE_EVENT) return context.subscriptions.deliver(context.handle, message);
  const auto done = context.transactions.take_answered(message);
  if (!done) {
    ++context.dropped;
    return 0;
  }
  if (status_of(message) == 0) return finish(context.handle, *done, wire::payload(message), nullptr);
  ErrorRecord error = error_of(message);
  return finish(context.handle, *done, nullptr, &error);
}

// Takes in all that is there. 0, or what the transport failed with.
int32_t receive_all(Context& context) {
  int32_t status = 0;
  do {
    status = receive(context, 0);
  } while (status > 0);
  return status == -ETIMEDOUT || status == -ENODATA ? 0 : status;
}

// Runs all that is due now and nothing that callbacks add to it.
unsigned run_due(Context& context) {
  // Read before callbacks run: what they let wait has not come too late.
  const bool is_timed = context.transactions.first_deadline_ns() != no_deadline;
  const uint64_t now = is_timed ? context.now_ns() : 0;
  unsigned count = 0;
  for (std::size_t left = context.kept.size(); left > 0 && !context.kept.empty(); --left) count += run_kept(context);
  while (!context.closed()) {
    const auto expired = context.transactions.take_expired(now);
    if (!expired) break;
    count += fail(context.handle, *expired, ROVKTRANS_FAILURE_TIME_OUT);
  }
  return count;
}

}  // namespace

int32_t await(Context& context, Wait& wait, Mode mode) {
  if (callback_running()) mode = Mode::quiet;
  for (;;) {
    if (wait.state == Wait::State::answered) return 0;
    if (wait.state == Wait::State::closed || context.closed()) return -ECANCELED;
    if (mode == Mode::run_callbacks && !context.kept.empty()) {
      run_kept(context);
      // Callbacks that keep issuing commands do not hold the call beyond its time.
      if (!context.closed() && context.now_ns() >= wait.deadline_ns) {
        const int32_t status = receive_all(context);
        if (wait.state == Wait::State::waiting) return status != 0 ? status : -ETIMEDOUT;
      }
      continue;
    }
    uint64_t until = wait.deadline_ns;
    if (mode == Mode::run_callbacks) until = std::min(until, context.transactions.first_deadline_ns());
    const int32_t status = receive(context, until);
    if (status >= 0) continue;
    if (status != -ETIMEDOUT && status != -ENODATA) return status;
    const uint64_t now = context.now_ns();
    if (mode == Mode::run_callbacks) {
      if (const auto expired = context.transactions.take_expired(now)) {
        fail(context.handle, *expired, ROVKTRANS_FAILURE_TIME_OUT);
        continue;
      }
    }
    if (now >= wait.deadline_ns) return -ETIMEDOUT;
  }
}

int32_t dispatch(Context& context, int32_t timeout_ms) {
  if (callback_running()) return -EBUSY;
  std::optional<uint64_t> deadline;
  for (;;) {
    const int32_t failure = receive_all(context);
    const unsigned count = run_due(context);
    if (count > 0) return static_cast<int32_t>(std::min<unsigned>(count, INT32_MAX));
    if (failure != 0) return failure;
    if (context.closed() || timeout_ms == 0) return 0;
    const uint64_t now = context.now_ns();
    // Now that there is something to wait for.
    if (!deadline) deadline = timeout_ms < 0 ? no_deadline : now + static_cast<uint64_t>(timeout_ms) * 1'000'000;
    if (now >= *deadline) return 0;
    const int32_t status = receive(context, std::min(*deadline, context.transactions.first_deadline_ns()));
    if (status < 0 && status != -ETIMEDOUT) return status;
  }
}

void close(std::shared_ptr<Context> context) {
  forget_context(context->handle);
  context->subscriptions.remove_all();
  context->kept.clear();
  context->transactions.close_waits();
  const uint64_t lost = lost_events(*context);
  const uint64_t dropped = context->dropped;
  context->transport.reset();
  settle(std::move(context));
  log_dropped(dropped, lost);
}

}  // namespace rovk::trans
