#include "unit/things/rail.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace rovk::unit::things {
namespace {

int64_t held(int64_t value) {
  return std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
}

int64_t sum(const std::map<const void*, int64_t>& loads) {
  int64_t all = 0;
  for (const auto& [load, milliwatts] : loads) all += milliwatts;
  return all;
}

}  // namespace

void Rail::set_millivolts(int64_t millivolts) {
  millivolts_ = millivolts;
  update();
}

void Rail::draw(const void* load, Load kind, int64_t milliwatts) {
  (kind == Load::rigid ? rigid_ : elastic_)[load] = milliwatts;
  update();
}

void Rail::force_milliamps(std::optional<int64_t> milliamps) {
  forced_milliamps_ = milliamps;
  update();
}

void Rail::set_policy(int64_t milliwatts) {
  policy_milliwatts_ = milliwatts;
  update();
}

int64_t Rail::milliamps() const {
  if (forced_milliamps_) return held(*forced_milliamps_);
  if (!alive()) return 0;
  return ((build_.base_milliwatts + load_milliwatts_) * 1'000 + millivolts_ / 2) / millivolts_;
}

int64_t Rail::bus_millivolts() const { return held(millivolts_); }
int64_t Rail::microwatts() const { return held(bus_millivolts() * milliamps()); }
int64_t Rail::shunt_millivolts() const { return held(milliamps() * build_.shunt_milliohms / 1'000); }

// All is brought to what is so now before anybody is told, since who is told may switch loads.
void Rail::update() {
  const double old_share = share_;
  const bool old_alive = was_alive_;
  const bool old_alert = alert_;
  const int64_t rigid = sum(rigid_);
  const int64_t wished = sum(elastic_);
  const int64_t left = std::max<int64_t>(policy_milliwatts_ - rigid, 0);
  was_alive_ = alive();
  if (!was_alive_) {
    share_ = 0;
  } else {
    share_ = wished <= left ? 1.0 : static_cast<double>(left) / static_cast<double>(wished);
  }
  load_milliwatts_ = rigid + std::llround(share_ * static_cast<double>(wished));
  alert_ = microwatts() > build_.threshold_microwatts;
  if (share_ != old_share) share_changed.tell();
  if (was_alive_ != old_alive) supply_changed.tell();
  if (alert_ != old_alert) alert_changed.tell();
}

}  // namespace rovk::unit::things
