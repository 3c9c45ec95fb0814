#include "trans/payload.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "catalogue/fields.h"

namespace rovk::trans {
namespace {

using catalogue::Field;
using catalogue::Kind;

bool is_array(const Field& field) { return field.kind == Kind::bytes || field.kind == Kind::addresses; }

// Calls `work(field, place)` for every field with a value; `place` counts those.
template <typename Work>
void for_values(const catalogue::Record* record, Work work) {
  if (!record) return;
  unsigned place = 0;
  for (const Field& field : record->fields) {
    if (!field.reserved) work(field, place++);
  }
}

void load_addresses(const uint8_t* source, unsigned count, uint16_t* target) {
  for (unsigned i = 0; i < count; ++i) target[i] = static_cast<uint16_t>(catalogue::load(source + 2 * i, 2));
}

void* copy_array(const Field& field, const uint8_t* payload) {
  void* const block = std::malloc(field.size());
  if (!block) return nullptr;
  if (field.kind == Kind::addresses) {
    load_addresses(payload + field.offset, field.count, static_cast<uint16_t*>(block));
  } else {
    std::memcpy(block, payload + field.offset, field.size());
  }
  return block;
}

}  // namespace

bool encode(const catalogue::Record* record, const void* const* inputs, uint8_t* payload) {
  bool complete = true;
  for_values(record, [&](const Field& field, unsigned place) {
    const void* const input = inputs[place];
    uint8_t* const target = payload + field.offset;
    if (!input) {
      complete = false;
    } else if (field.kind == Kind::number) {
      catalogue::from_native(target, field.width, input);
    } else if (field.kind == Kind::addresses) {
      for (unsigned i = 0; i < field.count; ++i) {
        catalogue::from_native(target + 2 * i, 2, static_cast<const uint16_t*>(input) + i);
      }
    } else {
      std::memcpy(target, input, field.size());
    }
  });
  return complete;
}

Values::Values(const catalogue::Record* record, const uint8_t* payload) {
  if (!payload) return;
  std::memcpy(bytes_, payload, payload_size);
  for_values(record, [&](const Field& field, unsigned place) {
    Value& value = list_[place];
    uint8_t* const source = bytes_ + field.offset;
    if (field.kind == Kind::number) {
      value.number = catalogue::load(source, field.width);
    } else if (field.kind == Kind::version) {
      value.version = {source[0], source[1]};
    } else if (field.kind == Kind::bytes) {
      value.bytes = source;
    } else {
      load_addresses(source, field.count, addresses_);
      value.addresses = addresses_;
    }
  });
}

int32_t store(const catalogue::Record* record, const uint8_t* payload, void* const* outputs) {
  // No record has more than one array; it comes first, since it alone can fail.
  const Field* array = nullptr;
  unsigned array_place = 0;
  for_values(record, [&](const Field& field, unsigned place) {
    if (!is_array(field)) return;
    array = &field;
    array_place = place;
  });
  if (array && outputs[array_place]) {
    void* const block = copy_array(*array, payload);
    if (!block) return -ENOMEM;
    store_pointer(outputs[array_place], block);
  }
  for_values(record, [&](const Field& field, unsigned place) {
    if (is_array(field) || !outputs[place]) return;
    if (field.kind == Kind::number) {
      catalogue::to_native(payload + field.offset, field.width, outputs[place]);
    } else {
      std::memcpy(outputs[place], payload + field.offset, sizeof(rovk_version));
    }
  });
  return 0;
}

void clear_arrays(const catalogue::Record* record, void* const* outputs) {
  for_values(record, [&](const Field& field, unsigned place) {
    if (is_array(field)) store_pointer(outputs[place], nullptr);
  });
}

void store_pointer(void* slot, void* value) {
  if (slot) std::memcpy(slot, &value, sizeof value);
}

}  // namespace rovk::trans
