// Wrapped objects: how a native record or pointer reaches a script as a full userdata, and how it is
// turned back. A script may hand over any userdata and may call any metatable function with it, so
// nothing here reads outside a block before it knows whose it is.
#pragma once

#include <stdint.h>

#include "lua_api.h"
#include "tables.h"
#include "type_registry.h"

// What modules of one ring agree on.
struct swig_object {
  swig_type_entry* type;
  int own;  // non-zero: the native memory is freed with the object
  // Null only in an object whose record was freed by a direct call of its finalizer.
  void* pointer;
};

// What this module keeps behind the shared part. An object of another module ends before it.
struct swig_wrapped_object {
  swig_object object;
  uint32_t extent;           // bytes that may be reached through the pointer; 0: an opaque pointer
  uint32_t kind;             // enum swig_object_kind
  const swig_object* owner;  // the object whose record this one points into, or null
};

// Numbers that no other library's block is likely to hold at that place.
enum swig_object_kind : uint32_t { SWIG_PLAIN = 0x6b766f72, SWIG_SUBSCRIPTION, SWIG_SPENT };

// The handle of a subscription knows what it is for, so that it can be used for nothing else.
struct swig_subscription_object {
  swig_wrapped_object wrapped;
  void* context;
  uint16_t address;
  uint8_t event;  // the same number in the rows of all functions of one event
};

struct swig_packed_object {
  swig_type_entry* type;
  int own;
  // the bytes follow
};

enum { SWIG_POINTER_DISOWN = 1 };

// Pushes a new object, or nil for a null pointer. `extent` as above. Raises when memory runs out;
// the native memory is then still the caller's.
void swig_object_new(lua_State* L, void* pointer, swig_type_entry* type, int own, uint32_t extent = 0);
// Inside a function of the module: pushes an object that has no pointer yet and owns nothing, so that what
// can fail is over before the native side is asked. The caller fills it, or drops it.
swig_wrapped_object* swig_object_push_empty(lua_State* L, swig_type_entry* type, uint32_t extent = 0);
void SWIG_Lua_NewPackedObj(lua_State* L, const void* pointer, size_t size, swig_type_entry* type);
void swig_object_attach_metatable(lua_State* L, swig_type_entry* type);

// The object at an index, or null for anything that is no wrapped object.
swig_object* swig_object_at(lua_State* L, int index);
// The part behind the shared one, or null for an object of another module.
swig_wrapped_object* swig_wrapped_object_at(lua_State* L, int index);
// The native address, null once the record behind it is gone.
void* swig_object_address(lua_State* L, int index, const swig_object* object);
// The address behind an object of this module that has just the wanted type and a record that lives: all
// there is to see in nearly every call. Null: anything else, which SWIG_Lua_ConvertPtr tells apart.
inline void* swig_exact_pointer(lua_State* L, int index, const swig_type_entry* type) {
  const auto* const wrapped = static_cast<const swig_wrapped_object*>(lua_touserdata(L, index));
  if (!wrapped || lua_objlen(L, index) != sizeof(swig_wrapped_object)) return nullptr;
  if (wrapped->object.type != type) return nullptr;
  if (wrapped->owner && !wrapped->owner->pointer) return nullptr;
  return wrapped->object.pointer;
}

// Bytes that may be reached through the object at an index: the size of a class's record, the extent of
// another pointer. 0: unknown.
uint32_t swig_object_extent(lua_State* L, int index);

// 0 and the native pointer in `out`, or -1 with `out` untouched. A null type accepts any object.
int SWIG_Lua_ConvertPtr(lua_State* L, int index, void** out, swig_type_entry* type, int flags);
// The native pointer, or a Lua error.
void* swig_must_get_pointer(lua_State* L, int index, swig_type_entry* type, int flags, int argument_number,
                            const char* function_name);

// Ties the life of the object at index `parent` to that of the one on top of the stack.
void swig_object_keep_parent(lua_State* L, int parent);

// The text of the got part of a message.
const char* swig_argument_type_name(lua_State* L, int index);

int swig_type(lua_State* L);
int swig_equals(lua_State* L);
