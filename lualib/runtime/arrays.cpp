// One implementation for all element types: they differ in how a number becomes an element and back.
#include "arrays.h"

#include <stdlib.h>

#include <type_traits>

#include "numbers.h"
#include "objects.h"

namespace {

template <typename Element>
Element to_element(double value) {
  if constexpr (std::is_floating_point_v<Element>) {
    return static_cast<Element>(value);
  } else if constexpr (std::is_signed_v<Element>) {
    return static_cast<Element>(swig_to_signed(value));
  } else {
    return static_cast<Element>(swig_to_unsigned(value));
  }
}

// Long and unsigned long carry 32 bits on every processor.
template <typename Element>
double from_element(Element element) {
  if constexpr (std::is_same_v<Element, long>) {
    return static_cast<int32_t>(element);
  } else if constexpr (std::is_same_v<Element, unsigned long>) {
    return static_cast<uint32_t>(element);
  } else {
    return static_cast<double>(element);
  }
}

bool check_fixed(lua_State* L, int index, int size) {
  if (lua_istable(L, index) && swig_table_length(L, index) == size) return true;
  lua_pushfstring(L, "expected a table of size %d", size);
  return false;
}

bool check_var(lua_State* L, int index, int* out_size) {
  if (!lua_istable(L, index)) {
    lua_pushliteral(L, "expected a table");
    return false;
  }
  *out_size = swig_table_length(L, index);
  if (*out_size > 0) return true;
  lua_pushliteral(L, "table appears to be empty");
  return false;
}

template <typename Element>
Element* allocate(int size) {
  // An array without elements is an array all the same, told apart from a failure.
  return static_cast<Element*>(malloc((size > 0 ? static_cast<size_t>(size) : 1) * sizeof(Element)));
}

template <typename Element>
Element* read_new(lua_State* L, int index, int size) {
  auto* const array = allocate<Element>(size);
  if (!array) {
    lua_pushliteral(L, "not enough memory");
    return nullptr;
  }
  if (swig_table_read(L, index, array, size)) return array;
  free(array);
  lua_pushliteral(L, "table must contain numbers");
  return nullptr;
}

void** read_new_pointers(lua_State* L, int index, int size, swig_type_entry* type) {
  auto** const array = allocate<void*>(size);
  if (!array) {
    lua_pushliteral(L, "not enough memory");
    return nullptr;
  }
  if (swig_table_read_pointers(L, index, array, size, type)) return array;
  free(array);
  lua_pushfstring(L, "table must contain pointers of type %s", type->name);
  return nullptr;
}

}  // namespace

int swig_table_length(lua_State* L, int index) {
  int length = 0;
  for (;;) {
    lua_rawgeti(L, index, length + 1);
    const bool end = lua_isnil(L, -1);
    lua_pop(L, 1);
    if (end) return length;
    ++length;
  }
}

template <typename Element>
int swig_table_read(lua_State* L, int index, Element* array, int size) {
  for (int i = 0; i < size; ++i) {
    lua_rawgeti(L, index, i + 1);
    const bool is_number = lua_isnumber(L, -1);
    if (is_number) array[i] = to_element<Element>(lua_tonumber(L, -1));
    lua_pop(L, 1);
    if (!is_number) return 0;
  }
  return 1;
}

template <typename Element>
Element* swig_table_get_fixed(lua_State* L, int index, int size) {
  return check_fixed(L, index, size) ? read_new<Element>(L, index, size) : nullptr;
}

template <typename Element>
Element* swig_table_get_var(lua_State* L, int index, int* out_size) {
  return check_var(L, index, out_size) ? read_new<Element>(L, index, *out_size) : nullptr;
}

template <typename Element>
void swig_table_push(lua_State* L, const Element* array, int size) {
  lua_createtable(L, size, 0);
  for (int i = 0; i < size; ++i) {
    lua_pushnumber(L, from_element(array[i]));
    lua_rawseti(L, -2, i + 1);
  }
}

int swig_table_read_pointers(lua_State* L, int index, void** array, int size, swig_type_entry* type) {
  for (int i = 0; i < size; ++i) {
    lua_rawgeti(L, index, i + 1);
    const bool taken = lua_isuserdata(L, -1) && SWIG_Lua_ConvertPtr(L, -1, &array[i], type, 0) == 0;
    lua_pop(L, 1);
    if (!taken) return 0;
  }
  return 1;
}

void** swig_table_get_fixed_pointers(lua_State* L, int index, int size, swig_type_entry* type) {
  return check_fixed(L, index, size) ? read_new_pointers(L, index, size, type) : nullptr;
}

void** swig_table_get_var_pointers(lua_State* L, int index, int* out_size, swig_type_entry* type) {
  return check_var(L, index, out_size) ? read_new_pointers(L, index, *out_size, type) : nullptr;
}

void swig_table_push_pointers(lua_State* L, void* const* array, int size, swig_type_entry* type, int own) {
  lua_createtable(L, size, 0);
  for (int i = 0; i < size; ++i) {
    swig_object_new(L, array[i], type, own);
    lua_rawseti(L, -2, i + 1);
  }
}

#define ROVK_ARRAY_MEMBER(Element)                                       \
  template int swig_table_read(lua_State*, int, Element*, int);          \
  template Element* swig_table_get_fixed<Element>(lua_State*, int, int); \
  template Element* swig_table_get_var<Element>(lua_State*, int, int*);  \
  template void swig_table_push(lua_State*, const Element*, int);

ROVK_ARRAY_MEMBER(signed char)
ROVK_ARRAY_MEMBER(unsigned char)
ROVK_ARRAY_MEMBER(short)
ROVK_ARRAY_MEMBER(unsigned short)
ROVK_ARRAY_MEMBER(int)
ROVK_ARRAY_MEMBER(unsigned int)
ROVK_ARRAY_MEMBER(long)
ROVK_ARRAY_MEMBER(unsigned long)
ROVK_ARRAY_MEMBER(float)
ROVK_ARRAY_MEMBER(double)
