// Power monitors of both generations: a shunt and a bus voltage, and what follows from them.
#include <algorithm>
#include <limits>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr int64_t shunt_milliohms = 10;
constexpr int64_t threshold_microwatts = 20'000'000;

int64_t held(int64_t value) {
  return std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
}

// The alert is active while the power is above the threshold; it is told when it comes and when it goes.
class PowerMonitor final : public View {
 public:
  // `tells_power`: the alert carries the power that caused it.
  PowerMonitor(const Setup& setup, bool tells_power) : View(setup, {}), tells_power_(tells_power), active_(devices()) {
    on("get_voltages", [this](Call& call) {
      const unsigned rail = device(call);
      call.set("shunt_voltage_millivolts", held(held(world().get(Input::current, rail)) * shunt_milliohms / 1'000));
      call.set("bus_voltage_millivolts", held(world().get(Input::bus_voltage, rail)));
    });
    on("get_current", [this](Call& call) {
      call.set("calculated_current_milliamps", held(world().get(Input::current, device(call))));
    });
    on("get_power", [this](Call& call) { call.set("calculated_power_microwatts", microwatts(device(call))); });
    if (tells_power) {
      on("get_power_threshold", [](Call& call) { call.set("threshold_power_microwatts", threshold_microwatts); });
    }
  }

  void reset() override {
    View::reset();
    for (unsigned i = 0; i < devices(); ++i) active_[i] = above(i);
  }

  void sense(Input input, unsigned index, int64_t) override {
    if ((input != Input::bus_voltage && input != Input::current) || index >= devices()) return;
    const bool active = above(index);
    if (active_[index] == uint8_t{active}) return;
    active_[index] = active;
    if (tells_power_) {
      host().raise(*this, "alert", {index, active, microwatts(index)});
    } else {
      host().raise(*this, "alert", {index, active});
    }
  }

 private:
  int64_t microwatts(unsigned rail) {
    return held(held(world().get(Input::bus_voltage, rail)) * held(world().get(Input::current, rail)));
  }
  bool above(unsigned rail) { return microwatts(rail) > threshold_microwatts; }

  const bool tells_power_;
  std::vector<uint8_t> active_;
};

}  // namespace

std::unique_ptr<View> make_power_monitor_000f(const Setup& setup) {
  return std::make_unique<PowerMonitor>(setup, false);
}

std::unique_ptr<View> make_power_monitor_002e(const Setup& setup) {
  return std::make_unique<PowerMonitor>(setup, true);
}

}  // namespace rovk::unit
