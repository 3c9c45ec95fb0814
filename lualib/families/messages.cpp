// Families whose native call takes the script's arguments as they are, with room for values behind.
#include "families.h"
#include "outputs.h"

namespace {

int32_t call_native(lua_State* L, const command_call& call, const native_value* arguments) {
  return swig_function_at<native_invoker>(invokers[call.row.invoker])(call.target(), arguments, L);
}

int retrieve(lua_State* L, const command_call& call, bool with_status) {
  native_value arguments[1 + ROVK_MAX_OUTPUTS];
  output_cell cells[ROVK_MAX_OUTPUTS];
  arguments[0] = call.arguments.values[0];
  rovk_prepare_outputs(call.row, cells, arguments + 1);
  const int32_t status = call_native(L, call, arguments);
  if (with_status) lua_pushnumber(L, status);
  rovk_push_outputs(L, call.row, cells);
  return call.row.value_count + with_status;
}

}  // namespace

int rovk_run_plain(lua_State* L, const command_call& call) {
  call_native(L, call, call.arguments.values);
  return 0;
}

int rovk_run_status(lua_State* L, const command_call& call) {
  lua_pushnumber(L, call_native(L, call, call.arguments.values));
  return 1;
}

int rovk_run_retrieve(lua_State* L, const command_call& call) { return retrieve(L, call, false); }

int rovk_run_retrieve_status(lua_State* L, const command_call& call) { return retrieve(L, call, true); }
