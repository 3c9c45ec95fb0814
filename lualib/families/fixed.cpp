// The functions that no service owns and that need more than a plain call.
#include <rovk/message.h>
#include <rovk/trans.h>
#include <string.h>

#include "families.h"
#include "runtime/objects.h"
#include "runtime/wrapper.h"

namespace {

swig_type_entry* find_type(const char* name) {
  return swig_module_find_mangled(&swig_this_module, swig_this_module.next, name);
}

int run_log(lua_State*, const command_call& call) {
  const native_value* const in = call.arguments.values;
  rovk_log(in[0].pointer, in[1].i, static_cast<const char*>(in[2].pointer), static_cast<void*>(nullptr));
  return 0;
}

// Any object may be given as the error record. The library reads 22 bytes of it, so one that has fewer
// goes down as a copy with zeros behind.
int run_log_error(lua_State* L, const command_call& call) {
  const native_value* const in = call.arguments.values;
  uint8_t copy[ERROR_RECORD_SIZE] = {};
  const void* record = in[2].pointer;
  if (record) {
    const uint32_t extent = swig_object_extent(L, 3);
    if (extent < sizeof copy) {
      memcpy(copy, record, extent);
      record = copy;
    }
  }
  rovk_log_error(in[0].pointer, in[1].i, record);
  return 0;
}

int run_init(lua_State* L, const command_call& call) {
  const native_value* const in = call.arguments.values;
  // The object first: were it refused for want of memory, the context could never be closed.
  swig_wrapped_object* const wrapped = swig_object_push_empty(L, find_type("_p_void"));
  void* context = nullptr;
  const int32_t status = rovktrans_init(static_cast<const char*>(in[0].pointer), in[1].pointer, &context);
  lua_pushnumber(L, status);
  if (context) {
    wrapped->object.pointer = context;
    wrapped->object.own = 1;
    lua_pushvalue(L, -2);
  } else {
    lua_pushnil(L);
  }
  return 2;
}

int run_trans_log_message(lua_State*, const command_call& call) {
  const native_value* const in = call.arguments.values;
  rovktrans_log_message(in[0].pointer, in[1].i, static_cast<const char*>(in[2].pointer), static_cast<void*>(nullptr));
  return 0;
}

int run_find_peripheral(lua_State* L, const command_call& call) {
  const native_value* const in = call.arguments.values;
  uint16_t* const address = rovktrans_find_peripheral(in[0].pointer, static_cast<uint16_t>(in[1].u));
  swig_object_new(L, address, find_type("_p_unsigned_short"), 0, sizeof *address);
  return 1;
}

int run_find_device(lua_State* L, const command_call& call) {
  const native_value* const in = call.arguments.values;
  rovk_device_address* const device = rovktrans_find_device(in[0].pointer, static_cast<uint16_t>(in[1].u), in[2].u);
  swig_object_new(L, device, find_type("_p_rovk_device_address"), 0, sizeof *device);
  return 1;
}

}  // namespace

int rovk_run_fixed(lua_State* L, const command_call& call) {
  // In the order of the functions in the protocol file that need this.
  static const command_work functions[] = {
      run_log, run_log_error, run_init, run_trans_log_message, run_find_peripheral, run_find_device,
  };
  return functions[call.row.detail](L, call);
}
