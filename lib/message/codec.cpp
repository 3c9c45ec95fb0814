// A message is built aside and copied at the end, and read only after all checks: a refused call
// leaves everything as it was, and arguments may lie in the message that is filled.
#include "message/codec.h"

#include <rovk/message.h>

#include <cerrno>

#include "message/envelope.h"

namespace rovk::message {
namespace {

using catalogue::Field;
using catalogue::Kind;
using catalogue::Record;

const catalogue::Service& service_at(Place place) { return catalogue::services()[place.service]; }

void store_field(uint8_t* bytes, const Field& field, const void* native) {
  if (field.kind == Kind::version || field.kind == Kind::bytes) {
    std::memcpy(bytes, native, field.size());
    return;
  }
  const auto* from = static_cast<const uint8_t*>(native);
  const unsigned width = field.width;
  for (unsigned left = field.count; left > 0; --left, bytes += width, from += width) {
    catalogue::from_native(bytes, width, from);
  }
}

void load_field(const uint8_t* bytes, const Field& field, void* native) {
  if (field.kind == Kind::version || field.kind == Kind::bytes) {
    std::memcpy(native, bytes, field.size());
    return;
  }
  auto* to = static_cast<uint8_t*>(native);
  const unsigned width = field.width;
  for (unsigned left = field.count; left > 0; --left, bytes += width, to += width) {
    catalogue::to_native(bytes, width, to);
  }
}

// False: an input is null. Reserved fields stay zero.
bool store_record(uint8_t* payload, const Record* record, Inputs in) {
  if (!record) return true;
  for (const Field& field : record->fields) {
    if (field.reserved) continue;
    if (!*in) return false;
    store_field(payload + field.offset, field, *in++);
  }
  return true;
}

void load_record(const rovk_message& message, const Record* record, Outputs out) {
  if (!record) return;
  const rovk_message copy = message;
  for (const Field& field : record->fields) {
    if (field.reserved) continue;
    if (*out) load_field(payload_of(copy) + field.offset, field, *out);
    ++out;
  }
}

int32_t finish(rovk_message* target, rovk_message& built, unsigned offset, const Record* record, Inputs in) {
  if (!store_record(bytes(built) + offset, record, in)) return -EINVAL;
  *target = built;
  return 0;
}

}  // namespace

int32_t build_command(Place place, rovk_message* message, uint16_t address, Inputs in) {
  if (!message) return -EINVAL;
  const catalogue::Command& command = service_at(place).commands[place.item];
  rovk_message built = make_message(address, ROVK_TYPE_COMMAND, command.opcode);
  return finish(message, built, ROVK_OFFSET_PAYLOAD, command.request, in);
}

int32_t build_response(Place place, rovk_message* response, const rovk_message* command, Inputs in) {
  if (!response || !command) return -EINVAL;
  const catalogue::Command& row = service_at(place).commands[place.item];
  rovk_message built = make_answer(*command, ROVK_TYPE_RESPONSE, row.opcode);
  return finish(response, built, ROVK_OFFSET_PAYLOAD, row.answer, in);
}

int32_t build_event(Place place, rovk_message* message, uint16_t address, Inputs in) {
  if (!message) return -EINVAL;
  const catalogue::Event& event = service_at(place).events[place.item];
  rovk_message built = make_message(address, ROVK_TYPE_EVENT, event.id);
  return finish(message, built, ROVK_OFFSET_PAYLOAD, event.record, in);
}

int32_t build_error(Place place, rovk_message* response, const rovk_message* command, uint16_t address, Inputs in) {
  if (!response || !command) return -EINVAL;
  const catalogue::Error& error = service_at(place).errors[place.item];
  rovk_message built = make_error(*command, address, error.id);
  return finish(response, built, ROVK_OFFSET_ERROR_DATA, error.detail, in);
}

int32_t read_command(Place place, const rovk_message* message, Outputs out) {
  if (!message) return -EINVAL;
  if (type_of(*message) != ROVK_TYPE_COMMAND) return -EPROTO;
  const catalogue::Command& command = service_at(place).commands[place.item];
  if (body_of(*message) != command.opcode) return -EBADMSG;
  load_record(*message, command.request, out);
  return 0;
}

int32_t read_response(Place place, const rovk_message* message, Outputs out) {
  if (!message) return -EINVAL;
  if (type_of(*message) != ROVK_TYPE_RESPONSE) return -EPROTO;
  const catalogue::Command& command = service_at(place).commands[place.item];
  if (opcode_of(*message) != command.opcode) return -EBADMSG;
  if (body_of(*message) == ROVK_RESPONSE_ERROR_INFO) {
    const uint16_t id = load16(*message, ROVK_OFFSET_ERROR_ID);
    return id ? id : -ENODATA;
  }
  if (body_of(*message) != ROVK_RESPONSE_PAYLOAD) return -EPROTO;
  load_record(*message, command.answer, out);
  return 0;
}

int32_t read_event(Place place, const rovk_message* message, Outputs out) {
  if (!message) return -EINVAL;
  if (type_of(*message) != ROVK_TYPE_EVENT) return -EPROTO;
  const catalogue::Event& event = service_at(place).events[place.item];
  if (body_of(*message) != event.id) return -EBADMSG;
  load_record(*message, event.record, out);
  return 0;
}

int32_t read_error(const rovk_message* message, void* record) {
  if (!message || !record) return -EINVAL;
  if (type_of(*message) != ROVK_TYPE_RESPONSE || body_of(*message) != ROVK_RESPONSE_ERROR_INFO) return -EPROTO;
  std::memmove(record, payload_of(*message), ROVK_MESSAGE_PAYLOAD_SIZE);
  return 0;
}

}  // namespace rovk::message
