// Rules for bad days, and calls at a time of the unit's clock.
#include "rovk/unit.h"
#include "transport/with_unit.h"
#include "unit/fittings.h"
#include "unit/profiles/reader.h"

using rovk::transport::fail;
using rovk::transport::with_unit;
using rovk::unit::Time;

namespace {

// Null: it is closed.
rovk_transport* connection_of(const rovk::transport::Hand& hand) {
  for (rovk_transport* connection : hand.shared->connections) {
    if (connection->application() == hand.application) return connection;
  }
  return nullptr;
}

}  // namespace

int32_t rovk_unit_plan(void* context, const char* rules) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    try {
      unit.set_plan(rovk::unit::read_plan(rules ? rules : "", "rule"));
      return 0;
    } catch (const rovk::unit::DescriptionError& error) {
      return fail(-EINVAL, "%s", error.what());
    }
  });
}

int32_t rovk_unit_advance(void* context, uint64_t duration_ns) {
  rovk::transport::clear_reason();
  return rovk::guarded([&]() -> int32_t {
    const rovk::transport::Hand hand = rovk::transport::find_hand(context);
    if (!hand.shared) return fail(-EINVAL, "the context is closed, or not one that rovktrans_init gave");
    std::unique_lock lock(hand.shared->mutex);
    rovk::unit::Unit& unit = hand.shared->unit;
    if (!unit.clock().is_virtual()) return fail(-EPERM, "the clock is real; open with sim?clock=virtual");
    const Time now = unit.clock().now();
    if (duration_ns > static_cast<uint64_t>((Time::max() - now).count())) {
      return fail(-EINVAL, "the clock ends 292 years from the start");
    }
    const Time until = now + Time(static_cast<int64_t>(duration_ns));
    // Actions run on the way, each at its own time; one may close the context.
    for (rovk_transport* own = connection_of(hand); own; own = connection_of(hand)) {
      const auto next = own->acting() ? std::nullopt : own->next_action();
      if (!next || *next > until) break;
      unit.advance_to(*next);
      own->run_actions(lock);
      if (own->doomed()) {
        lock.unlock();
        delete own;
        return 0;
      }
    }
    unit.advance_to(until);
    hand.shared->changed();
    return 0;
  });
}

int32_t rovk_unit_at(void* context, uint64_t when_ns, rovk_unit_action action, void* pointer) {
  if (!action) return fail(-EINVAL, "a null pointer where an action is expected");
  if (when_ns > INT64_MAX) return fail(-EINVAL, "the clock ends 292 years from the start");
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t application) -> int32_t {
    const Time when(static_cast<int64_t>(when_ns));
    rovk_transport* const connection = connection_of(rovk::transport::find_hand(context));
    if (!connection || connection->application() != application) return fail(-EINVAL, "the context is closed");
    // A stop without an action does no harm; an action that was refused must not run.
    unit.stop_at(when);
    connection->plan_action(when, action, pointer);
    return 0;
  });
}
