#include "unit/things/surroundings.h"

namespace rovk::unit::things {

void Surroundings::set_daylight(int64_t millilux) {
  millilux_ = millilux;
  light_changed.tell();
}

int64_t Surroundings::infrared_millilux() const {
  int64_t sum = 0;
  for (const auto& [source, millilux] : infrared_) sum += millilux;
  return sum;
}

void Surroundings::illuminate(const void* source, int64_t millilux) {
  infrared_[source] = millilux;
  light_changed.tell();
}

int64_t Surroundings::illuminated_by(const void* source) const {
  const auto found = infrared_.find(source);
  return found == infrared_.end() ? 0 : found->second;
}

void Surroundings::set_degrees(double degrees) {
  degrees_ = degrees;
  air_changed.tell();
}

}  // namespace rovk::unit::things
