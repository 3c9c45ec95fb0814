// One place for each text, so that all wrappers fail alike.
#include "failures.h"

namespace {

[[noreturn]] void raise(lua_State* L) {
  lua_error(L);
  __builtin_unreachable();
}

}  // namespace

int swig_fail_count(lua_State* L, const char* name, int wanted, int given) {
  lua_pushfstring(L, "Error in %s expected %d..%d args, got %d", name, wanted, wanted, given);
  raise(L);
}

int swig_fail_argument(lua_State* L, const char* name, int argument, const char* expected, const char* got) {
  lua_pushfstring(L, "Error in %s (arg %d), expected '%s' got '%s'", name, argument, expected, got);
  raise(L);
}
