// The parameters of image control: one row for each id, with the setting of the imager behind it.
#pragma once

#include <cstdint>

#include "unit/things/imager.h"

namespace rovk::unit {

// How a parameter tells what it shows.
enum class ParamKind : uint8_t {
  plain,         // the setting as it is
  inverted,      // a flag that is set when the setting's is not
  level,         // a flag and its level: 0 while the flag is off, else the level
  night_mode,    // automatic, day, night: manual mode and where it puts the filter
  filter_place,  // where the filter is; a new value puts it there by hand
  zoom_place,    // where the zoom motor is; a new value moves it
};

struct ImageParam {
  uint16_t id;
  ParamKind kind;
  things::Setting setting;
  things::Setting level;  // of that kind
  uint8_t q_bits;         // binary places behind the point
};

// Null: no such parameter.
const ImageParam* find_image_param(uint16_t id);

struct ParamValues {
  int64_t current, initial, low, high;
};
ParamValues image_param(const ImageParam& param, things::Imager& imager);
// Within the limits.
void set_image_param(const ImageParam& param, things::Imager& imager, int64_t value);

inline constexpr uint8_t focus_region_q = 14;

}  // namespace rovk::unit
