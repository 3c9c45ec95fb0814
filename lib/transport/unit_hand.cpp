// The functions of unit.h. Each finds the connection by the context's handle, checks what it is given
// and passes it to the unit. What is refused is refused with a text that tells what there is.
#pragma GCC visibility push(default)
#include "rovk/unit.h"
#pragma GCC visibility pop

#include <cerrno>
#include <string>

#include "transport/connection.h"
#include "transport/guard.h"
#include "transport/reason.h"
#include "unit/world.h"

namespace {

using rovk::transport::fail;
using rovk::transport::Hand;
using rovk::unit::Input;
using rovk::unit::Time;

int32_t fail_null() { return fail(-EINVAL, "a null pointer where something to read or write is expected"); }

int32_t check_peripheral(bool found, uint16_t address) {
  if (found) return 0;
  return fail(-ENXIO, "no peripheral at address " + std::to_string(address) +
                          "; rovktrans_find_device gives a device's address, the router's get_route gives all");
}

// Runs `work(unit, application)` on the unit behind the context, and lets what it caused be seen.
template <typename Work>
int32_t with_unit(void* context, Work work) {
  rovk::transport::clear_reason();
  return rovk::guarded([&]() -> int32_t {
    const Hand hand = rovk::transport::find_hand(context);
    if (!hand.shared) return fail(-EINVAL, "the context is closed, or not one that rovktrans_init gave");
    const std::lock_guard lock(hand.shared->mutex);
    const int32_t status = work(hand.shared->unit, hand.application);
    hand.shared->changed();
    return status;
  });
}

template <typename Work>
int32_t with_input(void* context, const char* name, uint32_t index, Work work) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!name) return fail_null();
    const auto input = rovk::unit::find_input(name);
    if (!input) return fail(-ENOENT, rovk::unit::explain_name(name));
    if (index >= rovk::unit::places(*input)) return fail(-ENXIO, rovk::unit::explain_index(*input, index));
    return work(unit, *input);
  });
}

}  // namespace

int32_t rovk_unit_now(void* context, uint64_t* now_ns) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!now_ns) return fail_null();
    *now_ns = static_cast<uint64_t>(unit.clock().now().count());
    return 0;
  });
}

int32_t rovk_unit_advance(void* context, uint64_t duration_ns) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!unit.clock().is_virtual()) return fail(-EPERM, "the clock is real; open with sim?clock=virtual");
    const Time now = unit.clock().now();
    if (duration_ns > static_cast<uint64_t>((Time::max() - now).count())) {
      return fail(-EINVAL, "the clock ends 292 years from the start");
    }
    unit.advance_to(now + Time(static_cast<int64_t>(duration_ns)));
    return 0;
  });
}

int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    const std::string wrong = rovk::unit::explain_value(which, value);
    if (!wrong.empty()) return fail(-ERANGE, wrong);
    unit.set_input(which, index, value);
    return 0;
  });
}

int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    if (!value) return fail_null();
    *value = unit.world().get(which, index);
    return 0;
  });
}

int32_t rovk_unit_reset(void* context, uint16_t address, uint16_t type) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return check_peripheral(unit.reset_peripheral(address, type), address);
  });
}

int32_t rovk_unit_fault(void* context, uint16_t address, uint16_t fault_id) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return check_peripheral(unit.set_fault(address, fault_id), address);
  });
}

int32_t rovk_unit_spontaneous_error(void* context, uint16_t address, uint16_t error_id, const uint8_t* payload) {
  static constexpr uint8_t zeros[18] = {};
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    return check_peripheral(unit.spontaneous_error(address, error_id, payload ? payload : zeros), address);
  });
}

int32_t rovk_unit_disturb(void* context, const char* what, uint32_t count, uint32_t value) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t application) -> int32_t {
    if (!what) return fail_null();
    if (unit.disturb(application, what, count, value)) return 0;
    return fail(-ENOENT, "no disturbance '" + std::string(what) + "'; there are " + rovk::unit::disturbance_names());
  });
}
