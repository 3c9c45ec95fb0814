// Native values to and from the 22 bytes of a payload, by the rows of the catalogue. Reserved fields
// carry no value.
#pragma once

#include "catalogue/catalogue.h"
#include "trans/calls.h"

namespace rovk::trans {

constexpr unsigned payload_size = 22;

// Writes the inputs of a command. False: an array among them is null.
bool encode(const catalogue::Record* record, const void* const* inputs, uint8_t* payload);

// The values of an answer or event as a callback takes them. Arrays lie inside, so a Values stays
// where it is while they are in use.
class Values {
 public:
  // Null payload: every number is zero, every array null.
  Values(const catalogue::Record* record, const uint8_t* payload);
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  const Value* list() const { return list_; }

 private:
  Value list_[payload_size] = {};
  uint8_t bytes_[payload_size] = {};
  uint16_t addresses_[payload_size / 2] = {};
};

// Stores the values of an answer in the caller's slots, of which any may be null; an array becomes a
// heap block of the caller's. -ENOMEM: nothing is stored.
int32_t store(const catalogue::Record* record, const uint8_t* payload, void* const* outputs);
// Sets the slots of arrays to null.
void clear_arrays(const catalogue::Record* record, void* const* outputs);

// Stores a pointer in a slot of whatever pointer type. A null slot is passed over.
void store_pointer(void* slot, void* value);

}  // namespace rovk::trans
