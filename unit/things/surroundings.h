// Where the unit stands: its light and air, and the scene before it. One for the whole unit.
#pragma once

#include <cstdint>
#include <map>

#include "unit/things/watchers.h"

namespace rovk::unit::things {

class Surroundings {
 public:
  struct Build {
    int64_t millilux = 320'000;  // a room at daylight
    double degrees = 22.0;       // of the air, Celsius
  };
  explicit Surroundings(const Build& build) : millilux_(build.millilux), degrees_(build.degrees) {}

  // By day or night, without the unit's own light.
  int64_t daylight_millilux() const { return millilux_; }
  void set_daylight(int64_t millilux);
  // What lights the scene: daylight, and what illuminators send there. Infrared light is seen by a sensor
  // only while no filter blocks it, and by the unit's light sensor never.
  int64_t infrared_millilux() const;
  // A source is known by its address; 0 puts it out.
  void illuminate(const void* source, int64_t millilux);
  int64_t illuminated_by(const void* source) const;

  double degrees() const { return degrees_; }
  void set_degrees(double degrees);

  Watchers<> light_changed;
  Watchers<> air_changed;

 private:
  int64_t millilux_;
  double degrees_;
  std::map<const void*, int64_t> infrared_;
};

}  // namespace rovk::unit::things
