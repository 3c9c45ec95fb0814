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
  return rovk::guarded([&]() -> int32_t {
    auto live = rovk::trans::find_context(context);
    if (!live) return -EINVAL;
    rovk::trans::close(std::move(live));
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

int32_t rovktrans_clock(void* context, uint64_t* now_ns, int32_t* is_virtual) {
  return with_context(context, [=](Context& live) -> int32_t {
    if (now_ns) *now_ns = live.now_ns();
    if (is_virtual) *is_virtual = rovk_transport_clock_is_virtual(live.transport.get());
    return 0;
  });
}

int32_t rovktrans_dispatch(void* context, int32_t timeout_ms) {
  return with_context(context, [=](Context& live) { return rovk::trans::dispatch(live, timeout_ms); });
}
