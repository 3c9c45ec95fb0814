// The functions of transport.h on a simulated unit in the same process. A wait is where the unit
// lives: with the real clock it sleeps until something falls due, with a virtual one it moves the
// clock there.
#include "rovk/transport.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "transport/connection.h"
#include "transport/guard.h"
#include "transport/reason.h"
#include "unit/fittings.h"

namespace {

using rovk::guarded;
using rovk::transport::SharedUnit;
using rovk::unit::Time;

constexpr Time no_deadline = Time::max();

Time to_time(uint64_t nanoseconds) {
  return nanoseconds >= static_cast<uint64_t>(no_deadline.count()) ? no_deadline
                                                                   : Time(static_cast<int64_t>(nanoseconds));
}

// Brings the unit nearer to its next due time, at most to the deadline. -ENODATA: the clock is virtual and
// there is nothing to wait for.
int32_t wait(SharedUnit& shared, std::unique_lock<std::mutex>& lock, Time deadline) {
  const auto next = shared.unit.next_due();
  const Time until = next ? std::min(*next, deadline) : deadline;
  if (shared.unit.clock().is_virtual()) {
    if (until == no_deadline) return -ENODATA;
    shared.unit.advance_to(until);
    shared.changed();
    return 0;
  }
  // Another connection to the same unit, on another thread, may cause a message at any time.
  constexpr Time slice = std::chrono::hours(1);
  const Time duration = until - shared.unit.clock().now();
  if (duration <= Time::zero()) return 0;
  ++shared.waiting;
  shared.woken.wait_for(lock, std::min(duration, slice));
  --shared.waiting;
  return 0;
}

}  // namespace

int32_t rovk_transport_open(const char* text, void* owner, rovk_transport** slot) {
  if (!slot) return -EINVAL;
  *slot = nullptr;
  rovk::transport::clear_reason();
  return guarded([&]() -> int32_t {
    const auto options = rovk::transport::parse_options(text);
    if (!options) return -EINVAL;
    std::shared_ptr<SharedUnit> shared;
    try {
      shared = rovk::transport::acquire_unit(*options);
    } catch (const rovk::unit::DescriptionError& error) {
      return rovk::transport::fail(-EINVAL, "%s", error.what());
    }
    if (!shared) {
      return rovk::transport::fail(-EINVAL, "unit '%s' is open with other options; give the same, or leave them out",
                                   options->unit.c_str());
    }
    *slot = new rovk_transport(std::move(shared), owner);
    return 0;
  });
}

const char* rovk_transport_reason(void) { return rovk::transport::reason(); }

void rovk_transport_close(rovk_transport* transport) {
  if (transport && transport->acting()) return transport->doom();
  delete transport;
}

uint16_t rovk_transport_application(rovk_transport* transport) {
  return transport ? transport->application() : uint16_t{0};
}

int32_t rovk_transport_send(rovk_transport* transport, const rovk_message* message) {
  if (!transport || !message) return -EINVAL;
  if (transport->acting()) return -EBUSY;
  return guarded([&]() -> int32_t {
    SharedUnit& shared = transport->shared();
    const std::lock_guard lock(shared.mutex);
    shared.unit.submit(transport->application(), *message);
    shared.changed(transport);
    return 0;
  });
}

int32_t rovk_transport_receive(rovk_transport* transport, rovk_message* message, uint64_t deadline_ns) {
  if (!transport || !message) return -EINVAL;
  if (transport->acting()) return -EBUSY;
  const int32_t received = guarded([&]() -> int32_t {
    SharedUnit& shared = transport->shared();
    const Time deadline = to_time(deadline_ns);
    std::unique_lock lock(shared.mutex);
    int32_t status = 0;
    if (transport->has_lost_events()) return -ENOBUFS;
    do {
      if (transport->next_action()) {
        shared.unit.run();
        transport->run_actions(lock);
        if (transport->doomed()) return -ESHUTDOWN;
      }
      if (shared.unit.take(transport->application(), *message)) {
        status = !transport->inbox().empty();
        break;
      }
      const bool is_late = deadline == Time::zero() || shared.unit.clock().now() >= deadline;
      status = is_late ? -ETIMEDOUT : wait(shared, lock, deadline);
    } while (status == 0);
    shared.changed(transport);
    return status;
  });
  if (transport->doomed()) delete transport;
  return received;
}

uint64_t rovk_transport_lost_events(rovk_transport* transport) {
  if (!transport) return 0;
  const std::lock_guard lock(transport->shared().mutex);
  return transport->inbox().lost();
}

int32_t rovk_transport_clock_is_virtual(rovk_transport* transport) {
  return transport && transport->shared().unit.clock().is_virtual();
}

uint64_t rovk_transport_now_ns(rovk_transport* transport) {
  if (!transport) return 0;
  SharedUnit& shared = transport->shared();
  std::unique_lock lock(shared.mutex, std::defer_lock);
  // A clock that nobody moves can be read while others work on the unit.
  if (shared.unit.clock().is_virtual()) lock.lock();
  return static_cast<uint64_t>(shared.unit.clock().now().count());
}

int32_t rovk_transport_fd(rovk_transport* transport, uint64_t wake_ns) {
  if (!transport) return -EINVAL;
  const std::lock_guard lock(transport->shared().mutex);
  return transport->descriptor(wake_ns);
}
