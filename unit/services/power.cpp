// Power monitors and power policies of both generations: views of the supply rails. A policy of the older
// kind has no index and is that of the first rail.
#include "unit/services/views.h"
#include "unit/things/rail.h"

namespace rovk::unit {
namespace {

using things::Rail;

class Rails : public View {
 public:
  explicit Rails(const Setup& setup) : View(setup, {}), rails_(all_things<Rail>()) {}

 protected:
  Rail& rail(unsigned index) const { return *rails_[index]; }
  Rail& rail(const Call& call) const { return rail(device(call)); }

 private:
  std::vector<Rail*> rails_;
};

// The alert is active while the power is above the threshold; it is told when it comes and when it goes.
// A rail that is dead gives its monitors a fault, with which they still tell what they measure.
class PowerMonitor final : public Rails {
 public:
  // `newer`: it has a threshold to ask for, and its alert carries the power that caused it.
  PowerMonitor(const Setup& setup, bool newer) : Rails(setup) {
    const catalogue::Event& alert = event("alert");
    for (unsigned i = 0; i < devices(); ++i) {
      rail(i).alert_changed.add([this, i, newer, &alert] {
        if (newer) {
          host().raise(*this, alert, {i, rail(i).alert(), rail(i).microwatts()});
        } else {
          host().raise(*this, alert, {i, rail(i).alert()});
        }
      });
      rail(i).supply_changed.add([this, i] {
        if (!rail(i).alive()) host().fail(*this, Fault::no_supply);
      });
    }
    on("get_voltages", [this](Call& call) {
      call.set("shunt_voltage_millivolts", rail(call).shunt_millivolts());
      call.set("bus_voltage_millivolts", rail(call).bus_millivolts());
    });
    on("get_current", [this](Call& call) { call.set("calculated_current_milliamps", rail(call).milliamps()); });
    on("get_power", [this](Call& call) { call.set("calculated_power_microwatts", rail(call).microwatts()); });
    if (!newer) return;
    on("get_power_threshold",
       [this](Call& call) { call.set("threshold_power_microwatts", rail(call).build().threshold_microwatts); });
  }

  bool answers_with_fault(const catalogue::Command&) const override { return true; }  // it has getters alone
  Fault standing_fault() override {
    for (unsigned i = 0; i < devices(); ++i) {
      if (!rail(i).alive()) return Fault::no_supply;
    }
    return Fault::none;
  }
};

class PowerPolicy final : public Rails {
 public:
  explicit PowerPolicy(const Setup& setup) : Rails(setup) {
    on("get_max_peripheral_power",
       [this](Call& call) { call.set("max_power_milliwatts", rail(call).policy_milliwatts()); });
    on("set_max_peripheral_power", [this](Call& call) {
      const Rail::Build& build = rail(call).build();
      rail(call).set_policy(
          call.within("max_power_milliwatts", build.lowest_policy_milliwatts, build.highest_policy_milliwatts));
    });
  }

  void reset() override {
    for (unsigned i = 0; i < devices(); ++i) rail(i).reset_policy();
  }
};

}  // namespace

std::unique_ptr<View> make_power_monitor_000f(const Setup& setup) {
  return std::make_unique<PowerMonitor>(setup, false);
}

std::unique_ptr<View> make_power_monitor_002e(const Setup& setup) {
  return std::make_unique<PowerMonitor>(setup, true);
}

std::unique_ptr<View> make_power_policy(const Setup& setup) { return std::make_unique<PowerPolicy>(setup); }

}  // namespace rovk::unit
