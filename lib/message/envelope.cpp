// Stamps headers: for the builders, and for callers who fill the body themselves.
#include "message/envelope.h"

#include <rovk/message.h>

#include <cerrno>

#include "message/export.h"

namespace rovk::message {
namespace {

void stamp(rovk_message& message, uint32_t transaction, uint8_t type, uint8_t number) {
  const uint32_t opcode = type == ROVK_TYPE_EVENT ? 0 : number;
  const uint32_t mask = (uint32_t{1} << opcode_shift) - 1;
  catalogue::store(bytes(message) + ROVK_OFFSET_UUID, 4, opcode << opcode_shift | (transaction & mask));
  bytes(message)[ROVK_OFFSET_TYPE] = type;
  // In a response this byte is the error byte.
  bytes(message)[ROVK_OFFSET_BODY] = type == ROVK_TYPE_RESPONSE ? uint8_t{ROVK_RESPONSE_PAYLOAD} : number;
}

}  // namespace

rovk_message make_message(uint16_t address, uint8_t type, uint8_t number) {
  rovk_message message = {};
  store16(message, ROVK_OFFSET_PERIPHERAL, address);
  stamp(message, 0, type, number);
  return message;
}

rovk_message make_answer(const rovk_message& command, uint8_t type, uint8_t opcode) {
  rovk_message answer = {};
  store16(answer, ROVK_OFFSET_APPLICATION, load16(command, ROVK_OFFSET_APPLICATION));
  store16(answer, ROVK_OFFSET_PERIPHERAL, load16(command, ROVK_OFFSET_PERIPHERAL));
  stamp(answer, uuid_of(command), type, opcode);
  return answer;
}

rovk_message make_error(const rovk_message& command, uint16_t address, uint16_t error_id) {
  rovk_message answer = make_answer(command, ROVK_TYPE_RESPONSE, opcode_of(command));
  bytes(answer)[ROVK_OFFSET_BODY] = ROVK_RESPONSE_ERROR_INFO;
  store16(answer, ROVK_OFFSET_PAYLOAD, address);
  store16(answer, ROVK_OFFSET_ERROR_ID, error_id);
  return answer;
}

}  // namespace rovk::message

ROVK_EXPORT int32_t rovk_initialize_message_struct(rovk_message* message, uint16_t address, uint8_t type,
                                                   uint8_t opcode) {
  if (!message) return -EINVAL;
  *message = rovk::message::make_message(address, type, opcode);
  return 0;
}

ROVK_EXPORT int32_t rovk_initialize_message_response_struct(rovk_message* response, const rovk_message* command,
                                                            uint8_t type, uint8_t opcode) {
  if (!response || !command) return -EINVAL;
  *response = rovk::message::make_answer(*command, type, opcode);
  return 0;
}

ROVK_EXPORT int32_t rovk_initialize_message_error_response_struct(rovk_message* response, const rovk_message* command,
                                                                  uint16_t address, uint16_t error_id) {
  if (!response || !command) return -EINVAL;
  *response = rovk::message::make_error(*command, address, error_id);
  return 0;
}
