// What the unit only listens to: light and temperature.
#include <algorithm>
#include <limits>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// Shows one input of the surroundings in one field, within what the field can hold.
class Sensor final : public View {
 public:
  Sensor(const Setup& setup, Input input, std::string_view command, std::string_view field, int64_t low, int64_t high)
      : View(setup, {}) {
    on(command, [this, input, field, low, high](Call& call) {
      call.set(field, std::clamp(world().get(input, device(call)), low, high));
    });
  }
};

}  // namespace

std::unique_ptr<View> make_light_sensor_0007(const Setup& setup) {
  return std::make_unique<Sensor>(setup, Input::light, "get_millilux", "millilux", 0,
                                  std::numeric_limits<uint32_t>::max());
}

// From the lower to the upper end of what the sensing element can tell.
std::unique_ptr<View> make_temperature_sensor_0009(const Setup& setup) {
  return std::make_unique<Sensor>(setup, Input::temperature, "get_millidegree_celsius", "millidegree_celsius", -55'000,
                                  150'000);
}

}  // namespace rovk::unit
