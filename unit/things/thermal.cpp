#include "unit/things/thermal.h"

#include <cmath>
#include <utility>

namespace rovk::unit::things {

ThermalMass::ThermalMass(Timeline& timeline, const Build& build, double ambient_degrees)
    : build_(build),
      timeline_(timeline),
      ambient_(ambient_degrees),
      lag_(build.start_degrees.value_or(ambient_degrees + build.own_watts * build.degrees_per_watt),
           Time(static_cast<Time::rep>(build.seconds * 1e9))),
      crossing_(timeline) {
  sources_.emplace(this, build.own_watts);
  aim();
}

void ThermalMass::set_ambient(double degrees) {
  ambient_ = degrees;
  aim();
}

void ThermalMass::heat(const void* source, double watts) {
  sources_[source] = watts;
  aim();
}

void ThermalMass::cool(double factor) {
  factor_ = factor;
  aim();
}

void ThermalMass::aim() {
  double watts = 0;
  for (const auto& [source, given] : sources_) watts += given;
  const double seconds = build_.seconds / factor_;
  lag_.aim(timeline_.now(), ambient_ + watts * build_.degrees_per_watt / factor_,
           Time(static_cast<Time::rep>(seconds * 1e9)));
  aimed.tell();
}

void ThermalMass::expect(double degrees, std::function<void()> passed) {
  crossing_.stop();
  if (const auto when = lag_.crossing(timeline_.now(), degrees)) crossing_.set(*when, std::move(passed));
}

int64_t TemperatureSensor::millidegrees() const {
  return forced_ ? *forced_ : static_cast<int64_t>(std::lround(body_->degrees() * 1000));
}

void TemperatureSensor::force(int64_t millidegrees) {
  forced_ = millidegrees;
  changed.tell();
}

void TemperatureSensor::release() {
  if (body_) forced_.reset();
  changed.tell();
}

}  // namespace rovk::unit::things
