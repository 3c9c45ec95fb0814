/* librovk-transport: ways to a unit. librovktrans is its one caller. A connection carries 32-byte
 * messages in both directions and belongs to one thread at a time.
 * Status: 0 or -errno. */
#ifndef ROVK_TRANSPORT_H
#define ROVK_TRANSPORT_H

#include <rovk/types.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rovk_transport rovk_transport;

/* Opens the way that `text` names, as rovktrans_init takes it, without the option timeout_ms, which is
 * librovktrans's. -EINVAL: unknown way or option, malformed value, or a unit of that name that was
 * opened with other options. -ENODEV: the library of the simulated unit cannot be loaded. `owner` is the
 * handle of the context that the connection serves, kept as a number: rovk_unit_* finds the connection by
 * it. */
int32_t rovk_transport_open(const char* text, void* owner, rovk_transport** slot);
void rovk_transport_close(rovk_transport* transport);

/* Why this thread's last call of rovk_transport_open or of a function of unit.h failed: what was wrong,
 * and what there is. "": it did not fail, or its status says all. Valid until the next such call. */
const char* rovk_transport_reason(void);

/* The address under which the unit knows this application, never 0. */
uint16_t rovk_transport_application(rovk_transport* transport);

/* Hands a message to the unit. Does not block. */
int32_t rovk_transport_send(rovk_transport* transport, const struct rovk_message* message);

/* Takes the next message from the unit; gives 1 when more are there to be taken, else 0. Waits until the
 * clock reads `deadline_ns`; a deadline in the past does not wait, UINT64_MAX is none. -ETIMEDOUT: none
 * came. -ENODATA: the clock is virtual, there is no deadline, and nothing is planned in the unit that
 * could end the wait. -ENOBUFS: since the last call events were lost; the next call goes on with the
 * messages that are there. */
int32_t rovk_transport_receive(rovk_transport* transport, struct rovk_message* message, uint64_t deadline_ns);

/* How many events this connection has lost. It keeps a few thousand of them for who does not take them;
 * past that the oldest go. Answers are all kept. */
uint64_t rovk_transport_lost_events(rovk_transport* transport);

/* The unit's clock, nanoseconds from an arbitrary start; time-outs are reckoned by it. With a virtual
 * clock a wait does not sleep: it moves the clock. */
uint64_t rovk_transport_now_ns(rovk_transport* transport);
int32_t rovk_transport_clock_is_virtual(rovk_transport* transport); /* 1 or 0 */

/* A descriptor that is readable when rovk_transport_receive has a message, or when the clock has
 * reached `wake_ns`, whichever comes first. It keeps itself up to date with what the unit does; call
 * again to set another wake time. With the real clock it is also readable when the unit itself has
 * something to do, which the next receive does. Always the same descriptor, closed with the
 * connection. UINT64_MAX: no wake time. Negative: -errno. */
int32_t rovk_transport_fd(rovk_transport* transport, uint64_t wake_ns);

#ifdef __cplusplus
}
#endif

#endif
