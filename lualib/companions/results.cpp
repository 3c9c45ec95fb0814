#include "results.h"

#include <string.h>

extern "C" {
#include <rovk/transport.h>
}

#pragma weak rovk_transport_reason

int rovk_push_failure(lua_State* L, int32_t status, const char* text) {
  lua_pushnil(L);
  lua_pushstring(L, text);
  lua_pushnumber(L, status);
  return 3;
}

int rovk_push_unit_failure(lua_State* L, int32_t status) {
  const char* const reason = rovk_transport_reason ? rovk_transport_reason() : "";
  return rovk_push_failure(L, status, *reason ? reason : strerror(-status));
}

int rovk_push_done(lua_State* L, int32_t status) {
  if (status < 0) return rovk_push_unit_failure(L, status);
  lua_pushboolean(L, 1);
  return 1;
}
