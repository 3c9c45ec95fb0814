/* librovktrans: transactions with a unit.
 *
 * Status of every function: 0 success; negative: -errno of what failed below the protocol
 * (-EINVAL a context that is not live or a null pointer that is needed, -ETIMEDOUT no answer in time,
 * -ECANCELED the context was closed while the call waited, -EAGAIN too many commands under way, -ENODATA an error
 * answer without an error id, -ENOMEM); positive: the peripheral answered with an error, the number is its error id. -1
 * is never given.
 *
 * Blocking commands: `rovktrans_<service>_<command>(context, address, error, inputs, outputs)`. On an
 * error answer, a time-out and a closed context `*error` receives a heap record that the caller frees
 * with free(3); otherwise null. On success an array output receives a heap block of the declared
 * number of elements that the caller frees; otherwise null. Other outputs are written on success
 * alone. Any output pointer may be null. While such a call waits it runs the callbacks that come due
 * on the context, unless it is made inside a callback itself.
 *
 * Asynchronous commands: `..._async(context, address, callback, user, inputs)` returns at once. After
 * status 0 the callback runs exactly once, with an error record of id ROVK_COMMON_ERROR_COMMUNICATION_
 * FAILURE when no answer came in time or the context was closed; after any other status never. With an
 * error record numbers are zeros and arrays null. Record and arrays are the library's and valid during
 * the call. A null callback drops the answer.
 *
 * Events: `..._register_callback(context, address, callback, user)`. The pair of callback and user
 * names the subscription. A pair may be registered more than once, and is called as often.
 * `..._unregister_callback_with_context` removes all registrations of the pair, `..._unregister_
 * callback` those of the callback with any user, both at that address; -ENOENT: there are none. When
 * they return, no call with what they removed comes any more, whatever the status. The first
 * subscription to an address registers with the router, and its refusal refuses the subscription; the
 * last one to go unregisters. Both wait for the router and run no callback. `..._register_default_
 * callbacks` lets the library write the events of that service at that address to the log, at info
 * priority, until the context is closed; a second time it changes nothing.
 *
 * Callbacks run on the calling thread, inside a blocking command on that context, inside
 * rovktrans_dispatch and inside rovktrans_deinit, never inside any other call. One runs to its end
 * before the next begins, whatever contexts of the thread they belong to: a blocking command inside a
 * callback waits for its own answer alone, and what comes due meanwhile is kept, in order, for the wait
 * or the dispatch outside; rovktrans_dispatch inside a callback is refused. For all else a callback may
 * call anything. A context belongs to one thread at a time. */
#ifndef ROVK_TRANS_H
#define ROVK_TRANS_H

#include <rovk/constants.h>
#include <rovk/trans_services.h>
#include <rovk/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The `type` of a communication failure that the library itself reports. 1 is the router's: a route
 * leads to where nobody answers. */
enum rovktrans_failure {
  ROVKTRANS_FAILURE_TIME_OUT = 2, /* no answer came in time */
  ROVKTRANS_FAILURE_CLOSED = 3    /* the context was closed */
};

/* Opens a context on the unit that `text` names and stores its handle in `slot`. Null, "" and "sim":
 * a simulated unit in this process. Options follow a question mark, joined by '&', as in
 * "sim?timeout_ms=500&clock=virtual":
 *   timeout_ms=N        time for a command's answer, 1 to 4294967295; 2000 when left out
 *   clock=real|virtual  the unit's clock; real when left out
 *   latency_ms=N        time from a command to its answer; 0 when left out
 *   processing_ms=N     time that the unit works on a command; with a virtual clock, which each command
 *                       moves by so much, 1 when left out, else 0
 *   unit=NAME           contexts of this process that give the same name share one unit; the options of
 *                       the unit are those of the first, and others must agree or leave them out
 *   profile=NAME        a shipped unit: everything, four_imagers, newer, older or thermal
 *   file=PATH           the unit that a file describes, in place of a shipped one
 *   addresses=shuffled  gives the peripherals other addresses, which ones by seed=N
 *   state=PATH          a file that keeps settings and EEPROMs from one run to the next
 * `pointer` is not used. The handle is a number, not an address. -EINVAL: unknown text or option, or a
 * malformed value; `*slot` is null, and a line in the log names what is wrong. */
int32_t rovktrans_init(const char* text, void* pointer, void** slot);

/* Closes the context and ends every pending command with a communication failure. The callbacks of these
 * run here, or, when this is called inside a callback, as soon as that has returned; the handle is spent
 * before the first of them. Calls on the context that wait return with -ECANCELED as soon as they get
 * control again. */
int32_t rovktrans_deinit(void* context);

/* Writes a line to the process's default log of librovk-message, and opens that log when nobody has.
 * `text` is plain; what stands behind it is ignored. `context` may be anything, a spent handle included:
 * a callback may have closed its context and still have something to say. */
int32_t rovktrans_log_message(void* context, rovk_log_priority priority, const char* text, ...);

/* Looks a peripheral up by its id, a device by peripheral id and device id. Asks the unit for what is
 * not known yet, and remembers; that waits for answers, and runs no callback. Null: there is none. The
 * result is never freed and lives as long as the process; every look-up sets it to what the unit said. */
uint16_t* rovktrans_find_peripheral(void* context, uint16_t id);
rovk_device_address* rovktrans_find_device(void* context, uint16_t id, uint32_t device_id);

#ifdef __cplusplus
}
#endif

#endif
