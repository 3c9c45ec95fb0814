#include "message/describe.h"

#include <rovk/message.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "message/envelope.h"

namespace rovk::message {
namespace {

using catalogue::Field;
using catalogue::Kind;
using catalogue::Record;

void add_bytes(Line& line, const uint8_t* bytes, unsigned count) {
  for (unsigned i = 0; i < count; ++i) line.add(" %02x", bytes[i]);
}

void add_field(Line& line, const uint8_t* record, const Field& field) {
  const uint8_t* bytes = record + field.offset;
  line.add(" %s", field.name);
  switch (field.kind) {
    case Kind::number:
      line.add(" %lld", static_cast<long long>(catalogue::load_number(record, field)));
      break;
    case Kind::version:
      line.add(" %u.%u", bytes[0], bytes[1]);
      break;
    case Kind::bytes:
      add_bytes(line, bytes, field.count);
      break;
    case Kind::addresses:
      for (unsigned i = 0; i < field.count; ++i) line.add(" 0x%04x", catalogue::load(bytes + 2 * i, 2));
      break;
  }
}

void add_fields(Line& line, const uint8_t* payload, const Record* record) {
  if (!record) return;
  const char* separator = ":";
  for (const Field& field : record->fields) {
    if (field.reserved) continue;
    line.add("%s", separator);
    add_field(line, payload, field);
    separator = ",";
  }
}

// Bytes of unknown meaning: trailing zeros say nothing.
void add_raw(Line& line, const uint8_t* bytes, unsigned count) {
  while (count > 0 && bytes[count - 1] == 0) --count;
  if (count == 0) return;
  line.add(": bytes");
  add_bytes(line, bytes, count);
}

void add_error(Line& line, const uint8_t* record) {
  const uint32_t id = catalogue::load(record + 2, 2);
  const catalogue::Error* error = catalogue::find_error(catalogue::common(), static_cast<uint16_t>(id));
  line.add("error %u", id);
  if (error) line.add(" (%s)", error->name);
  line.add(" at 0x%04x", catalogue::load(record, 2));
  if (error) {
    add_fields(line, record + 4, error->detail);
  } else {
    add_raw(line, record + 4, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE);
  }
}

// What stands behind the route: a name and fields where the catalogue has them for every peripheral.
void add_content(Line& line, const rovk_message& message, bool known, const Record* record) {
  if (known) {
    add_fields(line, payload_of(message), record);
  } else {
    add_raw(line, payload_of(message), ROVK_MESSAGE_PAYLOAD_SIZE);
  }
}

void add_route(Line& line, const rovk_message& message, const char* word) {
  line.add(" %s 0x%04x, application 0x%04x, uuid 0x%08x", word, load16(message, ROVK_OFFSET_PERIPHERAL),
           load16(message, ROVK_OFFSET_APPLICATION), uuid_of(message));
}

void add_name(Line& line, const char* what, unsigned number, const char* name) {
  line.add("%s %u", what, number);
  if (name) line.add(" (%s)", name);
}

}  // namespace

void Line::add(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(text_.data() + length_, text_.size() - length_, format, arguments);
  va_end(arguments);
  if (written > 0) length_ = std::min(length_ + static_cast<std::size_t>(written), text_.size() - 1);
}

Line describe_message(const rovk_message& message) {
  Line line;
  const uint8_t type = type_of(message);
  const catalogue::Command* command = catalogue::find_command(catalogue::common(), opcode_of(message));
  const char* command_name = command ? command->name : nullptr;
  if (type == ROVK_TYPE_COMMAND) {
    add_name(line, "command", opcode_of(message), command_name);
    add_route(line, message, "to");
    add_content(line, message, command != nullptr, command ? command->request : nullptr);
  } else if (type == ROVK_TYPE_RESPONSE) {
    add_name(line, "response to command", opcode_of(message), command_name);
    add_route(line, message, "from");
    if (body_of(message) == ROVK_RESPONSE_PAYLOAD) {
      add_content(line, message, command != nullptr, command ? command->answer : nullptr);
    } else if (body_of(message) == ROVK_RESPONSE_ERROR_INFO) {
      line.add(": ");
      add_error(line, payload_of(message));
    } else {
      line.add(", unknown error byte %u", body_of(message));
      add_raw(line, payload_of(message), ROVK_MESSAGE_PAYLOAD_SIZE);
    }
  } else if (type == ROVK_TYPE_EVENT) {
    const catalogue::Event* event = catalogue::find_event(catalogue::common(), body_of(message));
    add_name(line, "event", body_of(message), event ? event->name : nullptr);
    add_route(line, message, "from");
    add_content(line, message, event != nullptr, event ? event->record : nullptr);
  } else {
    line.add("message of unknown type %u, number %u", type, body_of(message));
    add_route(line, message, "peripheral");
    add_raw(line, payload_of(message), ROVK_MESSAGE_PAYLOAD_SIZE);
  }
  return line;
}

Line describe_error(const uint8_t* record) {
  Line line;
  add_error(line, record);
  return line;
}

}  // namespace rovk::message
