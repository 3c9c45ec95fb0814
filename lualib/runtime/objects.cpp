// Making and reading wrapped objects. The order in every constructor here: what Lua may refuse comes
// first, native memory is taken last, so that a Lua error leaves nothing behind.
#include "objects.h"

#include <string.h>

#include "classes.h"

namespace {

// In the environment of a parent and of its children: the parent. A weak table would not do: a state that is being
// closed has all objects finalized, and a collection in a finalizer takes them out of weak tables, while children
// are still in use.
const char parent_key = 0;

// Pushes the environment that keeps the object at an index alive, or nil where it has none of that kind.
void push_keeping(lua_State* L, int index) {
  lua_getfenv(L, index);
  lua_pushlightuserdata(L, const_cast<char*>(&parent_key));
  lua_rawget(L, -2);
  const bool keeps = lua_isuserdata(L, -1);
  lua_pop(L, 1);
  if (keeps) return;
  lua_pop(L, 1);
  lua_pushnil(L);
}

swig_wrapped_object* push_plain(lua_State* L, swig_type_entry* type, uint32_t extent) {
  auto* const wrapped = static_cast<swig_wrapped_object*>(lua_newuserdata(L, sizeof(swig_wrapped_object)));
  *wrapped = {{type, 0, nullptr}, extent, SWIG_PLAIN, nullptr};
  return wrapped;
}

// Expects the metatable, or anything else where there is none, above the object.
void attach(lua_State* L) {
  if (lua_istable(L, -1)) {
    lua_setmetatable(L, -2);
  } else {
    lua_pop(L, 1);
  }
}

}  // namespace

swig_wrapped_object* swig_object_push_empty(lua_State* L, swig_type_entry* type, uint32_t extent) {
  swig_wrapped_object* const wrapped = push_plain(L, type, extent);
  if (!type->class_data) return wrapped;
  swig_class_metatable_push_here(L, type->class_data);
  attach(L);
  return wrapped;
}

void swig_object_new(lua_State* L, void* pointer, swig_type_entry* type, int own, uint32_t extent) {
  if (!pointer) {
    lua_pushnil(L);
    return;
  }
  swig_wrapped_object* const wrapped = push_plain(L, type, extent);
  swig_object_attach_metatable(L, type);
  wrapped->object.pointer = pointer;
  wrapped->object.own = own;
}

void SWIG_Lua_NewPackedObj(lua_State* L, const void* pointer, size_t size, swig_type_entry* type) {
  auto* const packed = static_cast<swig_packed_object*>(lua_newuserdata(L, sizeof(swig_packed_object) + size));
  packed->type = type;
  packed->own = 0;
  memcpy(packed + 1, pointer, size);
  swig_object_attach_metatable(L, type);
}

void swig_object_attach_metatable(lua_State* L, swig_type_entry* type) {
  if (!type->class_data) return;
  swig_class_metatable_push(L, type->class_data->name);
  attach(L);
}

swig_object* swig_object_at(lua_State* L, int index) {
  void* const block = lua_touserdata(L, index);
  // A light userdata has no length, a userdata of another library may be shorter.
  if (!block || lua_objlen(L, index) < sizeof(swig_object)) return nullptr;
  auto* const object = static_cast<swig_object*>(block);
  return swig_type_is_known(object->type) ? object : nullptr;
}

swig_wrapped_object* swig_wrapped_object_at(lua_State* L, int index) {
  swig_object* const object = swig_object_at(L, index);
  if (!object || lua_objlen(L, index) < sizeof(swig_wrapped_object)) return nullptr;
  auto* const wrapped = reinterpret_cast<swig_wrapped_object*>(object);
  return wrapped->kind >= SWIG_PLAIN && wrapped->kind <= SWIG_SPENT ? wrapped : nullptr;
}

void* swig_object_address(lua_State* L, int index, const swig_object* object) {
  const swig_wrapped_object* const wrapped = swig_wrapped_object_at(L, index);
  if (wrapped && wrapped->owner && !wrapped->owner->pointer) return nullptr;
  return object->pointer;
}

uint32_t swig_object_extent(lua_State* L, int index) {
  const swig_wrapped_object* const wrapped = swig_wrapped_object_at(L, index);
  return wrapped ? wrapped->extent : 0;
}

int SWIG_Lua_ConvertPtr(lua_State* L, int index, void** out, swig_type_entry* type, int flags) {
  if (lua_isnil(L, index)) {
    *out = nullptr;
    return 0;
  }
  swig_object* const object = swig_object_at(L, index);
  if (!object) return -1;
  if (flags & SWIG_POINTER_DISOWN) object->own = 0;
  void* const address = swig_object_address(L, index, object);
  if (!type) {
    *out = address;
    return 0;
  }
  const swig_cast_entry* const cast = swig_cast_find_by_type(object->type, type);
  if (!cast) return -1;
  int new_memory = 0;
  *out = swig_cast_apply(cast, address, &new_memory);
  return 0;
}

void* swig_must_get_pointer(lua_State* L, int index, swig_type_entry* type, int flags, int argument_number,
                            const char* function_name) {
  void* pointer = nullptr;
  if (SWIG_Lua_ConvertPtr(L, index, &pointer, type, flags) < 0) {
    const char* const wanted = swig_pretty_text(type);
    lua_pushfstring(L, "Error in %s, expected a %s at argument number %d\n", function_name, wanted, argument_number);
    lua_error(L);
  }
  return pointer;
}

void swig_object_keep_parent(lua_State* L, int parent) {
  const swig_object* const above = swig_object_at(L, parent);
  auto* const child = static_cast<swig_wrapped_object*>(lua_touserdata(L, -1));
  const swig_wrapped_object* const wrapped = swig_wrapped_object_at(L, parent);
  child->owner = wrapped && wrapped->owner ? wrapped->owner : above;
  // A record that no object frees needs nobody to hold it: a library's, or one that was disowned. One
  // that is gone already, freed by a finalizer while the child was made, is still asked for here.
  if (child->owner == above && !above->own && above->pointer) {
    child->owner = nullptr;
    return;
  }
  push_keeping(L, parent);
  if (lua_isnil(L, -1)) {
    lua_pop(L, 1);
    lua_createtable(L, 0, 1);
    lua_pushlightuserdata(L, const_cast<char*>(&parent_key));
    lua_pushvalue(L, parent);
    lua_rawset(L, -3);
    // The environment of an object of another module is that module's.
    if (wrapped) {
      lua_pushvalue(L, -1);
      lua_setfenv(L, parent);
    }
  }
  lua_setfenv(L, -2);
}

const char* swig_argument_type_name(lua_State* L, int index) {
  if (!lua_isuserdata(L, index)) return lua_typename(L, lua_type(L, index));
  const swig_object* const object = swig_object_at(L, index);
  if (!object || !object->pointer || !object->type->pretty) return "userdata (unknown type)";
  return object->type->pretty;
}

int swig_type(lua_State* L) {
  lua_pushstring(L, swig_argument_type_name(L, 1));
  return 1;
}

int swig_equals(lua_State* L) {
  if (!lua_isuserdata(L, 1) || !lua_isuserdata(L, 2)) return 0;
  const swig_object* const a = swig_object_at(L, 1);
  const swig_object* const b = swig_object_at(L, 2);
  lua_pushboolean(L, a && b && a->pointer && a->pointer == b->pointer);
  return 1;
}
