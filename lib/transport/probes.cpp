// What only an onlooker sees of the unit: the things themselves, past all services.
#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <iterator>

#include "rovk/unit.h"
#include "transport/with_unit.h"
#include "unit/things/alarm_line.h"
#include "unit/things/drives.h"
#include "unit/things/head.h"
#include "unit/things/lens.h"
#include "unit/things/panel.h"
#include "unit/things/rail.h"
#include "unit/things/relay.h"
#include "unit/things/thermal.h"

namespace {

using rovk::transport::add_reason;
using rovk::transport::fail;
using rovk::transport::with_unit;
using rovk::unit::Time;
using rovk::unit::Unit;
using rovk::unit::things::Body;
namespace things = rovk::unit::things;

struct Probe {
  const char* name;
  unsigned (*count)(const Body& body);
  int64_t (*look)(Body& body, unsigned index, Time when);
};

template <typename Thing>
constexpr Probe probe(const char* name, int64_t (*look)(Body& body, unsigned index, Time when)) {
  return {name, [](const Body& body) { return body.count<Thing>(); }, look};
}

template <things::LensMotor& (things::Lens::*motor)()>
constexpr Probe lens_motor(const char* name) {
  return probe<things::Lens>(
      name, [](Body& body, unsigned i, Time) -> int64_t { return (body.find<things::Lens>(i)->*motor)().position(); });
}

template <things::Head::Axis axis>
constexpr Probe head_axis(const char* name) {
  return probe<things::Head>(
      name, [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Head>(i)->position(axis); });
}

constexpr Probe probes[] = {
    probe<things::Light>(
        "light", [](Body& body, unsigned i, Time when) -> int64_t { return body.find<things::Light>(i)->lit(when); }),
    probe<things::Relay>(
        "relay_energised",
        [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Relay>(i)->energised(); }),
    probe<things::Relay>(
        "relay_open",
        [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Relay>(i)->contact_open(); }),
    probe<things::AlarmLine>(
        "alarm_millivolts",
        [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::AlarmLine>(i)->millivolts(); }),
    probe<things::Switch>("switch",
                          [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Switch>(i)->on(); }),
    probe<things::Rail>(
        "rail_microwatts",
        [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Rail>(i)->microwatts(); }),
    probe<things::Heater>(
        "heater", [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Heater>(i)->given(); }),
    probe<things::Illuminator>(
        "illuminator",
        [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Illuminator>(i)->given(); }),
    probe<things::Fan>("fan_rpm",
                       [](Body& body, unsigned i, Time) -> int64_t { return body.find<things::Fan>(i)->rpm(); }),
    probe<things::TemperatureSensor>("temperature",
                                     [](Body& body, unsigned i, Time) -> int64_t {
                                       return body.find<things::TemperatureSensor>(i)->millidegrees();
                                     }),
    lens_motor<&things::Lens::focus>("focus"),
    lens_motor<&things::Lens::zoom>("zoom"),
    lens_motor<&things::Lens::iris>("iris"),
    lens_motor<&things::Lens::filter>("filter"),
    head_axis<things::Head::pan>("pan"),
    head_axis<things::Head::tilt>("tilt"),
};

}  // namespace

int32_t rovk_unit_probe(void* context, const char* what, uint32_t index, uint64_t when_ns, int64_t* value) {
  return with_unit(context, [&](Unit& unit, uint16_t) -> int32_t {
    if (!what || !value) return fail(-EINVAL, "a null pointer where something to read or write is expected");
    const auto row = std::find_if(std::begin(probes), std::end(probes),
                                  [what](const Probe& entry) { return std::strcmp(entry.name, what) == 0; });
    if (row == std::end(probes)) {
      fail(-ENOENT, "no probe '%s'; there are ", what);
      for (const Probe& entry : probes) add_reason("%s%s", &entry == probes ? "" : ", ", entry.name);
      return -ENOENT;
    }
    unit.run();
    // What a light does is known beforehand; what others do depends on what happens until then.
    if (when_ns != 0 && row != probes)
      return fail(-EINVAL, "%s can be seen now alone; at another time, light can", what);
    const unsigned count = row->count(unit.body());
    if (index >= count) return fail(-ENXIO, "no %s %" PRIu32 "; this unit has %u", what, index, count);
    const Time when = when_ns == 0 ? unit.clock().now() : Time(static_cast<int64_t>(when_ns));
    *value = row->look(unit.body(), index, when);
    return 0;
  });
}
