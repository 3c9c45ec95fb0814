// What scripts receive: numbers, version tables, array tables and error tables.
#include "values.h"

#include <rovk/bridge.h>
#include <stdio.h>

#include "protected.h"
#include "runtime/numbers.h"

namespace {

enum { FIRST_OWN_ERROR = 32 };

using set_function = void (*)(lua_State* L, int index);

// Pops the key on top.
void set_value(lua_State* L, set_function set, uint32_t value) {
  lua_pushnumber(L, value);
  set(L, -3);
}

void set_number(lua_State* L, set_function set, const char* key, uint32_t value) {
  lua_pushstring(L, key);
  set_value(L, set, value);
}

void set_detail(lua_State* L, set_function set, const uint8_t* record, const decoder_row& decoder, uint32_t id) {
  for (unsigned i = 0; i < decoder.key_count; ++i) {
    const error_key_row& row = decoder.keys[i];
    if (row.id == id)
      set_number(L, set, row.key, swig_load(record + ROVK_OFFSET_ERROR_DATA - ROVK_OFFSET_PAYLOAD, row.width));
  }
}

void set_error(lua_State* L, set_function set, const void* record, const decoder_row& decoder) {
  rovk_push_error_id(L);
  if (!record) return set_value(L, set, 0);
  const auto* const bytes = static_cast<const uint8_t*>(record);
  const uint32_t id = swig_load(bytes + 2, 2);
  set_value(L, set, id);
  set_number(L, set, "peripheral_address", swig_load(bytes, 2));
  if (id < FIRST_OWN_ERROR) {
    set_detail(L, set, bytes, decoder_rows[0], id);
  } else if (decoder.kind == DECODER_OWN) {
    set_detail(L, set, bytes, decoder, id);
  } else if (decoder.kind == DECODER_STRICT) {
    printf("FAIL WITH BAD ERROR VALUE %d\n", static_cast<int>(id));
  }
}

}  // namespace

ROVK_EXPORT void push_rovk_version_table(lua_State* L, rovk_version version) {
  lua_createtable(L, 0, 2);
  lua_pushnumber(L, version.major);
  lua_setfield(L, -2, "major");
  lua_pushnumber(L, version.minor);
  lua_setfield(L, -2, "minor");
}

void rovk_push_value(lua_State* L, const value_row& row, const native_value& value) {
  switch (row.kind) {
    case VALUE_UNSIGNED:
      lua_pushnumber(L, value.u);
      return;
    case VALUE_SIGNED:
      lua_pushnumber(L, value.i);
      return;
    case VALUE_VERSION:
      push_rovk_version_table(L, value.version);
      return;
    default:
      break;
  }
  const int count = value.pointer ? row.count : 0;
  lua_createtable(L, count, 0);
  for (int i = 0; i < count; ++i) {
    lua_pushnumber(L, row.width == 1 ? static_cast<const uint8_t*>(value.pointer)[i]
                                     : static_cast<const uint16_t*>(value.pointer)[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

void rovk_push_error_table(lua_State* L, const void* record, const decoder_row& decoder) {
  lua_createtable(L, 0, record ? 3 : 1);
  set_error(L, lua_rawset, record, decoder);
}

void rovk_decode_error(lua_State* L, const void* record, const decoder_row& decoder) {
  set_error(L, lua_settable, record, decoder);
}
