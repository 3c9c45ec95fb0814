-- Annotations for the Lua language server, a file a service: the functions, classes and constants of rovk_message,
-- and the devices and peripherals of the companion. What belongs to no service stands in generator/annotations/,
-- written by hand.

local catalogue = require("rovk_catalogue")
local reference = require("rovk.reference")
local writer = require("writer")

local WORDS = {}
for word in ([[and break do else elseif end false for function if in local nil not or repeat return then true until
  while]]):gmatch("%a+") do
  WORDS[word] = true
end

-- More named values than this are not spelt out in a type.
local SPELT_OUT = 24

local function comment(out, text)
  if text and text ~= "" then
    out:line("---%s", text)
  end
end

-- What is said of a field beside its type.
local function told(field)
  local known = reference.named_values(field, 8)
  return ("%s, %s.%s%s"):format(field.type, reference.limits(field), field.doc and " " .. field.doc or "",
    known ~= "" and " Values: " .. known .. "." or "")
end

local function value_type(field)
  return field.kind == "record" and "rovk.version" or field.kind == "number" and "integer" or "integer[]"
end

-- The companion takes a byte list as a text too, and a named number by its name.
local function input_type(field)
  if field.kind ~= "number" then
    return "integer[]|string"
  elseif not field.values then
    return "integer"
  elseif #field.values > SPELT_OUT then
    return "integer|string"
  end
  local parts = { "integer" }
  for place, item in ipairs(field.values) do
    parts[place + 1] = ("%q"):format(item.name)
  end
  return table.concat(parts, "|")
end

-- rovk_message ---------------------------------------------------------------------------------------

-- How an argument is called that no field gives a name, by its place in its family.
local UNNAMED = { number = "address", fn = "callback", version = "version", text = "text", table = "bytes" }

local function argument_name(item, argument, place)
  if argument.name then
    return argument.name
  elseif argument.kind == "opaque" then
    return place == 1 and "context" or item.family == "unregister" and "handle" or "callback_context"
  elseif argument.kind == "pointer" then
    return argument.callback and "callback" or argument.text:match("error") and "error_record"
      or place == 1 and "message" or "command_message"
  elseif argument.text == "rovk_log_priority" then
    return "priority"
  elseif argument.text:match("_id$") or argument.text:match("_type$") or argument.text:match("opcode$") then
    return argument.text:match("([%l]+_?[%l]*)$")
  end
  return UNNAMED[argument.kind] or "value"
end

local function result_type(value)
  return value.kind == "version" and "rovk.version" or value.kind == "array" and "integer[]" or "integer"
end

-- The function that a script gives: the values, and after a command the error table.
local function callback_type(item)
  local parts = {}
  for place, value in ipairs((item.command or item.event).callback.values) do
    parts[place] = ("%s: %s"):format(WORDS[value.name] and value.name .. "_" or value.name, result_type(value))
  end
  if item.command then
    parts[#parts + 1] = "errors: rovk.error_table"
  end
  return ("fun(%s)"):format(table.concat(parts, ", "))
end

local function argument_type(item, argument)
  if argument.kind == "number" or argument.kind == "aliases" then
    return "integer"
  elseif argument.kind == "opaque" then
    return "userdata?"
  elseif argument.kind == "fn" then
    return callback_type(item)
  elseif argument.kind == "text" then
    return "string?"
  elseif argument.kind == "table" then
    return "integer[]"
  elseif argument.kind == "version" then
    return "rovk_version"
  end
  return argument.callback and "nil" or (argument.text:match("([%w_]+) %*$") or "userdata") .. "?"
end

-- What a function of each family does, beside what its command, event or error is.
local FAMILIES = {
  blocking = "Blocks until the answer is there.", initialize = "Composes the message.", retrieve = "Reads the message.",
  retrieve_status = "Reads the response.", register = "Calls the function for every such event, until unregistered.",
  unregister = "Ends a subscription; its handle is spent.",
  internal_command = "What the library calls with an answer.", internal_event = "What the library calls with an event.",
  status = "Gives a status at once.",
}

local LEADING = {
  blocking = { { "integer", "status" }, { "rovk.error_table", "errors" } }, status = { { "integer", "status" } },
  retrieve_status = { { "integer", "status" } }, register = { { "userdata?", "handle" } },
  unregister = { { "integer", "status" } },
}

local function results_of(item)
  local list = {}
  for _, result in ipairs(LEADING[item.family] or {}) do
    list[#list + 1] = result
  end
  for _, result in ipairs(item.fixed or {}) do
    list[#list + 1] = result == "status" and { "integer", result } or result == "context" and { "userdata?", result }
      or { (result:match("^rovk_device_address") or "userdata") .. "?", "found" }
  end
  for _, value in ipairs(item.results) do
    list[#list + 1] = { result_type(value), value.name }
  end
  return list
end

local function emit_function(out, item, fields)
  local owner = item.command or item.event or item.error
  comment(out, item.doc or owner and owner.doc)
  comment(out, item.name:match("_async_lua$") and "Gives a status; later the function gets values, then the errors."
    or item.name:match("_default_callbacks$") and "Has the events of the peripheral logged." or FAMILIES[item.family])
  local taken, list = {}, {}
  for place, argument in ipairs(item.arguments) do
    local name = argument_name(item, argument, place)
    name = (WORDS[name] or taken[name]) and name .. "_" or name
    taken[name], list[place] = true, name
    local field = argument.name and fields[argument.name]
    out:line("---@param %s %s%s", name, argument_type(item, argument), field and " " .. told(field) or "")
  end
  for _, result in ipairs(results_of(item)) do
    local field = fields[result[2]]
    out:line("---@return %s %s%s", result[1], result[2], field and " # " .. told(field) or "")
  end
  out:line("function rovk_message.%s(%s) end", item.name, table.concat(list, ", "))
  out:line("")
end

-- The fields that a function's arguments and results are named after.
local function fields_of(item, entry)
  local fields = {}
  for _, list in ipairs { entry and entry.values or {}, entry and entry.inputs or {} } do
    for _, field in ipairs(list) do
      fields[field.name] = field
    end
  end
  return item.family:match("^internal") and {} or fields
end

local ATTRIBUTES = { number = "integer", text = "string", bytes = "userdata", addresses = "userdata" }

local function emit_class(out, record)
  out:line("---@class (exact) %s", record.class)
  for _, field in ipairs(record.fields) do
    out:line("---@field %s %s %s", WORDS[field.name] and ('["%s"]'):format(field.name) or field.name,
      field.record or ATTRIBUTES[field.kind], told(field))
  end
  out:line("")
  out:line("---@return %s record zeroed, owned by the script", record.class)
  out:line("function rovk_message.%s() end", record.class)
  out:line("")
end

local function emit_constants(out, constants)
  for _, constant in ipairs(constants) do
    comment(out, constant.doc)
    out:line("rovk_message.%s = %.0f", constant.name, constant.value)
  end
  out:line("")
end

local function emit_variable(out, name)
  out:line("---@type rovk_version")
  out:line("rovk_message.%s = nil", name)
  out:line("")
end

-- The companion --------------------------------------------------------------------------------------

local function emit_record_of(out, class, fields, type_of)
  out:line("---@class (exact) %s", class)
  for _, field in ipairs(fields) do
    out:line("---@field %s %s %s", field.name, type_of(field), told(field))
  end
  out:line("")
end

-- A method of a device (`brings`) or of a peripheral, and the one that gives nil and the error object.
local function emit_method(out, class, command, brings)
  local name = command.service.name .. "." .. command.name
  local inputs = brings and reference.own_inputs(command) or command.inputs
  local values = #command.values > 0 and "rovk.values." .. name or "true"
  local record = "rovk.inputs." .. name
  if #inputs ~= #command.inputs then
    record = "rovk.own_inputs." .. name
    if #inputs > 0 then
      emit_record_of(out, record, inputs, input_type)
    end
  end
  local listed = {}
  for place, field in ipairs(inputs) do
    listed[place] = ("%s: %s"):format(WORDS[field.name] and field.name .. "_" or field.name, input_type(field))
  end
  for _, form in ipairs { { "", values, "" }, { "try_", values .. "?", ", rovk.error?" } } do
    comment(out, command.doc)
    if #inputs > 0 then
      out:line("---@overload fun(%s): %s%s", table.concat({ "self: " .. class, unpack(listed) }, ", "), form[2],
        form[3])
      out:line("---@param inputs %s", record)
    end
    out:line("---@return %s", form[2])
    if form[3] ~= "" then
      out:line("---@return rovk.error? err")
    end
    out:line("function target:%s%s(%s) end", form[1], command.name, #inputs > 0 and "inputs" or "")
    out:line("")
  end
end

local function emit_target(out, service, class, brings)
  local base = service.id and (brings and "rovk.device" or "rovk.peripheral") or "rovk.target"
  out:line("---@class %s%s", class, class == base and "" or " : " .. base)
  out:line("local target = {}")
  out:line("")
  for _, command in ipairs(service.commands) do
    emit_method(out, class, command, brings)
  end
  for _, event in ipairs(service.events) do
    out:line('---@class %s', class)
    out:line('---@field on fun(self: %s, event: "%s", action?: fun(event: rovk.values.%s.%s, device: %s)): '
      .. "rovk.subscription", class, event.name, service.name, event.name, class)
    out:line('---@field wait fun(self: %s, event: "%s", limit_ms?: number): rovk.values.%s.%s?, rovk.error?', class,
      event.name, service.name, event.name)
    out:line("")
  end
end

local function emit_companion(out, service)
  for _, command in ipairs(service.commands) do
    local name = service.name .. "." .. command.name
    if #command.inputs > 0 then
      emit_record_of(out, "rovk.inputs." .. name, command.inputs, input_type)
    end
    if #command.values > 0 then
      emit_record_of(out, "rovk.values." .. name, command.values, value_type)
    end
  end
  for _, event in ipairs(service.events) do
    emit_record_of(out, ("rovk.values.%s.%s"):format(service.name, event.name), event.values, value_type)
  end
  if not service.id then
    emit_target(out, service, "rovk.target", false)
    return
  end
  emit_target(out, service, "rovk.device." .. service.name, true)
  emit_target(out, service, "rovk.peripheral." .. service.name, false)
  for _, kind in ipairs { "device", "peripheral" } do
    local class = ("rovk.%s.%s"):format(kind, service.name)
    local last = kind == "device" and "name?: rovk.device_name|integer" or "where?: rovk.board|integer"
    out:line("---@class rovk.unit")
    out:line('---@field %s fun(self: rovk.unit, service: "%s", %s): %s', kind, service.name, last, class)
    out:line('---@field try_%s fun(self: rovk.unit, service: "%s", %s): %s?, rovk.error?', kind, service.name, last,
      class)
    out:line('---@field %ss fun(self: rovk.unit, service: "%s"): %s[]', kind, service.name, class)
    out:line('---@field need fun(self: rovk.unit, service: "%s"%s): %s', service.name,
      kind == "device" and ", " .. last or "", class)
    out:line("")
  end
end

-- Files ----------------------------------------------------------------------------------------------

local function begin(path)
  local out = writer.new(path, "--")
  out:line("---@meta _")
  out:line("")
  out:line("---@class rovk_message")
  out:line("local rovk_message = {}")
  out:line("")
  return out
end

-- A name for each constant of a kind, to be completed where a script names it.
local function emit_alias(out, alias, prefix)
  out:line("---@alias %s", alias)
  for _, constant in ipairs(catalogue.services.common.constants) do
    local name = constant.name:match("^" .. prefix .. "(.*)$")
    if name then
      out:line('---| "%s"%s', name, constant.doc and " # " .. constant.doc or "")
    end
  end
  out:line("")
end

local function emit_protocol(model, path)
  local out = begin(path)
  emit_alias(out, "rovk.device_name", "ROVK_PERIPHERAL_DEVICE_ID_")
  emit_alias(out, "rovk.board", "ROVK_GPI_LOCATION_")
  out:line("---@alias rovk.service_name")
  for _, service in ipairs(catalogue.services) do
    out:line('---| "%s"%s', service.name, service.doc and " # " .. service.doc or "")
  end
  out:line("")
  emit_constants(out, { { name = "ROVK_PROTOCOL_VERSION_MAJOR", value = catalogue.version.major },
    { name = "ROVK_PROTOCOL_VERSION_MINOR", value = catalogue.version.minor }, unpack(catalogue.constants) })
  emit_variable(out, "rovk_protocol_version")
  for _, record in ipairs(model.records) do
    emit_class(out, catalogue.records[record.class])
  end
  for _, item in ipairs(model.functions) do
    if not item.service then
      emit_function(out, item, {})
    end
  end
  out:close()
end

return function(model, folder)
  emit_protocol(model, folder .. "/protocol.lua")
  local by_service = {}
  for _, item in ipairs(model.functions) do
    if item.service then
      by_service[item.service.name] = by_service[item.service.name] or {}
      table.insert(by_service[item.service.name], item)
    end
  end
  for _, service in ipairs(catalogue.services) do
    local out = begin(("%s/%s.lua"):format(folder, service.name))
    emit_constants(out, reference.constants_of(service))
    emit_variable(out, ("rovk_%s_api_version"):format(service.name))
    local classes = {}
    for class in pairs(service.records) do
      classes[#classes + 1] = class
    end
    table.sort(classes)
    for _, class in ipairs(classes) do
      emit_class(out, service.records[class])
    end
    for _, item in ipairs(by_service[service.name]) do
      local entry = item.command and service.commands[item.command.name]
        or item.event and service.events[item.event.name] or item.error and service.errors[item.error.name]
      emit_function(out, item, fields_of(item, entry))
    end
    emit_companion(out, service)
    out:close()
  end
end
