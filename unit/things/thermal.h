// Heat: bodies that warm and cool, and the sensors that stand on them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "unit/things/curve.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

// A body that is warmer than its surroundings by what its heat sources give it, and gets there with a lag.
// A fan makes it lose heat faster: both the warming and the lag shrink by the same factor.
class ThermalMass {
 public:
  struct Build {
    std::string name = {};                     // as heaters and fans of a description call it
    double own_watts = 2.0;                    // what the electronics on it give off while the unit is on
    double degrees_per_watt = 8.0;             // in still air
    double seconds = 300;                      // time constant in still air
    std::optional<double> start_degrees = {};  // Celsius; left out: as warm as it gets by itself
  };
  ThermalMass(Timeline& timeline, const Build& build, double ambient_degrees);

  const Build& build() const { return build_; }
  double degrees() const { return lag_.at(timeline_.now()); }
  void set_ambient(double degrees);
  // What a source gives off on this body now; sources add up. A source is known by its address.
  void heat(const void* source, double watts);
  // By how much a fan makes it lose heat faster: 0 for one that stands, 1 for twice as fast. Fans add up.
  void cool(const void* fan, double gain);
  // Its own electronics give off heat while the unit is on.
  void power(bool on) { heat(this, on ? build_.own_watts : 0); }
  // When it will pass a temperature if nothing else happens. Empty: never.
  std::optional<Time> crossing(double degrees) const { return lag_.crossing(timeline_.now(), degrees); }

  Watchers<> aimed;  // it has another goal, so that what was planned for a crossing is to be planned anew

 private:
  void aim();

  const Build build_;
  Timeline& timeline_;
  double ambient_;
  std::map<const void*, double> sources_;
  std::map<const void*, double> fans_;
  Lag lag_;
};

// Shows the body that it stands on, or a value that was forced upon it from outside.
class TemperatureSensor {
 public:
  struct Build {
    std::string on = {};            // name of the body; empty: it stands alone and keeps its value
    int64_t millidegrees = 25'000;  // of one that stands alone
    int64_t above_body = 0;         // of one on a body: by how much its place is warmer, in millidegrees
    // What its element can tell.
    int64_t lowest = -55'000;
    int64_t highest = 150'000;
  };
  // `body` null: stands alone.
  TemperatureSensor(const Build& build, ThermalMass* body);
  TemperatureSensor(const TemperatureSensor&) = delete;
  TemperatureSensor& operator=(const TemperatureSensor&) = delete;

  const Build& build() const { return build_; }
  int64_t millidegrees() const;
  int64_t told_millidegrees() const;  // within what the element can tell
  void force(int64_t millidegrees);
  // Shows its body again, or, standing alone, what it was made with.
  void release();
  // When it will pass a temperature if nothing else happens. Empty: never.
  std::optional<Time> crossing(int64_t millidegrees) const;
  // The sensing element gives half a volt at 0 degrees and 10 millivolts more a degree.
  int64_t millivolts() const { return 500 + millidegrees() / 100; }
  void force_millivolts(int64_t millivolts) { force((millivolts - 500) * 100); }

  Watchers<> changed;  // by force, or since its body goes another way now; the way itself is a curve

 private:
  const Build build_;
  const ThermalMass* body_;
  std::optional<int64_t> forced_;
};

}  // namespace rovk::unit::things
