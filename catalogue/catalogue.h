// The catalogue as constant rows: which services there are, with their commands, events, errors and
// records. The rows are generated; what reads and writes bytes by them stands in fields.h.
#pragma once

#include <rovk/types.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace rovk::catalogue {

enum class Kind : uint8_t {
  number,     // width bytes, least significant first
  version,    // two bytes, major and minor
  bytes,      // count bytes
  addresses,  // count 16-bit addresses
};

struct Field {
  const char* name;
  uint8_t offset;  // in the record
  uint8_t width;   // bytes of one element
  uint8_t count;   // elements
  bool is_signed;
  bool reserved;  // part of the layout, carries no value
  Kind kind;

  constexpr unsigned size() const { return kind == Kind::version ? 2U : unsigned{width} * count; }
};

struct Record {
  uint8_t size;  // bytes, at most 22
  std::span<const Field> fields;
};

struct Command {
  const char* name;
  uint8_t opcode;
  const Record* request;  // null: no record
  const Record* answer;   // null: no record
};

struct Event {
  const char* name;
  uint8_t id;
  const Record* record;
};

struct Error {
  const char* name;
  uint16_t id;
  const Record* detail;  // null: no detail
};

struct Service {
  const char* name;
  int32_t id;  // -1 for the common service, whose commands go to every peripheral
  rovk_version api;
  std::span<const Command> commands;
  std::span<const Event> events;
  std::span<const Error> errors;
};

// All 51 services, the common one first, the others by id.
std::span<const Service> services();

// Null when there is none. Names are those of the catalogue, as in "led_0001" or "get_state".
const Service* find_service(std::string_view name);
const Service* find_service_by_id(uint16_t id);
const Command* find_command(const Service& service, uint8_t opcode);
const Command* find_command(const Service& service, std::string_view name);
const Event* find_event(const Service& service, std::string_view name);
const Event* find_event(const Service& service, uint8_t id);
const Error* find_error(const Service& service, uint16_t id);
const Error* find_error(const Service& service, std::string_view name);
const Field* find_field(const Record& record, std::string_view name);

inline const Service& common() { return services().front(); }

}  // namespace rovk::catalogue
