// Constructors, attribute accessors and variable accessors: the wrappers that reach native memory
// themselves instead of calling a library.
#include <stdlib.h>
#include <string.h>

#include "failures.h"
#include "numbers.h"
#include "objects.h"
#include "wrapper.h"

namespace {

const char* class_name(const attribute_row& row) { return swig_classes[row.class_row].name; }

const char* attribute_name(const attribute_row& row) { return attribute_names + row.name; }

// Left on the stack.
const char* value_text(lua_State* L, const attribute_row& row) { return swig_text_push(L, attribute_texts[row.text]); }

// The two names of an accessor, left on the stack.
const char* checked_name(lua_State* L, const attribute_row& row) {
  return lua_pushfstring(L, "%s::%s", class_name(row), attribute_name(row));
}

const char* converted_name(lua_State* L, const attribute_row& row, const char* operation) {
  return lua_pushfstring(L, "%s_%s_%s", class_name(row), attribute_name(row), operation);
}

// The type of the accessor's object as a failed check shows it: the first alternative of its entry.
const char* object_text(lua_State* L, const attribute_row& row) {
  const char* const pretty = swig_type_entries[class_rows[row.class_row].type].pretty;
  return lua_pushlstring(L, pretty, strcspn(pretty, "|")), lua_tostring(L, -1);
}

// The record behind argument 1 when it is an object of the row's class that has its record; null for
// everything else, which check_receiver tells apart.
inline uint8_t* receiver(lua_State* L, const attribute_row& row) {
  return static_cast<uint8_t*>(swig_exact_pointer(L, 1, swig_type_table[class_rows[row.class_row].type]));
}

// What receiver() did not take: nil, another type that may stand in, or a failure. Null: nil, or an
// object whose record is gone.
uint8_t* check_receiver(lua_State* L, const attribute_row& row, const char* operation) {
  swig_type_entry* const type = swig_type_table[class_rows[row.class_row].type];
  void* record = nullptr;
  if (SWIG_Lua_ConvertPtr(L, 1, &record, type, 0) < 0) {
    swig_fail_argument(L, converted_name(L, row, operation), 1, swig_pretty_text(type), swig_argument_type_name(L, 1));
  }
  return static_cast<uint8_t*>(record);
}

void check_receiver_type(lua_State* L, const attribute_row& row) {
  if (!lua_isuserdata(L, 1) && !lua_isnil(L, 1)) {
    swig_fail_argument(L, checked_name(L, row), 1, object_text(L, row), swig_argument_type_name(L, 1));
  }
}

int fail_null(lua_State* L, const attribute_row& row, const char* operation, int argument, const char* expected) {
  return swig_fail_argument(L, converted_name(L, row, operation), argument, expected, "nil");
}

// A child is an object in its parent's record: it keeps the parent alive and knows how far it reaches.
int push_child(lua_State* L, const attribute_row& row, uint8_t* field) {
  swig_object_push_empty(L, swig_type_table[row.type], row.size)->object.pointer = field;
  swig_object_keep_parent(L, 1);
  return 1;
}

int push_text(lua_State* L, const attribute_row& row, const uint8_t* field) {
  // Copied first: pushing a string may run finalizers, and one of them might free the record.
  char text[32];
  memcpy(text, field, row.size);
  lua_pushlstring(L, text, strnlen(text, row.size));
  return 1;
}

// The text attribute: what fits before the last byte, which stays a terminator. nil empties it.
void store_text(const attribute_row& row, uint8_t* field, const char* text) {
  if (!text) {
    field[0] = 0;
    return;
  }
  const size_t room = row.size - 1U;
  const size_t length = strnlen(text, room);
  memcpy(field, text, length);
  memset(field + length, 0, row.size - length);
}

// The source of an array or record write: an object of the field's type that covers the whole field.
const void* check_source(lua_State* L, const attribute_row& row) {
  swig_type_entry* const type = swig_type_table[row.type];
  void* source = nullptr;
  if (SWIG_Lua_ConvertPtr(L, 2, &source, type, 0) < 0) {
    swig_fail_argument(L, converted_name(L, row, "set"), 2, swig_pretty_text(type), swig_argument_type_name(L, 2));
  }
  if (!source) fail_null(L, row, "set", 2, swig_pretty_text(type));
  const uint32_t extent = swig_object_extent(L, 2);
  if (row.kind == ATTRIBUTE_ARRAY && extent < row.size) {
    lua_pushfstring(L, "Error in %s (arg 2), expected %d bytes got %d", converted_name(L, row, "set"),
                    static_cast<int>(row.size), static_cast<int>(extent));
    lua_error(L);
  }
  return source;
}

int set_object(lua_State* L, const attribute_row& row) {
  if (!lua_isuserdata(L, 2) && !lua_isnil(L, 2)) {
    return swig_fail_argument(L, checked_name(L, row), 2, value_text(L, row), swig_argument_type_name(L, 2));
  }
  uint8_t* const record = check_receiver(L, row, "set");
  const void* const source = check_source(L, row);
  if (!record) return fail_null(L, row, "set", 1, swig_pretty_text(swig_type_table[class_rows[row.class_row].type]));
  memmove(record + row.offset, source, row.size);  // the source may be the field itself
  return 0;
}

int set_text(lua_State* L, const attribute_row& row) {
  if (!lua_isstring(L, 2) && !lua_isnil(L, 2)) {
    return swig_fail_argument(L, checked_name(L, row), 2, value_text(L, row), swig_argument_type_name(L, 2));
  }
  check_receiver(L, row, "set");
  // Turning a number into text may run finalizers, so the record is asked for behind it.
  const char* const text = lua_tolstring(L, 2, nullptr);
  uint8_t* const record = check_receiver(L, row, "set");
  if (!record) return fail_null(L, row, "set", 1, swig_pretty_text(swig_type_table[class_rows[row.class_row].type]));
  store_text(row, record + row.offset, text);
  return 0;
}

}  // namespace

int swig_run_constructor(lua_State* L, unsigned class_number) {
  const class_row& row = class_rows[class_number];
  swig_type_entry* const type = swig_type_table[row.type];
  if (lua_gettop(L) != 0) {
    const int given = lua_gettop(L);
    const char* const name = type->class_data->name;
    lua_pushfstring(L, "Error in %s::%s expected 0..0 args, got %d", name, name, given);
    return lua_error(L);
  }
  swig_wrapped_object* const wrapped = swig_object_push_empty(L, type, row.size);
  void* const record = calloc(1, row.size);
  if (!record) {
    lua_pushnil(L);
    return 1;
  }
  wrapped->object.pointer = record;
  wrapped->object.own = 1;
  return 1;
}

int swig_run_attribute_get(lua_State* L, unsigned number) {
  const attribute_row& row = attribute_rows[number];
  if (lua_gettop(L) != 1) {
    const int given = lua_gettop(L);
    lua_pushfstring(L, "Error in %s expected 1..1 args, got %d", checked_name(L, row), given);
    return lua_error(L);
  }
  uint8_t* record = receiver(L, row);
  if (!record) {
    check_receiver_type(L, row);
    record = check_receiver(L, row, "get");
    if (!record) return fail_null(L, row, "get", 1, swig_pretty_text(swig_type_table[class_rows[row.class_row].type]));
  }
  uint8_t* const field = record + row.offset;
  switch (row.kind) {
    case ATTRIBUTE_UNSIGNED:
      lua_pushnumber(L, swig_load(field, row.width));
      return 1;
    case ATTRIBUTE_SIGNED:
      lua_pushnumber(L, swig_sign_extend(swig_load(field, row.width), row.width));
      return 1;
    case ATTRIBUTE_NATIVE: {
      uint16_t value = field[0];
      if (row.width == 2) memcpy(&value, field, sizeof value);
      lua_pushnumber(L, value);
      return 1;
    }
    case ATTRIBUTE_TEXT:
      return push_text(L, row, field);
    default:
      return push_child(L, row, field);
  }
}

int swig_run_attribute_set(lua_State* L, unsigned number) {
  const attribute_row& row = attribute_rows[number];
  if (lua_gettop(L) != 2) {
    const int given = lua_gettop(L);
    lua_pushfstring(L, "Error in %s expected 2..2 args, got %d", checked_name(L, row), given);
    return lua_error(L);
  }
  uint8_t* record = receiver(L, row);
  if (!record) check_receiver_type(L, row);
  if (row.kind == ATTRIBUTE_TEXT) return set_text(L, row);
  if (row.kind == ATTRIBUTE_ARRAY || row.kind == ATTRIBUTE_RECORD) return set_object(L, row);
  if (!lua_isnumber(L, 2)) {
    return swig_fail_argument(L, checked_name(L, row), 2, value_text(L, row), swig_argument_type_name(L, 2));
  }
  if (!record) record = check_receiver(L, row, "set");
  const uint32_t value = row.kind == ATTRIBUTE_SIGNED ? static_cast<uint32_t>(swig_to_signed(lua_tonumber(L, 2)))
                                                      : swig_check_unsigned(L, 2);
  if (!record) return 0;
  if (row.kind == ATTRIBUTE_NATIVE && row.width == 2) {
    const auto native = static_cast<uint16_t>(value);
    memcpy(record + row.offset, &native, sizeof native);
  } else {
    swig_store(record + row.offset, row.width, value);
  }
  return 0;
}

int swig_run_variable_get(lua_State* L, unsigned number) {
  const int given = lua_gettop(L);
  if (given != 0) return swig_fail_count(L, swig_text_push(L, variable_names[number]), 0, given);
  swig_type_entry* const type = swig_type_table[class_rows[0].type];
  swig_object_push_empty(L, type, sizeof(rovk_version))->object.pointer = variable_targets[number];
  return 1;
}

int swig_run_variable_set(lua_State* L, unsigned number) {
  const swig_text name = variable_names[number];
  const int given = lua_gettop(L);
  if (given != 1) return swig_fail_count(L, swig_text_push(L, name), 1, given);
  if (!lua_isuserdata(L, 1) && !lua_isnil(L, 1)) {
    return swig_fail_argument(L, swig_text_push(L, name), 1, "struct rovk_version *", swig_argument_type_name(L, 1));
  }
  swig_type_entry* const type = swig_type_table[class_rows[0].type];
  void* source = nullptr;
  const bool refused = SWIG_Lua_ConvertPtr(L, 1, &source, type, 0) < 0;
  if (refused || !source) {
    return swig_fail_argument(L, lua_pushfstring(L, "%s_set", swig_text_push(L, name)), 1, swig_pretty_text(type),
                              refused ? swig_argument_type_name(L, 1) : "nil");
  }
  memmove(variable_targets[number], source, sizeof(rovk_version));
  return 0;
}
