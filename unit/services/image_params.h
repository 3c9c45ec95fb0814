// The parameters of image control: one row for each id, with its default, limits and fixed point.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace rovk::unit {

struct ImageParam {
  uint16_t id;
  int32_t initial;
  int32_t low;
  int32_t high;
  uint8_t q_bits;  // binary places behind the point
};

std::span<const ImageParam> image_params();
// Place of an id in the rows. Empty: no such parameter.
std::optional<std::size_t> find_image_param(uint16_t id);

// Meanings of values that have more than a size.
inline constexpr int32_t general_mode_asleep = 0;
inline constexpr int32_t general_mode_live = 1;
inline constexpr int32_t general_mode_test_picture = 2;
inline constexpr int32_t exposure_mode_automatic = 0;
inline constexpr int32_t exposure_mode_manual = 1;
inline constexpr int32_t white_balance_manual = 0;
inline constexpr int32_t white_balance_automatic = 1;
inline constexpr int32_t day_night_automatic = 0;
inline constexpr int32_t day_night_day = 1;
inline constexpr int32_t day_night_night = 2;
inline constexpr int32_t filter_day = 0;
inline constexpr int32_t filter_night = 1;

}  // namespace rovk::unit
