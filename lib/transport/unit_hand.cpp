// The functions of unit.h. Each finds the connection by the context's handle, checks what it is given
// and passes it to the unit. What is refused is refused with a text that tells what there is.
#include <cerrno>
#include <cinttypes>

#include "rovk/unit.h"
#include "transport/with_unit.h"
#include "unit/world.h"

namespace {

using rovk::transport::add_reason;
using rovk::transport::fail;
using rovk::transport::with_unit;
using rovk::unit::Input;
using rovk::unit::InputRow;
using rovk::unit::Time;

const InputRow& row_of(Input input) { return rovk::unit::inputs()[static_cast<std::size_t>(input)]; }

int32_t fail_null() { return fail(-EINVAL, "a null pointer where something to read or write is expected"); }

int32_t check_peripheral(bool found, uint16_t address) {
  if (found) return 0;
  return fail(-ENXIO,
              "no peripheral at address %u; rovktrans_find_device gives a device's address, the router's get_route "
              "gives all",
              address);
}

int32_t fail_name(const char* name) {
  fail(-ENOENT, "no input '%s'; there are ", name);
  const char* glue = "";
  for (const InputRow& row : rovk::unit::inputs()) {
    add_reason("%s%s", glue, row.name.data());
    glue = ", ";
  }
  return -ENOENT;
}

int32_t check_index(const char* name, const rovk::unit::World::Hand& hand, uint32_t index) {
  if (index < hand.count) return 0;
  if (hand.count == 0) return fail(-ENXIO, "this unit has no %s", name);
  if (hand.count == 1) return fail(-ENXIO, "no %s %u; there is 0 alone", name, index);
  return fail(-ENXIO, "no %s %u; there are 0 to %u", name, index, hand.count - 1);
}

int32_t check_value(const InputRow& row, const rovk::unit::World::Hand& hand, int64_t value) {
  if (value >= hand.low && value <= hand.high) return 0;
  fail(-ERANGE, "%s cannot be %" PRId64 "; it is ", row.name.data(), value);
  if (row.states) {
    add_reason("%s", row.states);
  } else if (value < hand.low) {
    add_reason("%" PRId64 " or more %s", hand.low, row.unit);
  } else {
    add_reason("%" PRId64 " or less %s", hand.high, row.unit);
  }
  return -ERANGE;
}

template <typename Work>
int32_t with_input(void* context, const char* name, uint32_t index, Work work) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!name) return fail_null();
    const auto input = rovk::unit::find_input(name);
    if (!input) return fail_name(name);
    const int32_t refused = check_index(row_of(*input).name.data(), unit.world().hand(*input), index);
    return refused != 0 ? refused : work(unit, *input);
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

int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    const int32_t refused = check_value(row_of(which), unit.world().hand(which), value);
    if (refused == 0) unit.set_input(which, index, value);
    return refused;
  });
}

int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    if (!value) return fail_null();
    unit.run();
    *value = unit.world().get(which, index);
    return 0;
  });
}

int32_t rovk_unit_release_input(void* context, const char* input, uint32_t index) {
  return with_input(context, input, index, [&](rovk::unit::Unit& unit, Input which) -> int32_t {
    if (unit.release_input(which, index)) return 0;
    return fail(-EINVAL, "%s is what it was set to; nothing else decides on it", row_of(which).name.data());
  });
}

int32_t rovk_unit_power(void* context, int32_t on) {
  return with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    unit.set_power(on != 0);
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
    return fail(-ENOENT, "no disturbance '%s'; there are %s", what, rovk::unit::disturbance_names().c_str());
  });
}
