// Subscriptions, and the script's way into the internal callbacks. A script can present any object as a
// handle, at any time; only the handle of a live subscription, used for what it was made for, goes down.
#include "bridge/callbacks.h"
#include "families.h"
#include "runtime/objects.h"
#include "runtime/wrapper.h"

namespace {

swig_type_entry* untyped_pointer() {
  static swig_type_entry* type;
  if (!type) type = swig_module_find_mangled(&swig_this_module, swig_this_module.next, "_p_void");
  return type;
}

// The handle at an index when it is a live one of the call's event; raises otherwise.
swig_subscription_object* check_handle(lua_State* L, const command_call& call, int index) {
  swig_wrapped_object* const wrapped = swig_wrapped_object_at(L, index);
  const char* got = swig_argument_type_name(L, index);
  if (wrapped && wrapped->kind == SWIG_SPENT) got = "spent subscription handle";
  if (wrapped && wrapped->kind == SWIG_SUBSCRIPTION) {
    auto* const handle = reinterpret_cast<swig_subscription_object*>(wrapped);
    if (handle->event == call.row.detail) return handle;
    got = "handle of another event";
  }
  swig_fail_argument(L, call.name(), index, "live subscription handle", got);
  return nullptr;
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
    handle->wrapped.object.pointer = reference;
    handle->wrapped.kind = SWIG_SUBSCRIPTION;
  } else {
    lua_pushnil(L);
  }
  return 1;
}

int rovk_run_unregister(lua_State* L, const command_call& call) {
  using bridge_function = int32_t (*)(void*, uint16_t, swiglua_ref*);
  void* const context = call.arguments.values[0].pointer;
  const auto address = static_cast<uint16_t>(call.arguments.values[1].u);
  swiglua_ref* reference = nullptr;
  if (!lua_isnil(L, 3)) {
    swig_subscription_object* const handle = check_handle(L, call, 3);
    // With another context or address the library would go on calling a reference that is freed here.
    if (handle->context != context || handle->address != address) {
      return swig_fail_argument(L, call.name(), 3, "handle of this context and address", "handle of another");
    }
    reference = static_cast<swiglua_ref*>(handle->wrapped.object.pointer);
    handle->wrapped.kind = SWIG_SPENT;
  }
  lua_pushnumber(L, reinterpret_cast<bridge_function>(call.target())(context, address, reference));
  return 1;
}

int rovk_run_internal_command(lua_State* L, const command_call& call) {
  // The reference of a command under way is the library's alone: no object that a script can have
  // stands for one.
  const int last = call.row.argument_count;
  if (!lua_isnil(L, last)) {
    return swig_fail_argument(L, call.name(), last, "reference of a command", swig_argument_type_name(L, last));
  }
  invokers[call.row.invoker](call.target(), call.arguments.values, L);
  return 0;
}

int rovk_run_internal_event(lua_State* L, const command_call& call) {
  const int last = call.row.argument_count;
  if (!lua_isnil(L, last)) check_handle(L, call, last);
  invokers[call.row.invoker](call.target(), call.arguments.values, L);
  return 0;
}
