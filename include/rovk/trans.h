/* librovktrans: transactions with a unit.
 *
 * Status of every function: 0 success; negative: -errno of what failed below the protocol
 * (-EINVAL a context that is not live or a null pointer, -ETIMEDOUT no answer in time, -ENODEV no
 * unit, -ENOMEM); positive: the peripheral answered with an error, the number is its error id. -1 is
 * never given.
 *
 * Blocking commands: `rovktrans_<service>_<command>(context, address, error, inputs, outputs)`. On a
 * protocol error, and on a time-out, `*error` receives a heap record that the caller frees with
 * free(3); otherwise null. An array output receives a heap block that the caller frees. Any output
 * pointer may be null. While such a call waits it runs the callbacks that have come due on the
 * context.
 *
 * Asynchronous commands: `..._async(context, address, callback, user, inputs)` returns at once. After
 * status 0 the callback runs exactly once, with an error record of id ROVK_COMMON_ERROR_COMMUNICATION_
 * FAILURE when no answer came in time or the context was closed; after any other status never. A null
 * callback drops the answer.
 *
 * Events: `..._register_callback(context, address, callback, user)`; the pair of callback and user
 * names the subscription, and the same pair may be registered more than once.
 *
 * Callbacks run on the calling thread, inside a blocking call on that context, inside
 * rovktrans_dispatch and inside rovktrans_deinit, never inside a call that returns at once. They may
 * call anything, these three included. A context belongs to one thread at a time. */
#ifndef ROVK_TRANS_H
#define ROVK_TRANS_H

#include <rovk/constants.h>
#include <rovk/trans_services.h>
#include <rovk/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opens a context on the unit that `text` names and stores its handle in `slot`. Null, "" and "sim":
 * a simulated unit in this process. Options follow a question mark, joined by '&', as in
 * "sim?timeout_ms=500". `pointer` is not used. -EINVAL: unknown text or option; `*slot` is null. */
int32_t rovktrans_init(const char* text, void* pointer, void** slot);

/* Ends every pending command with a communication failure, then closes the context. */
int32_t rovktrans_deinit(void* context);

/* Writes a line to the context's log. `text` is plain; what stands behind it is ignored. */
int32_t rovktrans_log_message(void* context, rovk_log_priority priority, const char* text, ...);

/* Looks a peripheral up by its id, a device by peripheral id and device id. Asks the unit the first
 * time and remembers. Null: there is none. The result is never freed and lives as long as the
 * process. */
uint16_t* rovktrans_find_peripheral(void* context, uint16_t id);
rovk_device_address* rovktrans_find_device(void* context, uint16_t id, uint32_t device_id);

#ifdef __cplusplus
}
#endif

#endif
