-- The generated half of the recording libraries of tests/recorder: for each function of a service a
-- stub that hands its arguments on as they came. For tests only.

local c_types = require("c_types")
local writer = require("writer")

local REGISTER = {
  uint8_t = "U8", uint16_t = "U16", uint32_t = "U32", int8_t = "I8", int16_t = "I16", int32_t = "I32",
}

-- C type and kind of an input, bytes behind it, and of how many bytes each number there is.
local function input(argument)
  if argument.kind == "number" then
    return REGISTER[c_types.number(argument)], "number", argument.width
  elseif argument.kind == "version" then
    return "rovk_version", "version", 2
  elseif argument.kind == "table" then
    return "const void*", "bytes", 22
  elseif argument.kind == "aliases" then
    return "const void*", "bytes", argument.count * 2, 2
  elseif argument.callback then
    return "void*", "function", 8
  elseif argument.kind == "opaque" then
    return "void*", "pointer", 8
  elseif argument.text == "struct rovk_message *" then
    return "void*", "message", 32
  end
  return "void*", "out", 22 -- the error record of retrieve_error
end

local function parameters_of(item)
  local _, spelled = c_types.signature(item)
  local list = {}
  local function add(type_text, kind, size, width)
    list[#list + 1] = { type = type_text, kind = kind, size = size, width = width or 1, name = spelled[#list + 1].name }
  end
  for position, argument in ipairs(item.arguments) do
    add(input(argument))
    if item.family == "blocking" and position == 2 then
      add("void*", "error_slot", 8)
    end
  end
  for _, result in ipairs(item.results) do
    local heap = result.kind == "array" and item.family == "blocking"
    add("void*", heap and "heap_slot" or "out", result.kind == "array" and result.count * result.width or result.width,
      result.kind ~= "version" and result.width)
  end
  return list
end

local function role_of(item)
  local _, _, ending = item.name:find("_([a-z]+_callback[a-z_]*)$")
  if item.family == "initialize" then
    return "build"
  elseif item.command and item.family == "status" then
    return "async"
  elseif ending == "register_callback" then
    return "subscribe"
  end
  return ending == "unregister_callback_with_context" and "unsubscribe" or "plain"
end

local function deliver_of(item, role)
  if role ~= "async" and role ~= "subscribe" then
    return "nullptr"
  end
  local values = {}
  local record = role == "async" and item.command.response or role == "subscribe" and item.event.event
  local parameters = c_types.callback_parameters(item.service, record or nil, role == "async")
  for position = role == "async" and 4 or 3, #parameters - 1 do
    values[#values + 1] = parameters[position].type
  end
  return ("Callback<%s>::%s"):format(table.concat(values, ", "), role == "async" and "command" or "event")
end

local function emit_function(out, item)
  local list, declared, rows, arguments = parameters_of(item), {}, {}, {}
  for position, parameter in ipairs(list) do
    declared[position] = parameter.type .. " " .. parameter.name
    rows[position] = ('{"%s", Kind::%s, %d, %d}'):format(parameter.name, parameter.kind, parameter.size,
      parameter.width)
    arguments[position] = ("bits(%s)"):format(parameter.name)
  end
  local role = role_of(item)
  out:line("")
  out:line("RECORDED int32_t %s(%s) {", item.name, table.concat(declared, ", "))
  out:line("  static constexpr Parameter parameters[] = {%s};", table.concat(rows, ", "))
  out:line('  static constexpr Function function{"%s", Role::%s, parameters, %d, %s};', item.name, role, #list,
    deliver_of(item, role))
  out:line("  const uint64_t arguments[] = {%s};", table.concat(arguments, ", "))
  out:line("  return record(function, arguments);")
  out:line("}")
end

return function(model, path)
  local out = writer.new(path)
  out:line('#include "recorder.h"')
  out:line("")
  out:line("using namespace recorder;")
  for _, item in ipairs(model.functions) do
    if item.service and (item.library == "message" or item.library == "trans") then
      emit_function(out, item)
    end
  end
  out:line("")
  for position, variable in ipairs(model.variables) do
    out:line("RECORDED struct rovk_version %s;", variable.name)
    out:line("struct rovk_version %s = {%d, %d};", variable.name, 255 - position, 128 + position)
  end
  out:close()
end
