// A supply rail: its voltage, the loads on it, a monitor's threshold, and what a policy lets through.
// Current and power are the sum of what is switched on.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "unit/things/watchers.h"

namespace rovk::unit::things {

class Rail {
 public:
  struct Build {
    int64_t millivolts = 12'000;
    int64_t base_milliwatts = 5'400;            // electronics that are always on
    int64_t shunt_milliohms = 10;               // of the monitor
    int64_t threshold_microwatts = 20'000'000;  // above it the monitor's alert is active
    int64_t policy_milliwatts = 25'500;         // at most for the loads together, at power-on
    int64_t lowest_policy_milliwatts = 1'000;
    int64_t highest_policy_milliwatts = 90'000;
    int64_t dead_below_millivolts = 6'000;  // below that nothing on the rail works
  };
  // What can only be on or off takes what it wants. Outputs that can give less share what that leaves of
  // the policy, each in proportion to its wish.
  enum class Load : uint8_t { rigid, elastic };

  explicit Rail(const Build& build)
      : build_(build), millivolts_(build.millivolts), policy_milliwatts_(build.policy_milliwatts) {}

  const Build& build() const { return build_; }
  int64_t millivolts() const { return millivolts_; }
  void set_millivolts(int64_t millivolts);
  bool alive() const { return millivolts_ >= build_.dead_below_millivolts; }

  // What a load wants from now on, 0 when it is switched off. A load is known by its address.
  void draw(const void* load, Load kind, int64_t milliwatts);
  // How much of its wish every elastic load gets, 0 to 1.
  double share() const { return share_; }

  // As the monitor measures. Saturated to the 32 bits of its registers.
  int64_t milliamps() const;
  int64_t microwatts() const;
  int64_t bus_millivolts() const;
  int64_t shunt_millivolts() const;
  bool alert() const { return alert_; }
  // A current forced from outside in place of what the loads take. Empty: the loads count again.
  void force_milliamps(std::optional<int64_t> milliamps);

  int64_t policy_milliwatts() const { return policy_milliwatts_; }
  void set_policy(int64_t milliwatts);
  void reset_policy() { set_policy(build_.policy_milliwatts); }

  Watchers<> supply_changed;  // dead or alive again
  Watchers<> share_changed;   // elastic loads give more or less from now on
  Watchers<> alert_changed;

 private:
  void update();

  const Build build_;
  int64_t millivolts_;
  int64_t policy_milliwatts_;
  std::optional<int64_t> forced_milliamps_;
  std::map<const void*, int64_t> rigid_;
  std::map<const void*, int64_t> elastic_;
  // What follows from all that.
  bool was_alive_ = true;
  double share_ = 1;
  int64_t load_milliwatts_ = 0;
  bool alert_ = false;
};

}  // namespace rovk::unit::things
