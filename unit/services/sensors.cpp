// What the unit only listens to: light and temperature.
#include <algorithm>
#include <limits>

#include "unit/services/views.h"
#include "unit/things/thermal.h"

namespace rovk::unit {
namespace {

// Sees visible light alone, so the unit's own infrared light never puts itself out again.
class LightSensor final : public View {
 public:
  explicit LightSensor(const Setup& setup) : View(setup, {}) {
    on("get_millilux", [this](Call& call) {
      const int64_t seen = host().body().surroundings().daylight_millilux();
      call.set("millilux", std::clamp<int64_t>(seen, 0, std::numeric_limits<uint32_t>::max()));
    });
  }
};

class TemperatureSensors final : public View {
 public:
  explicit TemperatureSensors(const Setup& setup) : View(setup, {}) {
    on("get_millidegree_celsius", [sensors = all_things<things::TemperatureSensor>()](Call& call) {
      call.set("millidegree_celsius", sensors[device(call)]->told_millidegrees());
    });
  }
};

}  // namespace

std::unique_ptr<View> make_light_sensor_0007(const Setup& setup) { return std::make_unique<LightSensor>(setup); }

std::unique_ptr<View> make_temperature_sensor_0009(const Setup& setup) {
  return std::make_unique<TemperatureSensors>(setup);
}

}  // namespace rovk::unit
