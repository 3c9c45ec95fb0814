// The dispatcher: takes the arguments of a command and hands them to its family.
#include "families.h"
#include "runtime/wrapper.h"

int swig_run_command(lua_State* L, unsigned number) {
  static const command_work families[] = {
      rovk_run_plain,    rovk_run_status,     rovk_run_retrieve,         rovk_run_retrieve_status, rovk_run_blocking,
      rovk_run_register, rovk_run_unregister, rovk_run_internal_command, rovk_run_internal_event,  rovk_run_fixed,
  };
  const command_row& row = command_rows[number];
  argument_buffer arguments;
  swig_take_arguments(L, row, arguments);
  return families[row.family](L, {number, row, arguments});
}
