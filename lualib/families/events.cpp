// Subscriptions, and the script's way into the internal callbacks. A script can present any object as a
// handle, at any time; only the handle of a live subscription, used for what it was made for, goes down.
#include <string.h>

#include <atomic>

#include "bridge/callbacks.h"
#include "families.h"
#include "runtime/failures.h"
#include "runtime/objects.h"

namespace {

using unregister_function = int32_t (*)(void*, uint16_t, swiglua_ref*);

swig_type_entry* untyped_pointer() {
  // Found once; on several threads at once, each finds the same.
  static std::atomic<swig_type_entry*> found;
  swig_type_entry* type = found.load(std::memory_order_relaxed);
  if (!type) {
    type = swig_module_find_mangled(&swig_this_module, swig_this_module.next, "_p_void");
    found.store(type, std::memory_order_relaxed);
  }
  return type;
}

int fail_handle(lua_State* L, const command_call& call, int index, const char* got) {
  return swig_fail_argument(L, call.name(L), index, "live subscription handle", got);
}

// The handle at an index when it is a live one; raises otherwise.
swig_subscription_object* check_any_handle(lua_State* L, const command_call& call, int index) {
  swig_wrapped_object* const wrapped = swig_wrapped_object_at(L, index);
  // In a state that is being closed, they have ended.
  if (!wrapped || wrapped->kind != SWIG_SUBSCRIPTION || !rovk_references_are_open(L)) {
    const bool spent = wrapped && wrapped->kind != SWIG_PLAIN;
    fail_handle(L, call, index, spent ? "spent subscription handle" : swig_argument_type_name(L, index));
  }
  return reinterpret_cast<swig_subscription_object*>(wrapped);
}

// The handle at an index when it is a live one of the call's event; raises otherwise.
swig_subscription_object* check_handle(lua_State* L, const command_call& call, int index) {
  swig_subscription_object* const handle = check_any_handle(L, call, index);
  if (handle->event != call.row.detail) fail_handle(L, call, index, "handle of another event");
  return handle;
}

}  // namespace

int rovk_run_register(lua_State* L, const command_call& call) {
  using bridge_function = swiglua_ref* (*)(void*, uint16_t, SWIGLUA_FN);
  void* const context = call.arguments.values[0].pointer;
  const auto address = static_cast<uint16_t>(call.arguments.values[1].u);
  // The handle first: were it refused for want of memory, a subscription could never be ended.
  auto* const handle = static_cast<swig_subscription_object*>(lua_newuserdata(L, sizeof(swig_subscription_object)));
  *handle = {{{untyped_pointer(), 0, nullptr}, 0, SWIG_SPENT, nullptr}, context, address, call.row.detail};
  swiglua_ref* const reference = reinterpret_cast<bridge_function>(call.target())(context, address, {L, 3});
  if (reference) {
    // The function that unsubscribes stands behind the one that subscribes.
    rovk_keep_subscription(L, reference,
                           {context, address, reinterpret_cast<unregister_function>(command_targets[call.number + 1])});
    handle->wrapped.object.pointer = reference;
    handle->wrapped.kind = SWIG_SUBSCRIPTION;
  } else {
    lua_pushnil(L);
  }
  return 1;
}

int rovk_run_unregister(lua_State* L, const command_call& call) {
  void* const context = call.arguments.values[0].pointer;
  const auto address = static_cast<uint16_t>(call.arguments.values[1].u);
  swiglua_ref* reference = nullptr;
  if (!lua_isnil(L, 3)) {
    swig_subscription_object* const handle = check_handle(L, call, 3);
    // With another context or address the library would go on calling a reference that is freed here.
    if (handle->context != context || handle->address != address) {
      return swig_fail_argument(L, call.name(L), 3, "handle of this context and address", "handle of another");
    }
    reference = static_cast<swiglua_ref*>(handle->wrapped.object.pointer);
    handle->wrapped.kind = SWIG_SPENT;
    rovk_drop_subscription(reference);
  }
  lua_pushnumber(L, reinterpret_cast<unregister_function>(call.target())(context, address, reference));
  return 1;
}

int rovk_run_internal_command(lua_State* L, const command_call& call) {
  const int last = call.row.argument_count;
  // The callback reads the error record when it has pushed the values, and until then a finalizer of the
  // script may have freed it.
  uint8_t error[ERROR_RECORD_SIZE];
  native_value& record = call.arguments.values[2];
  if (record.pointer) {
    memcpy(error, record.pointer, sizeof error);
    record.pointer = error;
  }
  if (!lua_isnil(L, last)) {
    // A command's callback releases the reference it is given, but a subscription's is still the
    // library's. So the function moves to a reference of its own; the subscription's stays until the
    // script unsubscribes, empty, and events find nothing there to run.
    const swig_wrapped_object& handle = check_any_handle(L, call, last)->wrapped;
    auto* const reference = static_cast<swiglua_ref*>(handle.object.pointer);
    if (!reference->state) return fail_handle(L, call, last, "released subscription handle");
    lua_rawgeti(L, LUA_REGISTRYINDEX, reference->ref);
    swiglua_ref* const moved = buildCallbackRef({L, lua_gettop(L)});
    lua_pop(L, 1);
    if (!moved) return 0;
    // A finalizer that ran meanwhile may have unsubscribed.
    if (handle.kind == SWIG_SUBSCRIPTION) swiglua_ref_clear(reference);
    call.arguments.values[last - 1].pointer = moved;
  }
  swig_function_at<native_invoker>(invokers[call.row.invoker])(call.target(), call.arguments.values, L);
  return 0;
}

int rovk_run_internal_event(lua_State* L, const command_call& call) {
  const int last = call.row.argument_count;
  if (!lua_isnil(L, last)) check_handle(L, call, last);
  swig_function_at<native_invoker>(invokers[call.row.invoker])(call.target(), call.arguments.values, L);
  return 0;
}
