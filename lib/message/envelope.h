// The parts of a message around its payload, read and written byte by byte.
#pragma once

#include <rovk/types.h>

#include "catalogue/fields.h"

namespace rovk::message {

static_assert(sizeof(rovk_message) == ROVK_MESSAGE_SIZE);
static_assert(sizeof(rovk_version) == 2);

inline constexpr unsigned opcode_shift = 24;

inline uint8_t* bytes(rovk_message& message) { return reinterpret_cast<uint8_t*>(&message); }
inline const uint8_t* bytes(const rovk_message& message) { return reinterpret_cast<const uint8_t*>(&message); }

inline uint16_t load16(const rovk_message& message, unsigned offset) {
  return static_cast<uint16_t>(catalogue::load(bytes(message) + offset, 2));
}

inline void store16(rovk_message& message, unsigned offset, uint16_t value) {
  catalogue::store(bytes(message) + offset, 2, value);
}

inline uint8_t type_of(const rovk_message& message) { return bytes(message)[ROVK_OFFSET_TYPE]; }
inline uint8_t body_of(const rovk_message& message) { return bytes(message)[ROVK_OFFSET_BODY]; }
inline uint32_t uuid_of(const rovk_message& message) { return catalogue::load(bytes(message) + ROVK_OFFSET_UUID, 4); }
inline const uint8_t* payload_of(const rovk_message& message) { return bytes(message) + ROVK_OFFSET_PAYLOAD; }
inline uint8_t* payload_of(rovk_message& message) { return bytes(message) + ROVK_OFFSET_PAYLOAD; }

// The opcode of a command, or of the command that an answer belongs to.
inline uint8_t opcode_of(const rovk_message& message) {
  return type_of(message) == ROVK_TYPE_COMMAND ? body_of(message)
                                               : static_cast<uint8_t>(uuid_of(message) >> opcode_shift);
}

// An empty message to or from `address`. `number` is the opcode, or an event's id, which leaves no
// mark in the uuid: an event answers nothing.
rovk_message make_message(uint16_t address, uint8_t type, uint8_t number);

// An empty answer that goes back the way `command` came, under its transaction number.
rovk_message make_answer(const rovk_message& command, uint8_t type, uint8_t opcode);

// An answer that says which error happened at `address`; its detail is all zero.
rovk_message make_error(const rovk_message& command, uint16_t address, uint16_t error_id);

}  // namespace rovk::message
