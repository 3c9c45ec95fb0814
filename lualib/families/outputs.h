// Room for the values that a library gives back by pointer. Zeroed before the call, so that a value the
// library did not write reads as 0.
#pragma once

#include <string.h>

#include "bridge/values.h"
#include "runtime/numbers.h"

enum { ROVK_MAX_OUTPUTS = 12 };

union output_cell {
  uint8_t u8;
  uint16_t u16;
  uint32_t u32;
  rovk_version version;
  uint8_t bytes[22];
  uint16_t addresses[10];
  void* heap;  // an array that the library allocates
};

// Clears the cells and appends a pointer to each behind `arguments`.
inline void rovk_prepare_outputs(const command_row& row, output_cell* cells, native_value* arguments) {
  memset(cells, 0, row.value_count * sizeof *cells);
  for (unsigned i = 0; i < row.value_count; ++i) arguments[i].pointer = &cells[i];
}

// What a cell holds, as a value to push.
inline native_value rovk_output_value(const value_row& row, output_cell& cell) {
  native_value value = {};
  if (row.kind == VALUE_ARRAY) {
    value.pointer = &cell;
  } else if (row.kind == VALUE_VERSION) {
    value.version = cell.version;
  } else {
    value.u = row.width == 1 ? cell.u8 : row.width == 2 ? cell.u16 : cell.u32;
    if (row.kind == VALUE_SIGNED) value.i = swig_sign_extend(value.u, row.width);
  }
  return value;
}

inline void rovk_push_outputs(lua_State* L, const command_row& row, output_cell* cells) {
  for (unsigned i = 0; i < row.value_count; ++i) {
    const value_row& value = value_lists[row.values + i];
    rovk_push_value(L, value, rovk_output_value(value, cells[i]));
  }
}
