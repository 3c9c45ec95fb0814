// The parts of a 32-byte message, read and written byte by byte.
#pragma once

#include <rovk/types.h>

#include <cstdint>

#include "catalogue/fields.h"

namespace rovk::wire {

inline const uint8_t* bytes(const rovk_message& message) { return reinterpret_cast<const uint8_t*>(&message); }
inline uint8_t* bytes(rovk_message& message) { return reinterpret_cast<uint8_t*>(&message); }

inline uint16_t number16(const rovk_message& message, unsigned offset) {
  return static_cast<uint16_t>(catalogue::load(bytes(message) + offset, 2));
}

inline uint16_t application(const rovk_message& message) { return number16(message, ROVK_OFFSET_APPLICATION); }
inline uint16_t peripheral(const rovk_message& message) { return number16(message, ROVK_OFFSET_PERIPHERAL); }
inline uint32_t uuid(const rovk_message& message) { return catalogue::load(bytes(message) + ROVK_OFFSET_UUID, 4); }
inline uint8_t type(const rovk_message& message) { return bytes(message)[ROVK_OFFSET_TYPE]; }
// The error byte of a response, the id of an event.
inline uint8_t body(const rovk_message& message) { return bytes(message)[ROVK_OFFSET_BODY]; }
inline uint16_t error_id(const rovk_message& message) { return number16(message, ROVK_OFFSET_ERROR_ID); }
inline const uint8_t* payload(const rovk_message& message) { return bytes(message) + ROVK_OFFSET_PAYLOAD; }

}  // namespace rovk::wire
