// See CMakeLists.txt. The layout of a wrapped object is part of what the module promises to modules
// that share its types, so it is written down here a second time on purpose.
#include <dlfcn.h>
#include <poll.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <lua.hpp>

namespace {

struct Object {
  const char* const* type;  // first member of a type entry: its mangled name
  int own;
  void* pointer;
};

void* pointer_at(lua_State* L, int index) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(luaL_checknumber(L, index)));
}

const Object& object_at(lua_State* L, int index) {
  luaL_argcheck(L, lua_isuserdata(L, index) && lua_objlen(L, index) >= sizeof(Object), index, "a wrapped object");
  return *static_cast<const Object*>(lua_touserdata(L, index));
}

// probe.bytes(object, count): the bytes behind the object, or behind an address.
int bytes(lua_State* L) {
  const void* block = lua_isnumber(L, 1) ? pointer_at(L, 1) : object_at(L, 1).pointer;
  lua_pushlstring(L, static_cast<const char*>(block), static_cast<size_t>(luaL_checkinteger(L, 2)));
  return 1;
}

// probe.native(number, width): the bytes of an unsigned number as this processor keeps it.
int native(lua_State* L) {
  const auto width = static_cast<size_t>(luaL_checkinteger(L, 2));
  const auto number = static_cast<uint64_t>(luaL_checknumber(L, 1));
  const auto* bytes = reinterpret_cast<const char*>(&number);
  lua_pushlstring(L, std::endian::native == std::endian::little ? bytes : bytes + sizeof number - width, width);
  return 1;
}

// probe.free(address): frees a record that no object owns any more.
int free_block(lua_State* L) {
  std::free(pointer_at(L, 1));
  return 0;
}

// probe.object(object): type name, own, address of the native block, address of the userdata.
int object(lua_State* L) {
  const Object& wrapped = object_at(L, 1);
  lua_pushstring(L, *wrapped.type);
  lua_pushboolean(L, wrapped.own);
  lua_pushnumber(L, static_cast<double>(reinterpret_cast<uintptr_t>(wrapped.pointer)));
  lua_pushnumber(L, static_cast<double>(reinterpret_cast<uintptr_t>(&wrapped)));
  return 4;
}

// probe.readable(fd, ms): is the descriptor readable within the time?
int readable(lua_State* L) {
  pollfd descriptor = {static_cast<int>(luaL_checkinteger(L, 1)), POLLIN, 0};
  lua_pushboolean(L, poll(&descriptor, 1, static_cast<int>(luaL_checkinteger(L, 2))) == 1);
  return 1;
}

// probe.light(): a light userdata.
int light(lua_State* L) {
  static int target;
  lua_pushlightuserdata(L, &target);
  return 1;
}

// probe.run(text): runs the text in a fresh Lua state and gives its first result as a string.
int run(lua_State* L) {
  const char* text = luaL_checkstring(L, 1);
  lua_State* other = luaL_newstate();
  if (!other) {
    return luaL_error(L, "no second state");
  }
  luaL_openlibs(other);
  const bool failed = luaL_loadstring(other, text) != 0 || lua_pcall(other, 0, 1, 0) != 0;
  const char* result = lua_tostring(other, -1);
  lua_pushstring(L, result ? result : "no text");
  lua_close(other);
  return failed ? lua_error(L) : 1;
}

// An allocator that gives so many blocks and no more.
struct Budget {
  bool limited = false;
  size_t left = 0;
  bool refused = false;
};

void* allocate(void* data, void* block, size_t old_size, size_t new_size) {
  auto& budget = *static_cast<Budget*>(data);
  if (new_size == 0) {
    std::free(block);
    return nullptr;
  }
  if (budget.limited && new_size > old_size) {
    if (budget.left == 0) {
      budget.refused = true;
      return nullptr;
    }
    --budget.left;
  }
  return std::realloc(block, new_size);
}

// probe.starve(text, step): runs the text in a fresh state; it gives two functions. The first is called
// with no memory left, then with `step` more blocks each time until it misses none; the second, with all
// memory, after each. Gives how often that was. nil: this Lua takes no allocator.
int starve(lua_State* L) {
  Budget budget;
  lua_State* other = lua_newstate(allocate, &budget);
  if (!other) {
    lua_pushnil(L);
    return 1;
  }
  luaL_openlibs(other);
  bool failed = luaL_loadstring(other, luaL_checkstring(L, 1)) != 0 || lua_pcall(other, 0, 2, 0) != 0;
  const auto step = static_cast<size_t>(luaL_optinteger(L, 2, 1));
  size_t turns = 0;
  for (bool done = false; !failed && !done; ++turns) {
    lua_pushvalue(other, 1);
    budget = {true, turns * step};
    const int result = lua_pcall(other, 0, 0, 0);
    budget.limited = false;
    done = !budget.refused;
    failed = result != 0 && result != LUA_ERRMEM;
    if (!failed) {
      lua_settop(other, 2);
      lua_pushvalue(other, 2);
      failed = lua_pcall(other, 0, 0, 0) != 0;
    }
  }
  if (failed) {
    lua_pushfstring(L, "in turn %d: %s", static_cast<int>(turns), lua_tostring(other, -1));
  } else {
    lua_pushnumber(L, static_cast<double>(turns));
  }
  lua_close(other);
  return failed ? lua_error(L) : 1;
}

// probe.embed(path, text): what the module at the path runs when it is opened. The text stays.
int embed(lua_State* L) {
  void* library = dlopen(luaL_checkstring(L, 1), RTLD_NOW);
  auto** slot = library ? static_cast<const char**>(dlsym(library, "luaopen_rovk_message_luacode")) : nullptr;
  if (!slot) {
    return luaL_error(L, "%s", dlerror());
  }
  lua_pushstring(L, *slot);
  lua_pushvalue(L, 2);
  lua_setfield(L, LUA_REGISTRYINDEX, "probe text");
  *slot = luaL_checkstring(L, 2);
  return 1;
}

}  // namespace

// Preloaded, this takes the place of the module's own: it leaves a global in the state that opens it.
extern "C" __attribute__((visibility("default"))) int luaopen_rovk_message_user(lua_State* L) {
  lua_pushboolean(L, 1);
  lua_setglobal(L, "opened_by_probe");
  return 0;
}

extern "C" __attribute__((visibility("default"))) int luaopen_probe(lua_State* L) {
  static const luaL_Reg functions[] = {
      {"bytes", bytes}, {"native", native}, {"free", free_block}, {"starve", starve},     {"object", object},
      {"light", light}, {"run", run},       {"embed", embed},     {"readable", readable}, {nullptr, nullptr}};
  lua_newtable(L);
  luaL_register(L, nullptr, functions);
  return 1;
}
