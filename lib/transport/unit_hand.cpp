// The functions of unit.h. Each finds the connection by the context's handle, checks what it is given
// and passes it to the unit.
#pragma GCC visibility push(default)
#include "rovk/unit.h"
#pragma GCC visibility pop

#include <cerrno>

#include "transport/connection.h"
#include "transport/guard.h"
#include "unit/world.h"

namespace {

using rovk::transport::Hand;
using rovk::unit::Input;
using rovk::unit::Time;

// No input of a unit has more; without a limit an index could fill the memory.
constexpr uint32_t max_index = 255;

// Runs `work(unit, application)` on the unit behind the context, and lets what it caused be seen.
template <typename Work>
int32_t with_unit(void* context, Work work) {
  return rovk::guarded([&]() -> int32_t {
    const Hand hand = rovk::transport::find_hand(context);
    if (!hand.shared) return -EINVAL;
    const std::lock_guard lock(hand.shared->mutex);
    const int32_t status = work(hand.shared->unit, hand.application);
    hand.shared->changed();
    return status;
  });
}

template <typename Work>
int32_t with_input(void* context, const char* name, uint32_t index, Work work) {
  if (!name || index > max_index) return -EINVAL;
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    const auto input = rovk::unit::find_input(name);
    if (!input) return -ENOENT;
    return work(unit, *input);
  });
}

}  // namespace

int32_t rovk_unit_now(void* context, uint64_t* now_ns) {
  if (!now_ns) return -EINVAL;
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    *now_ns = static_cast<uint64_t>(unit.clock().now().count());
    return 0;
  });
}

int32_t rovk_unit_advance(void* context, uint64_t duration_ns) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!unit.clock().is_virtual()) return -EPERM;
    const Time now = unit.clock().now();
    if (duration_ns > static_cast<uint64_t>((Time::max() - now).count())) return -EINVAL;
    unit.advance_to(now + Time(static_cast<int64_t>(duration_ns)));
    return 0;
  });
}

int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    unit.set_input(which, index, value);
    return 0;
  });
}

int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value) {
  if (!value) return -EINVAL;
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    *value = unit.world().get(which, index);
    return 0;
  });
}

int32_t rovk_unit_reset(void* context, uint16_t address, uint16_t type) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return unit.reset_peripheral(address, type) ? 0 : -ENXIO;
  });
}

int32_t rovk_unit_fault(void* context, uint16_t address, uint16_t fault_id) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return unit.set_fault(address, fault_id) ? 0 : -ENXIO;
  });
}

int32_t rovk_unit_spontaneous_error(void* context, uint16_t address, uint16_t error_id, const uint8_t* payload) {
  static constexpr uint8_t zeros[18] = {};
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return unit.spontaneous_error(address, error_id, payload ? payload : zeros) ? 0 : -ENXIO;
  });
}

int32_t rovk_unit_disturb(void* context, const char* what, uint32_t count, uint32_t value) {
  if (!what) return -EINVAL;
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t application) -> int32_t {
    return unit.disturb(application, what, count, value) ? 0 : -ENOENT;
  });
}
