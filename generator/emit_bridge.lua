-- The module's functions with native signatures: the bridges and decoders that it exports, and the
-- internal callbacks that it gives to librovktrans. Each only packs its arguments and calls the bridge.

local c_types = require("c_types")
local writer = require("writer")

local function names(parameters, from, to)
  local list = {}
  for position = from, to or #parameters do
    list[#list + 1] = parameters[position].name
  end
  return table.concat(list, ", ")
end

-- The values of a callback as an array of native values.
local function pack_values(parameters, from)
  local list = {}
  for position = from, #parameters - 1 do
    local parameter = parameters[position]
    local member = "u"
    if parameter.type == "struct rovk_version" then
      member = "version"
    elseif parameter.type:match("%*$") then
      member = "pointer"
    elseif parameter.type:match("^int") then
      member = "i"
    end
    list[#list + 1] = ("{.%s = %s}"):format(member, parameter.name)
  end
  return #list > 0 and ("const native_value values[] = {%s};"):format(table.concat(list, ", ")) or
    "const native_value* const values = nullptr;"
end

local function emit_internal(out, item, kind)
  local _, parameters = c_types.signature(item)
  local callback = (item.command or item.event).callback
  out:line("void %s(%s) {", item.name, c_types.spell(parameters))
  out:line("  (void)address;")
  if kind == "command" then
    out:line("  %s", pack_values(parameters, 4))
    out:line("  rovk_deliver_command(%d, context, error, values, user);", callback.row)
  else
    out:line("  %s", pack_values(parameters, 3))
    out:line("  rovk_deliver_event(%d, context, values, user);", callback.row)
  end
  out:line("}")
end

local function emit_async(out, item)
  local _, parameters = c_types.signature(item)
  local inputs = #parameters > 3 and ", " .. names(parameters, 4) or ""
  local base = ("rovktrans_%s_%s"):format(item.service.name, item.command.name)
  out:line("ROVK_EXPORT int32_t %s(%s) {", item.name, c_types.spell(parameters))
  out:line("  rovk_starting_command starting;")
  out:line("  swiglua_ref* const reference = rovk_start_command(starting, fn);")
  out:line("  if (!reference) return -1;")
  out:line("  return rovk_command_started(starting, %s_async(context, address, internal_%s_callback, reference%s));",
    base, base, inputs)
  out:line("}")
end

local function emit_subscription(out, item)
  local base = ("rovktrans_%s_%s"):format(item.service.name, item.event.name)
  local result, parameters = c_types.signature(item)
  local call, library = "rovk_subscribe", base .. "_register_callback"
  if item.family == "unregister" then
    call, library = "rovk_unsubscribe", base .. "_unregister_callback_with_context"
  end
  out:line("ROVK_EXPORT %s %s(%s) {", result, item.name, c_types.spell(parameters))
  out:line("  return %s(%s, reinterpret_cast<native_function>(internal_%s_event_callback),", call, names(parameters, 1),
    base)
  out:line("      reinterpret_cast<native_function>(%s));", library)
  out:line("}")
end

local function emit_header(model, path)
  local out = writer.new(path)
  out:line("#pragma once")
  out:line("")
  out:line("#include <rovk/bridge.h>")
  out:line("")
  for _, item in ipairs(model.functions) do
    if item.family == "internal_command" or item.family == "internal_event" then
      local _, parameters = c_types.signature(item)
      out:line("void %s(%s);", item.name, c_types.spell(parameters))
    end
  end
  out:close()
end

local function emit_public_header(model, path)
  local out = writer.new(path)
  out:line("#ifndef ROVK_BRIDGE_SERVICES_H")
  out:line("#define ROVK_BRIDGE_SERVICES_H")
  out:line("")
  out:line("#include <rovk/bridge.h>")
  out:line("#include <rovk/records.h>")
  out:line("")
  out:line("#ifdef __cplusplus")
  out:line('extern "C" {')
  out:line("#endif")
  out:line("")
  for _, service in ipairs(model.services) do
    out:line("void __process_rovktrans_%s_error(struct lua_State *L, const struct rovk_error_%s_error *error);",
      service.name, service.name)
  end
  for _, item in ipairs(model.functions) do
    if item.library == "bridge" and not item.family:match("^internal") then
      local result, parameters = c_types.signature(item)
      local glue = result:match("%*$") and "" or " "
      out:line("%s%s%s(%s);", result, glue, item.name, c_types.spell(parameters))
    end
  end
  out:line("")
  out:line("#ifdef __cplusplus")
  out:line("}")
  out:line("#endif")
  out:line("")
  out:line("#endif")
  out:close()
end

return function(model, folder)
  emit_public_header(model, folder .. "/include/rovk/bridge_services.h")
  emit_header(model, folder .. "/module_bridge.h")
  local out = writer.new(folder .. "/module_bridge.cpp")
  out:line('#include "module_bridge.h"')
  out:line("")
  out:line('#include "bridge/callbacks.h"')
  out:line('#include "bridge/values.h"')
  out:line("")
  out:line("#include <rovk/trans.h>")
  out:line("")
  for _, item in ipairs(model.functions) do
    if item.family == "internal_command" then
      emit_internal(out, item, "command")
    elseif item.family == "internal_event" then
      emit_internal(out, item, "event")
    end
  end
  for _, item in ipairs(model.functions) do
    if item.library == "bridge" and item.family == "status" then
      emit_async(out, item)
    elseif item.family == "register" or item.family == "unregister" then
      emit_subscription(out, item)
    end
  end
  for index, service in ipairs(model.services) do
    out:line("ROVK_EXPORT void __process_rovktrans_%s_error(lua_State* L, const struct rovk_error_%s_error* error) {",
      service.name, service.name)
    out:line("  rovk_decode_error(L, error, decoder_rows[%d]);", index - 1)
    out:line("}")
  end
  out:close()
end
