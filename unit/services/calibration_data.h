// What the calibrations found, as it is kept: in tags of the board's calibration partition. So
// it lives through resets, is lost with a format, and cannot be saved where the partition cannot be written.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "unit/services/view.h"

namespace rovk::unit {

enum class CalibrationTag : uint16_t {
  color = 1,
  focal_length = 2,
  z = 3,
};

// Of the n-th device of a view's board, whose partition keeps them. The numbers of a tag lie as 16 bits
// each. False: they could not be saved, as the partition is damaged, full, or locked by another application
// than the one that asked for the run.
bool save_calibration(const View& view, unsigned device, uint16_t application, CalibrationTag tag,
                      std::span<const uint16_t> numbers);
// Empty: never calibrated, or the data is damaged.
std::optional<uint16_t> load_calibration(const View& view, unsigned device, CalibrationTag tag);

// Where the Z calibration has put the focus motor.
inline std::optional<int64_t> calibrated_focus(const View& view, unsigned device) {
  return load_calibration(view, device, CalibrationTag::z);
}

}  // namespace rovk::unit
