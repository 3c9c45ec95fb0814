// The run-time entries of the native pointer types that cross the Lua boundary, and the ring of
// modules that share them inside one Lua state. All of it is static data of this module or of others
// in the ring; nothing here is ever freed.
#pragma once

#include "lua_api.h"

struct swig_cast_entry;
struct swig_class_entry;

struct swig_type_entry {
  const char* name;    // mangled, unique
  const char* pretty;  // alternative names joined by bars, or null
  swig_type_entry* (*dynamic_cast_)(void** pointer);
  swig_cast_entry* cast;  // types that may stand in for this one; null until linked
  swig_class_entry* class_data;
  int owns_class_data;
};

// What failures show of a type. The entry of another module may have no text.
inline const char* swig_pretty_text(const swig_type_entry* type) {
  return type && type->pretty ? type->pretty : "void*";
}

using swig_converter = void* (*)(void* pointer, int* new_memory);

struct swig_cast_entry {
  swig_type_entry* type;  // null closes a static list
  swig_converter converter;
  swig_cast_entry* next;
  swig_cast_entry* prev;
};

struct swig_module_entry {
  swig_type_entry** types;  // ended by a null slot
  unsigned size;
  swig_module_entry* next;  // null: not initialised
  swig_type_entry** initial_types;
  swig_cast_entry** initial_casts;
  void* user_data;
};

extern swig_module_entry swig_this_module;
extern swig_type_entry swig_type_entries[];  // what swig_initial_types points at
enum { SWIG_TYPE_COUNT = 769 };

// 0 for names that differ in blanks at most.
int swig_name_compare(const char* first1, const char* last1, const char* first2, const char* last2);
// 1 if `name` is one of the alternatives that bars separate in `list`.
int swig_name_list_matches(const char* list, const char* name);

// Both move the entry that they find to the front of the type's list. Null: not accepted.
swig_cast_entry* swig_cast_find_by_name(const char* name, swig_type_entry* type);
swig_cast_entry* swig_cast_find_by_type(const swig_type_entry* from, swig_type_entry* type);
void* swig_cast_apply(const swig_cast_entry* cast, void* pointer, int* new_memory);

void swig_type_set_class_data(swig_type_entry* type, swig_class_entry* data);

// Search the modules from `start` on until `end` is next. Null: not found.
swig_type_entry* swig_module_find_mangled(swig_module_entry* start, swig_module_entry* end, const char* name);
swig_type_entry* swig_module_find_pretty(swig_module_entry* start, swig_module_entry* end, const char* name);

swig_module_entry* swig_module_head_get(lua_State* L);
void swig_module_head_set(lua_State* L, swig_module_entry* module);

// Run in this order at each open.
void swig_module_link(lua_State* L);
void swig_module_propagate_class_data();

// Whether a pointer is an entry of some module of the ring. Tells a wrapped object from a userdata
// that only looks like one.
bool swig_type_is_known(const swig_type_entry* type);
