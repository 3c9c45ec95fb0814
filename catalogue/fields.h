// Reads and writes the numbers of a record byte by byte, least significant first: the same on every
// processor and at every offset.
#pragma once

#include <cstdint>
#include <cstring>

#include "catalogue/catalogue.h"

namespace rovk::catalogue {

inline uint32_t load(const uint8_t* bytes, unsigned width) {
  if (width == 1) return bytes[0];
  if (width == 2) return bytes[0] | uint32_t{bytes[1]} << 8;
  uint32_t value = 0;
  for (unsigned i = width; i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

inline void store(uint8_t* bytes, unsigned width, uint32_t value) {
  if (width == 1) {
    bytes[0] = static_cast<uint8_t>(value);
    return;
  }
  if (width == 2) {
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
    return;
  }
  for (unsigned i = 0; i < width; ++i, value >>= 8) bytes[i] = static_cast<uint8_t>(value);
}

// The value of a number field, sign-extended where the field is signed. Wide enough for both signs.
inline int64_t load_number(const uint8_t* record, const Field& field) {
  const uint32_t raw = load(record + field.offset, field.width);
  if (!field.is_signed) return raw;
  const unsigned shift = 32 - 8 * field.width;
  return static_cast<int32_t>(raw << shift) >> shift;
}

// Keeps the low bits that the field has room for.
inline void store_number(uint8_t* record, const Field& field, int64_t value) {
  store(record + field.offset, field.width, static_cast<uint32_t>(value));
}

// Copies one number between a record and a native variable of the field's width.
inline void to_native(const uint8_t* bytes, unsigned width, void* native) {
  const uint32_t raw = load(bytes, width);
  if (width == 1) {
    *static_cast<uint8_t*>(native) = static_cast<uint8_t>(raw);
  } else if (width == 2) {
    const auto value = static_cast<uint16_t>(raw);
    std::memcpy(native, &value, sizeof value);
  } else {
    std::memcpy(native, &raw, sizeof raw);
  }
}

inline void from_native(uint8_t* bytes, unsigned width, const void* native) {
  if (width == 1) {
    bytes[0] = *static_cast<const uint8_t*>(native);
  } else if (width == 2) {
    uint16_t value = 0;
    std::memcpy(&value, native, sizeof value);
    store(bytes, 2, value);
  } else {
    uint32_t value = 0;
    std::memcpy(&value, native, sizeof value);
    store(bytes, width, value);
  }
}

}  // namespace rovk::catalogue
