// How the functions of unit.h get at the unit behind a context.
#pragma once

#include <cerrno>

#include "transport/connection.h"
#include "transport/guard.h"
#include "transport/reason.h"

namespace rovk::transport {

// Runs `work(unit, application)` on the unit behind the context, and lets what it caused be seen.
template <typename Work>
int32_t with_unit(void* context, Work work) {
  clear_reason();
  return guarded([&]() -> int32_t {
    const Hand hand = find_hand(context);
    if (!hand.shared) return fail(-EINVAL, "the context is closed, or not one that rovktrans_init gave");
    const std::lock_guard lock(hand.shared->mutex);
    const int32_t status = work(hand.shared->unit, hand.application);
    hand.shared->changed();
    return status;
  });
}

}  // namespace rovk::transport
