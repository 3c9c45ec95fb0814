// How the unit writes what it sends: the header of an answer or event, an error in place of an answer, values
// in a record.
#pragma once

#include <rovk/constants.h>
#include <rovk/types.h>

#include <cstdint>
#include <span>
#include <stdexcept>

#include "catalogue/catalogue.h"
#include "catalogue/fields.h"
#include "wire/message.h"

namespace rovk::unit {

inline rovk_message blank(uint16_t application, uint16_t peripheral, uint32_t uuid, uint8_t type) {
  rovk_message message = {};
  uint8_t* bytes = wire::bytes(message);
  catalogue::store(bytes + ROVK_OFFSET_APPLICATION, 2, application);
  catalogue::store(bytes + ROVK_OFFSET_PERIPHERAL, 2, peripheral);
  catalogue::store(bytes + ROVK_OFFSET_UUID, 4, uuid);
  bytes[ROVK_OFFSET_TYPE] = type;
  return message;
}

// Makes an answer one of an error, and gives the place of its detail.
inline uint8_t* write_error(rovk_message& answer, uint16_t answerer, uint16_t id) {
  uint8_t* const bytes = wire::bytes(answer);
  bytes[ROVK_OFFSET_BODY] = ROVK_RESPONSE_ERROR_INFO;
  catalogue::store(bytes + ROVK_OFFSET_PAYLOAD, 2, answerer);
  catalogue::store(bytes + ROVK_OFFSET_ERROR_ID, 2, id);
  return bytes + ROVK_OFFSET_ERROR_DATA;
}

// Writes the numbers into the value fields of a record, in order.
inline void fill(uint8_t* bytes, const catalogue::Record* record, std::span<const int64_t> values) {
  std::size_t next = 0;
  if (record) {
    for (const catalogue::Field& field : record->fields) {
      if (!field.reserved && next < values.size()) catalogue::store_number(bytes, field, values[next++]);
    }
  }
  if (next != values.size()) throw std::logic_error("more values than the record has fields");
}

}  // namespace rovk::unit
