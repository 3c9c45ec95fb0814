// Recognises a context by its type entry, as rovk_message itself does.
#include "context.h"

#include <string.h>

#include "runtime/objects.h"

namespace {

const swig_type_entry* find_untyped_pointer(const swig_module_entry* head) {
  const swig_module_entry* module = head;
  do {
    for (unsigned i = 0; i < module->size; ++i) {
      if (strcmp(module->types[i]->name, "_p_void") == 0) return module->types[i];
    }
    module = module->next;
  } while (module != head);
  return nullptr;
}

// The entry found last. The ring and its entries stay as long as the process.
ROVK_EARLY_THREAD_LOCAL thread_local const swig_type_entry* found = nullptr;

// The entry of `void *`, or null when rovk_message was never opened in this state.
const swig_type_entry* untyped_pointer(lua_State* L) {
  lua_pushliteral(L, "swig_runtime_data_type_pointer4");
  lua_rawget(L, LUA_REGISTRYINDEX);
  const auto* const head = static_cast<const swig_module_entry*>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  if (!head) return nullptr;
  // The search goes over all names, once.
  ROVK_EARLY_THREAD_LOCAL static thread_local const swig_module_entry* searched_head = nullptr;
  if (head != searched_head) {
    found = find_untyped_pointer(head);
    searched_head = head;
  }
  return found;
}

}  // namespace

void* rovk_check_context(lua_State* L, int index) {
  const auto* const object = static_cast<const swig_object*>(lua_touserdata(L, index));
  const bool is_wide = object && lua_objlen(L, index) >= sizeof(swig_object) && object->type;
  if (!is_wide || (object->type != found && object->type != untyped_pointer(L)))
    luaL_typerror(L, index, "transaction context");
  return object->pointer;
}
