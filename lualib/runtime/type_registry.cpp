// Linking, searching and checking of type entries. With this module alone in a process the cast check
// comes down to comparing two pointers; the rest is for modules that share the ring.
#include "type_registry.h"

#include <pthread.h>
#include <string.h>

#include "tables.h"

namespace {

const char ring_key[] = "swig_runtime_data_type_pointer4";

swig_cast_entry* move_to_front(swig_cast_entry* cast, swig_type_entry* type) {
  if (cast == type->cast) return cast;
  cast->prev->next = cast->next;
  if (cast->next) cast->next->prev = cast->prev;
  cast->next = type->cast;
  cast->prev = nullptr;
  type->cast->prev = cast;
  type->cast = cast;
  return cast;
}

// Searches the other modules of the ring.
swig_type_entry* find_elsewhere(const char* name) {
  swig_module_entry* const self = &swig_this_module;
  return self->next == self ? nullptr : swig_module_find_mangled(self->next, self, name);
}

// Links the cast list of type number `index` into `type`, which is either the module's own entry or
// that of a module that came first.
void link_casts(swig_module_entry* self, unsigned index, swig_type_entry* type) {
  swig_type_entry* const own = self->initial_types[index];
  for (swig_cast_entry* cast = self->initial_casts[index]; cast->type; ++cast) {
    swig_type_entry* other = find_elsewhere(cast->type->name);
    if (other && type == own) {
      cast->type = other;
      other = nullptr;
    } else if (other && !swig_cast_find_by_name(other->name, type)) {
      other = nullptr;
    }
    if (other) continue;  // the type accepts it already
    if (type->cast) {
      type->cast->prev = cast;
      cast->next = type->cast;
    }
    type->cast = cast;
  }
}

bool stands_in_ring(const swig_module_entry* module, swig_module_entry* head) {
  swig_module_entry* walk = head;
  do {
    if (walk == module) return true;
    walk = walk->next;
  } while (walk != head);
  return false;
}

// Entries are the process's, and states may be opened on several threads at once.
pthread_mutex_t linking = PTHREAD_MUTEX_INITIALIZER;

// Under the lock. `head`: null when this module is the first in the state.
void link(swig_module_entry* head) {
  swig_module_entry* const self = &swig_this_module;
  const bool first = self->next == nullptr;
  if (first) {
    swig_build_entries();
    self->initial_types = swig_initial_types;
    self->initial_casts = swig_initial_casts;
    self->next = self;
  }
  if (head) {
    if (stands_in_ring(self, head)) return;
    self->next = head->next;
    head->next = self;
  }
  if (!first) return;
  for (unsigned i = 0; i < self->size; ++i) {
    swig_type_entry* const own = self->initial_types[i];
    swig_type_entry* type = find_elsewhere(own->name);
    if (!type) {
      type = own;
    } else if (own->class_data) {
      type->class_data = own->class_data;
    }
    link_casts(self, i, type);
    self->types[i] = type;
  }
  self->types[self->size] = nullptr;
}

void propagate() {
  static bool done = false;
  if (done) return;
  done = true;
  const swig_module_entry* const self = &swig_this_module;
  for (unsigned i = 0; i < self->size; ++i) {
    swig_type_entry* const type = self->types[i];
    if (!type->class_data) continue;
    for (swig_cast_entry* cast = type->cast; cast; cast = cast->next) {
      if (!cast->converter && cast->type && !cast->type->class_data) {
        swig_type_set_class_data(cast->type, type->class_data);
      }
    }
  }
}

}  // namespace

swig_module_entry swig_this_module = {swig_type_table, SWIG_TYPE_COUNT, nullptr, nullptr, nullptr, nullptr};

int swig_name_compare(const char* first1, const char* last1, const char* first2, const char* last2) {
  while (first1 != last1 && first2 != last2) {
    while (first1 != last1 && *first1 == ' ') ++first1;
    while (first2 != last2 && *first2 == ' ') ++first2;
    // A range that ended in blanks has nothing left to compare.
    if (first1 == last1 || first2 == last2) break;
    if (*first1 != *first2) {
      return static_cast<unsigned char>(*first1) > static_cast<unsigned char>(*first2) ? 1 : -1;
    }
    ++first1;
    ++first2;
  }
  return static_cast<int>((last1 - first1) - (last2 - first2));
}

int swig_name_list_matches(const char* list, const char* name) {
  const char* const name_end = name + strlen(name);
  while (*list) {
    const char* end = strchr(list, '|');
    if (!end) end = list + strlen(list);
    if (swig_name_compare(list, end, name, name_end) == 0) return 1;
    list = *end ? end + 1 : end;
  }
  return 0;
}

swig_cast_entry* swig_cast_find_by_name(const char* name, swig_type_entry* type) {
  if (!type) return nullptr;
  for (swig_cast_entry* cast = type->cast; cast; cast = cast->next) {
    if (strcmp(cast->type->name, name) == 0) return move_to_front(cast, type);
  }
  return nullptr;
}

swig_cast_entry* swig_cast_find_by_type(const swig_type_entry* from, swig_type_entry* type) {
  if (!type) return nullptr;
  for (swig_cast_entry* cast = type->cast; cast; cast = cast->next) {
    if (cast->type == from) return move_to_front(cast, type);
  }
  return nullptr;
}

void* swig_cast_apply(const swig_cast_entry* cast, void* pointer, int* new_memory) {
  return !cast || !cast->converter ? pointer : cast->converter(pointer, new_memory);
}

void swig_type_set_class_data(swig_type_entry* type, swig_class_entry* data) {
  type->class_data = data;
  for (swig_cast_entry* cast = type->cast; cast; cast = cast->next) {
    if (!cast->converter && !cast->type->class_data) swig_type_set_class_data(cast->type, data);
  }
}

swig_type_entry* swig_module_find_mangled(swig_module_entry* start, swig_module_entry* end, const char* name) {
  swig_module_entry* module = start;
  do {
    if (module->size != 0) {
      unsigned low = 0;
      unsigned high = module->size - 1;
      while (low <= high) {
        const unsigned middle = (low + high) / 2;
        swig_type_entry* const type = module->types[middle];
        if (!type || !type->name) break;
        const int order = strcmp(name, type->name);
        if (order == 0) return type;
        if (order > 0) {
          low = middle + 1;
        } else if (middle == 0) {
          break;
        } else {
          high = middle - 1;
        }
      }
    }
    module = module->next;
  } while (module != end);
  return nullptr;
}

swig_type_entry* swig_module_find_pretty(swig_module_entry* start, swig_module_entry* end, const char* name) {
  if (swig_type_entry* const type = swig_module_find_mangled(start, end, name)) return type;
  swig_module_entry* module = start;
  do {
    for (unsigned i = 0; i < module->size; ++i) {
      swig_type_entry* const type = module->types[i];
      if (type->pretty && swig_name_list_matches(type->pretty, name)) return type;
    }
    module = module->next;
  } while (module != end);
  return nullptr;
}

swig_module_entry* swig_module_head_get(lua_State* L) {
  lua_pushstring(L, ring_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
  void* const head = lua_islightuserdata(L, -1) ? lua_touserdata(L, -1) : nullptr;
  lua_pop(L, 1);
  return static_cast<swig_module_entry*>(head);
}

void swig_module_head_set(lua_State* L, swig_module_entry* module) {
  lua_pushstring(L, ring_key);
  lua_pushlightuserdata(L, module);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

void swig_module_link(lua_State* L) {
  swig_module_entry* const self = &swig_this_module;
  // All of Lua comes first: nothing may raise while the lock is held.
  swig_module_entry* const head = swig_module_head_get(L);
  if (!head) swig_module_head_set(L, self);
  pthread_mutex_lock(&linking);
  link(head);
  pthread_mutex_unlock(&linking);
}

void swig_module_propagate_class_data() {
  pthread_mutex_lock(&linking);
  propagate();
  pthread_mutex_unlock(&linking);
}

bool swig_type_is_known(const swig_type_entry* type) {
  const auto address = reinterpret_cast<uintptr_t>(type);
  const auto first = reinterpret_cast<uintptr_t>(swig_type_entries);
  const uintptr_t distance = address - first;
  if (distance < SWIG_TYPE_COUNT * sizeof(swig_type_entry)) return distance % sizeof(swig_type_entry) == 0;
  const swig_module_entry* module = swig_this_module.next;
  for (; module && module != &swig_this_module; module = module->next) {
    for (unsigned i = 0; i < module->size; ++i) {
      if (module->types[i] == type) return true;
    }
  }
  return false;
}
