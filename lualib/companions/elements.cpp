// Reads what a script cannot index: the elements of an array object, which rovk_message makes for a field of
// bytes or of addresses.
#include "elements.h"

#include <string.h>

#include "runtime/objects.h"

namespace {

// Whether a type is an entry of the ring. Its name may be read only then: the userdata may be another library's.
bool is_known(lua_State* L, const swig_type_entry* type) {
  lua_pushliteral(L, "swig_runtime_data_type_pointer4");
  lua_rawget(L, LUA_REGISTRYINDEX);
  const auto* const head = static_cast<const swig_module_entry*>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  if (!head) return false;
  const swig_module_entry* module = head;
  do {
    for (unsigned i = 0; i < module->size; ++i) {
      if (module->types[i] == type) return true;
    }
    module = module->next;
  } while (module != head);
  return false;
}

bool lives(const swig_wrapped_object* array) {
  return array->object.pointer && (!array->owner || array->owner->pointer);
}

// Bytes of an element, 0 for anything but an array.
unsigned element_width(lua_State* L, const swig_wrapped_object* array) {
  if (!array || lua_objlen(L, 1) != sizeof *array || array->kind != SWIG_PLAIN) return 0;
  if (!is_known(L, array->object.type)) return 0;
  if (strcmp(array->object.type->name, "_p_unsigned_char") == 0) return 1;
  return strcmp(array->object.type->name, "_p_unsigned_short") == 0 ? 2 : 0;
}

}  // namespace

int rovk_elements(lua_State* L) {
  lua_settop(L, 1);
  const auto* const array = static_cast<const swig_wrapped_object*>(lua_touserdata(L, 1));
  const unsigned width = element_width(L, array);
  const int count = width == 0 ? 0 : static_cast<int>(array->extent / width);
  lua_createtable(L, count, 0);
  // Asked last: what allocates may run a finalizer, and one of them might free the record.
  if (width == 0 || !lives(array)) return luaL_typerror(L, 1, "array of bytes or addresses");
  const auto* const bytes = static_cast<const unsigned char*>(array->object.pointer);
  for (int i = 0; i < count; ++i) {
    const unsigned char* const element = bytes + static_cast<unsigned>(i) * width;
    lua_pushnumber(L, width == 1 ? element[0] : element[0] | element[1] << 8);
    lua_rawseti(L, 2, i + 1);
  }
  return 1;
}
