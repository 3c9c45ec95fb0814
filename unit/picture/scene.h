// The test scene before the unit's lenses: a street all around, under a sky, made to read a picture by.
// Signs tell pan and tilt of the place where they hang; straight ahead hangs a chart with colours, grays
// and a star for the focus. Whoever looks at a picture of it can tell where the unit looks and how.
#pragma once

namespace rovk::unit::picture {

// What a place of the scene sends back of the light that falls on it, 0 to 1.
struct Material {
  float red, green, blue;
  float infrared;
  float heat;      // what a thermal sensor sees of it
  float glow;      // light of its own against the average of a lit room
  float near = 1;  // how much of the unit's own light finds it
};

// About the mean of `red`, `green`, `blue`, of `infrared` and of `heat` around the horizon.
constexpr float mean_color = 0.4F, mean_infrared = 0.47F, mean_heat = 0.36F;

// `pan` to the right, `tilt` upwards, both in degrees; any number of turns. Detail finer than `grain`
// degrees is left out, as nobody could see it.
Material scene_at(double pan, double tilt, double grain);

}  // namespace rovk::unit::picture
