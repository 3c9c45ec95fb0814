-- The typed functions of librovktrans. Each gathers its arguments in the order of the catalogue and
-- calls what stands in lib/trans/calls.h; beside each command and event stands the function that calls
-- back, since it alone knows the callback's type.

local c_types = require("c_types")
local writer = require("writer")

local function value_expression(field, place)
  if field.kind == "record" then
    return ("values[%d].version"):format(place)
  elseif field.element == "rovk_address" then
    return ("values[%d].addresses"):format(place)
  elseif field.kind == "array" then
    return ("values[%d].bytes"):format(place)
  end
  return ("static_cast<%s>(values[%d].number)"):format(c_types.number(field), place)
end

-- `error_type`: the record type of a command's errors; none for an event.
local function emit_caller(out, name, callback, record, error_type)
  local arguments = { "context", "address" }
  if error_type then
    arguments[#arguments + 1] = ("static_cast<%s*>(error)"):format(error_type)
  end
  local values = record and record.values or {}
  for place, field in ipairs(values) do
    arguments[#arguments + 1] = value_expression(field, place - 1)
  end
  arguments[#arguments + 1] = "user"
  out:line("void call_%s(Function function, void* context, uint16_t address, void*%s, const Value*%s, void* user) {",
    name, error_type and " error" or "", #values > 0 and " values" or "")
  out:line("  reinterpret_cast<%s>(function)(%s);", callback, table.concat(arguments, ", "))
  out:line("}")
end

-- Gives the expression of a list of pointers, after the line that declares it.
local function emit_list(out, type_text, name, expressions)
  if #expressions == 0 then
    return "nullptr"
  end
  out:line("  %s const %s[] = {%s};", type_text, name, table.concat(expressions, ", "))
  return name
end

local function input_expressions(parameters, first, last)
  local list = {}
  for position = first, last do
    local parameter = parameters[position]
    list[#list + 1] = (parameter.type:match("%*$") and "" or "&") .. parameter.name
  end
  return list
end

local function output_expressions(parameters, first)
  local list = {}
  for position = first, #parameters do
    list[#list + 1] = parameters[position].name
  end
  return list
end

local function emit_function(out, item, places)
  local result, parameters = c_types.signature(item)
  local key = item.command and places[item.command] or item.event and places[item.event]
  out:line("%s %s(%s) {", result, item.name, c_types.spell(parameters))
  if item.family == "blocking" then
    -- context, address and error stand in front of the inputs
    local inputs = #item.arguments - 2
    local input_list = emit_list(out, "const void*", "inputs_", input_expressions(parameters, 4, 3 + inputs))
    local output_list = emit_list(out, "void*", "outputs_", output_expressions(parameters, 4 + inputs))
    out:line("  return run_command(%s, context, address, error, %s, %s);", key, input_list, output_list)
  elseif item.command then
    local input_list = emit_list(out, "const void*", "inputs_", input_expressions(parameters, 5, #parameters))
    out:line("  return start_command(%s, context, address, {reinterpret_cast<Function>(callback), call_%s}, user, %s);",
      key, item.command.callback.name, input_list)
  elseif not item.event then
    out:line("  return subscribe_default(%d, context, address);", places[item.service])
  elseif item.name:match("_unregister_callback$") then
    out:line("  return unsubscribe(%s, context, address, reinterpret_cast<Function>(callback));", key)
  elseif item.name:match("_unregister_callback_with_context$") then
    out:line("  return unsubscribe(%s, context, address, reinterpret_cast<Function>(callback), user);", key)
  else
    out:line("  return subscribe(%s, context, address, {reinterpret_cast<Function>(callback), call_%s}, user);", key,
      item.event.callback.name)
  end
  out:line("}")
  out:line("")
end

return function(model, path)
  local out = writer.new(path)
  out:line("#pragma GCC visibility push(default)")
  out:line("#include <rovk/trans_services.h>")
  out:line("#pragma GCC visibility pop")
  out:line("")
  out:line('#include "trans/calls.h"')
  out:line("")
  out:line("namespace {")
  out:line("")
  out:line("using namespace rovk::trans;")
  out:line("")
  local places = {}
  for index, service in ipairs(model.services) do
    places[service] = index - 1
    local error_type = ("rovk_error_%s_error"):format(service.name)
    for place, command in ipairs(service.commands) do
      places[command] = ("{%d, %d}"):format(index - 1, place - 1)
      emit_caller(out, command.callback.name, command.callback.name, command.response, error_type)
    end
    for place, event in ipairs(service.events) do
      places[event] = ("{%d, %d}"):format(index - 1, place - 1)
      emit_caller(out, event.callback.name, event.callback.name, event.event)
    end
  end
  out:line("")
  out:line("}  // namespace")
  out:line("")
  for _, item in ipairs(model.functions) do
    if item.library == "trans" and item.service then
      emit_function(out, item, places)
    end
  end
  out:close()
end
