/* When callbacks run, for programs with an event loop of their own. These functions are an addition
 * of this librovktrans: a program that must run above any other looks them up at run time. */
#ifndef ROVK_TRANS_DELIVERY_H
#define ROVK_TRANS_DELIVERY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A file descriptor that is readable while rovktrans_dispatch has something to do. It belongs to the
 * context and is closed with it: only wait for it, never read it. Negative: -errno. */
int32_t rovktrans_fd(void* context);

/* Runs the callbacks that are due; when none is, waits up to `timeout_ms` for the first (0: does not
 * wait; negative: no limit). Callbacks that become due while others run are left for the next call.
 * Gives the number of callbacks that ran, or 0 when the time has passed or the context was closed
 * meanwhile. -EBUSY: inside a callback, which runs to its end before another begins. -ENODATA: the
 * clock is virtual, there is no limit, and nothing can come any more. Otherwise a negative -errno. */
int32_t rovktrans_dispatch(void* context, int32_t timeout_ms);

/* The clock by which time limits are reckoned: its reading, nanoseconds from an arbitrary start, and
 * whether it is a virtual one, on which waiting takes no time. Either pointer may be null. */
int32_t rovktrans_clock(void* context, uint64_t* now_ns, int32_t* is_virtual);

#ifdef __cplusplus
}
#endif

#endif
