#include "unit/things/thermal.h"

#include <algorithm>
#include <cmath>

namespace rovk::unit::things {

ThermalMass::ThermalMass(Timeline& timeline, const Build& build, double ambient_degrees)
    : build_(build),
      timeline_(timeline),
      ambient_(ambient_degrees),
      lag_(build.start_degrees.value_or(ambient_degrees + build.own_watts * build.degrees_per_watt),
           Time(static_cast<Time::rep>(build.seconds * 1e9))) {
  power(true);
}

void ThermalMass::set_ambient(double degrees) {
  ambient_ = degrees;
  aim();
}

void ThermalMass::heat(const void* source, double watts) {
  sources_[source] = watts;
  aim();
}

void ThermalMass::cool(const void* fan, double gain) {
  fans_[fan] = gain;
  aim();
}

void ThermalMass::aim() {
  double watts = 0;
  double factor = 1;
  for (const auto& [source, given] : sources_) watts += given;
  for (const auto& [fan, gain] : fans_) factor += gain;
  const double seconds = build_.seconds / factor;
  lag_.aim(timeline_.now(), ambient_ + watts * build_.degrees_per_watt / factor,
           Time(static_cast<Time::rep>(seconds * 1e9)));
  aimed.tell();
}

TemperatureSensor::TemperatureSensor(const Build& build, ThermalMass* body) : build_(build), body_(body) {
  if (!body) return;
  body->aimed.add([this] {
    if (!forced_) changed.tell();
  });
}

int64_t TemperatureSensor::millidegrees() const {
  if (forced_) return *forced_;
  return body_ ? std::llround(body_->degrees() * 1'000) + build_.above_body : build_.millidegrees;
}

int64_t TemperatureSensor::told_millidegrees() const {
  return std::clamp(millidegrees(), build_.lowest, build_.highest);
}

void TemperatureSensor::force(int64_t millidegrees) {
  forced_ = millidegrees;
  changed.tell();
}

void TemperatureSensor::release() {
  forced_.reset();
  changed.tell();
}

std::optional<Time> TemperatureSensor::crossing(int64_t millidegrees) const {
  if (forced_ || !body_) return std::nullopt;
  return body_->crossing(static_cast<double>(millidegrees - build_.above_body) / 1'000);
}

}  // namespace rovk::unit::things
