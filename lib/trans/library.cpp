// The functions of trans.h and trans_delivery.h that belong to no service.
#pragma GCC visibility push(default)
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>
#pragma GCC visibility pop

#include "trans/context.h"
#include "trans/delivery.h"
#include "trans/discovery.h"

using rovk::trans::Context;
using rovk::trans::with_context;

int32_t rovktrans_init(const char* text, void* /*pointer*/, void** slot) {
  if (!slot) return -EINVAL;
  *slot = nullptr;
  return rovk::guarded([&] { return rovk::trans::open_context(text, slot); });
}

int32_t rovktrans_deinit(void* context) {
  return with_context(context, [](Context& live) -> int32_t {
    rovk::trans::close(live);
    return 0;
  });
}

uint16_t* rovktrans_find_peripheral(void* context, uint16_t id) {
  uint16_t* found = nullptr;
  with_context(context, [&](Context& live) -> int32_t {
    found = rovk::trans::find_peripheral(live, id);
    return 0;
  });
  return found;
}

rovk_device_address* rovktrans_find_device(void* context, uint16_t id, uint32_t device_id) {
  rovk_device_address* found = nullptr;
  with_context(context, [&](Context& live) -> int32_t {
    found = rovk::trans::find_device(live, id, device_id);
    return 0;
  });
  return found;
}

int32_t rovktrans_fd(void* context) {
  return with_context(context, [](Context& live) -> int32_t {
    live.watched = true;
    live.wake_ns = live.kept.empty() ? live.transactions.first_deadline_ns() : 0;
    return rovk_transport_fd(live.transport.get(), live.wake_ns);
  });
}

int32_t rovktrans_dispatch(void* context, int32_t timeout_ms) {
  return with_context(context, [=](Context& live) { return rovk::trans::dispatch(live, timeout_ms); });
}
