// From Lua numbers to integers and back, the same on every processor: a float is never cast where its
// value is out of range for the integer.
#pragma once

#include <stdint.h>
#include <string.h>

// Cut towards zero and saturated. A negative number and NaN give 0; wrappers that must refuse those
// test for them first.
inline uint32_t swig_to_unsigned(double value) {
  if (!(value > 0)) return 0;
  if (value >= 4294967295.0) return UINT32_MAX;
  return static_cast<uint32_t>(value);
}

// Cut towards zero and saturated. NaN gives 0.
inline int32_t swig_to_signed(double value) {
  if (value != value) return 0;
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// The low `width` bytes of a value, read as two's complement.
inline int32_t swig_sign_extend(uint32_t raw, unsigned width) {
  const unsigned shift = 32 - 8 * width;
  return static_cast<int32_t>(raw << shift) >> shift;
}

// Records keep numbers least significant byte first, at any offset.
inline uint32_t swig_load(const uint8_t* bytes, unsigned width) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  switch (width) {
    case 1:
      return bytes[0];
    case 2: {
      uint16_t value;
      memcpy(&value, bytes, sizeof value);
      return value;
    }
    default: {
      uint32_t value;
      memcpy(&value, bytes, sizeof value);
      return value;
    }
  }
#else
  uint32_t value = 0;
  for (unsigned i = width; i-- > 0;) value = value << 8 | bytes[i];
  return value;
#endif
}

inline void swig_store(uint8_t* bytes, unsigned width, uint32_t value) {
  for (unsigned i = 0; i < width; ++i, value >>= 8) bytes[i] = static_cast<uint8_t>(value);
}
