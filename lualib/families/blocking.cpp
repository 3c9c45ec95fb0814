// Blocking commands. What the library allocated is copied and freed as soon as the call is over: behind
// that, pushing results may raise for want of memory and still nothing is lost.
#include <stdlib.h>

#include "families.h"
#include "outputs.h"

namespace {

enum { MAX_NATIVE = SWIG_MAX_ARGUMENTS + 1 + ROVK_MAX_OUTPUTS };

// Moves a heap array into its cell. False: the library left none.
bool take_array(const value_row& row, output_cell& cell) {
  void* const array = cell.heap;
  if (!array) return false;
  memcpy(&cell, array, static_cast<size_t>(row.count) * row.width);
  free(array);
  return true;
}

}  // namespace

int rovk_run_blocking(lua_State* L, const command_call& call) {
  const command_row& row = call.row;
  native_value arguments[MAX_NATIVE];
  output_cell cells[ROVK_MAX_OUTPUTS];
  void* error = nullptr;
  // Context, address, error slot, inputs, value slots.
  unsigned count = 0;
  arguments[count++] = call.arguments.values[0];
  arguments[count++] = call.arguments.values[1];
  arguments[count++].pointer = &error;
  for (unsigned i = 2; i < row.argument_count; ++i) arguments[count++] = call.arguments.values[i];
  rovk_prepare_outputs(row, cells, arguments + count);

  const int32_t status = swig_function_at<native_invoker>(invokers[row.invoker])(call.target(), arguments, L);

  uint8_t record[ERROR_RECORD_SIZE];
  const bool has_record = error != nullptr;
  if (has_record) memcpy(record, error, sizeof record);
  free(error);
  const value_row* const values = value_lists + row.values;
  bool present[ROVK_MAX_OUTPUTS];
  for (unsigned i = 0; i < row.value_count; ++i)
    present[i] = values[i].kind != VALUE_ARRAY || take_array(values[i], cells[i]);

  lua_pushnumber(L, status);
  rovk_push_error_table(L, has_record ? record : nullptr, decoder_rows[row.detail]);
  for (unsigned i = 0; i < row.value_count; ++i) {
    native_value value = {};
    if (present[i]) value = rovk_output_value(values[i], cells[i]);
    rovk_push_value(L, values[i], value);
  }
  return 2 + row.value_count;
}
