// Checks and conversions of the arguments of commands. All type checks come before the first
// conversion; only tables are looked at in their turn among the conversions.
#include "arguments.h"

#include <string.h>

#include "failures.h"
#include "numbers.h"
#include "objects.h"
#include "wrapper.h"

namespace {

// Left on the stack.
const char* name_of(lua_State* L, const command_row& row) { return swig_text_push(L, row.name); }

bool passes_type_check(lua_State* L, int index, const argument_row& argument) {
  switch (argument.kind) {
    case ARGUMENT_UNSIGNED:
    case ARGUMENT_SIGNED:
      return lua_isnumber(L, index);
    case ARGUMENT_POINTER:
    case ARGUMENT_OPAQUE:
      return lua_isuserdata(L, index) || lua_isnil(L, index);
    case ARGUMENT_VERSION:
      return lua_isuserdata(L, index);
    case ARGUMENT_TEXT:
      return lua_isstring(L, index) || lua_isnil(L, index);
    case ARGUMENT_FUNCTION:
      return lua_isfunction(L, index);
    case ARGUMENT_ALIASES:
      return lua_isnumber(L, index) || lua_istable(L, index);
    default:
      return true;
  }
}

void* convert_pointer(lua_State* L, const command_row& row, int index, swig_type_entry* type) {
  void* pointer = nullptr;
  if (SWIG_Lua_ConvertPtr(L, index, &pointer, type, 0) < 0) {
    swig_fail_argument(L, name_of(L, row), index, swig_pretty_text(type), swig_argument_type_name(L, index));
  }
  return pointer;
}

// Entries 1 to n of the table at `index`, each handed to `store`. More than `limit` entries are refused,
// since those behind could only be lost.
template <typename Store>
void read_table(lua_State* L, const command_row& row, int index, int limit, Store store) {
  const size_t count = lua_objlen(L, index);
  if (count > static_cast<size_t>(limit)) {
    lua_pushfstring(L, "Error in %s (arg %d), expected a table of at most %d entries, got %d", name_of(L, row), index,
                    limit, static_cast<int>(count));
    lua_error(L);
  }
  for (int i = 0; i < static_cast<int>(count); ++i) {
    lua_rawgeti(L, index, i + 1);
    store(i, lua_tonumber(L, -1));
    lua_pop(L, 1);
  }
}

void convert_bytes(lua_State* L, const command_row& row, int index, uint8_t* bytes) {
  if (!lua_istable(L, index)) swig_fail_argument(L, name_of(L, row), index, "table", swig_argument_type_name(L, index));
  memset(bytes, 0, SWIG_BYTE_TABLE_SIZE);
  read_table(L, row, index, SWIG_BYTE_TABLE_SIZE,
             [bytes](int i, double value) { bytes[i] = static_cast<uint8_t>(swig_to_unsigned(value)); });
}

void convert_aliases(lua_State* L, const command_row& row, int index, uint16_t* aliases) {
  memset(aliases, 0, SWIG_ALIAS_COUNT * sizeof *aliases);
  if (!lua_istable(L, index)) {
    aliases[0] = static_cast<uint16_t>(swig_to_unsigned(lua_tonumber(L, index)));
    return;
  }
  read_table(L, row, index, SWIG_ALIAS_COUNT,
             [aliases](int i, double value) { aliases[i] = static_cast<uint16_t>(swig_to_unsigned(value)); });
}

// The callback type that a raw function takes, by the name of its command or event.
const char* callback_text(lua_State* L, const char* name) {
  const char* end = strstr(name, "_async");
  if (!end) end = strstr(name, "_register_callback");
  if (!end) end = strstr(name, "_unregister_callback");
  lua_pushlstring(L, name, static_cast<size_t>(end - name));
  lua_pushliteral(L, "_callback");
  lua_concat(L, 2);
  return lua_tostring(L, -1);
}

uint32_t narrow(uint32_t value, unsigned width) { return value & (UINT32_MAX >> (32 - 8 * width)); }

void convert(lua_State* L, const command_row& row, int index, const argument_row& argument, argument_buffer& out) {
  native_value& value = out.values[index - 1];
  switch (argument.kind) {
    case ARGUMENT_UNSIGNED:
      value.u = narrow(swig_check_unsigned(L, index), argument.width);
      break;
    case ARGUMENT_SIGNED:
      value.i = swig_sign_extend(static_cast<uint32_t>(swig_to_signed(lua_tonumber(L, index))), argument.width);
      break;
    case ARGUMENT_POINTER:
      value.pointer = convert_pointer(L, row, index, swig_type_table[argument.type]);
      break;
    case ARGUMENT_OPAQUE:
      if (SWIG_Lua_ConvertPtr(L, index, &value.pointer, nullptr, 0) < 0) {
        swig_must_get_pointer(L, index, nullptr, 0, index, name_of(L, row));
      }
      break;
    case ARGUMENT_VERSION: {
      const void* const record = convert_pointer(L, row, index, swig_type_table[argument.type]);
      if (!record)
        swig_fail_argument(L, name_of(L, row), index, swig_pretty_text(swig_type_table[argument.type]), "nil");
      memcpy(&value.version, record, sizeof value.version);
      break;
    }
    case ARGUMENT_TEXT:
      value.pointer = const_cast<char*>(lua_tolstring(L, index, nullptr));
      break;
    case ARGUMENT_FUNCTION:
      value.i = index;
      break;
    case ARGUMENT_BYTES:
      convert_bytes(L, row, index, out.bytes);
      value.pointer = out.bytes;
      break;
    default:
      convert_aliases(L, row, index, out.aliases);
      value.pointer = out.aliases;
      break;
  }
}

// Converts an argument that is plainly sound; false for one that must be looked at more closely. Takes
// one call of Lua where the checks and conversions by the rules take several.
inline bool take_plain(lua_State* L, int index, const argument_row& argument, native_value& value) {
  switch (argument.kind) {
    case ARGUMENT_UNSIGNED: {
      const double number = lua_tonumber(L, index);
      // What is no number reads as 0.
      if (!(number > 0) && !(number == 0 && lua_isnumber(L, index))) return false;
      value.u = narrow(swig_to_unsigned(number), argument.width);
      return true;
    }
    case ARGUMENT_SIGNED: {
      const double number = lua_tonumber(L, index);
      if (number == 0 && !lua_isnumber(L, index)) return false;
      value.i = swig_sign_extend(static_cast<uint32_t>(swig_to_signed(number)), argument.width);
      return true;
    }
    case ARGUMENT_POINTER:
    case ARGUMENT_OPAQUE:
      value.pointer = swig_exact_pointer(L, index, swig_type_table[argument.type]);
      return value.pointer != nullptr;
    case ARGUMENT_FUNCTION:
      value.i = index;
      return lua_isfunction(L, index);
    default:
      return false;
  }
}

// Takes all arguments but the first so many, which are taken.
[[gnu::noinline]] void take_by_rules(lua_State* L, const command_row& row, int taken, argument_buffer& out) {
  const uint16_t* const list = argument_lists + row.arguments;
  for (int i = taken; i < row.argument_count; ++i) {
    const argument_row& argument = argument_rows[list[i]];
    if (!passes_type_check(L, i + 1, argument)) {
      const char* const name = name_of(L, row);
      const char* const text = argument.text ? swig_text_push(L, argument.text) : callback_text(L, name);
      swig_fail_argument(L, name, i + 1, text, swig_argument_type_name(L, i + 1));
    }
  }
  for (int i = taken; i < row.argument_count; ++i) convert(L, row, i + 1, argument_rows[list[i]], out);
}

}  // namespace

uint32_t swig_check_unsigned(lua_State* L, int index) {
  const double value = lua_tonumber(L, index);
  if (!(value >= 0)) {
    lua_pushliteral(L, "number must not be negative");
    lua_error(L);
  }
  return swig_to_unsigned(value);
}

void swig_take_arguments(lua_State* L, const command_row& row, argument_buffer& out) {
  const int count = row.argument_count;
  const int given = lua_gettop(L);
  if (given != count) swig_fail_count(L, name_of(L, row), count, given);
  const uint16_t* const list = argument_lists + row.arguments;
  // Sound arguments need no second look. From the first that does, all go by the rules, whose order of
  // failures is fixed; nothing was changed until then.
  for (int i = 0; i < count; ++i) {
    if (!take_plain(L, i + 1, argument_rows[list[i]], out.values[i])) return take_by_rules(L, row, i, out);
  }
}
