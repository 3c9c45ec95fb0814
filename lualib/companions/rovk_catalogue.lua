--- The catalogue at run time: what services, commands, events, errors, constants and records there are, as plain
-- Lua tables, generated from the same data files as the module itself. It needs no unit and no other module.
--
--   local catalogue = require "rovk_catalogue"
--   for _, field in ipairs(catalogue.services.led_0001.commands.set_state.inputs) do
--     print(field.name, field.type, field.unit, field.doc)
--   end
--
-- Its form is told in docs/catalogue.md. All of it is shared: read it, do not change it. Of a service only the
-- head (name, id, constant, api, doc) is there from the start; the rest is loaded when it is first asked for.

local protocol = require("rovk_catalogue.protocol")

local catalogue = {
  version = protocol.version, types = protocol.types, functions = protocol.functions,
  constants = protocol.constants, statuses = protocol.statuses,
  services = {}, by_id = {},
}

-- Makes the items of a list reachable by name as well as by place.
local function name_items(list)
  for _, item in ipairs(list) do
    list[item.name] = item
  end
  return list
end

local function number_items(list, key)
  local by_number = {}
  for _, item in ipairs(list) do
    by_number[item[key]] = item
  end
  return by_number
end

-- What a number of the field's type can be.
local function set_limits(field)
  if field.kind == "number" or field.kind == "bytes" or field.kind == "addresses" then
    local span = 2 ^ (8 * field.width)
    field.low = field.signed and -span / 2 or 0
    field.high = field.low + span - 1
  end
end

-- Completes a record and enters it under its class; `owner` is the command, event or error that it belongs to.
local function complete_record(record, kind, records, service, owner)
  if not record then
    return
  end
  record.kind, record.service, record.owner = kind, service, owner
  for _, field in ipairs(name_items(record.fields)) do
    set_limits(field)
  end
  records[record.class] = record
end

-- The fields of a record that functions take or return: all but the reserved ones.
local function used_fields(record)
  local list = {}
  for _, field in ipairs(record and record.fields or {}) do
    if not field.reserved then
      list[#list + 1] = field
      list[field.name] = field
    end
  end
  return list
end

local function load_service(service)
  setmetatable(service, nil)
  for key, value in pairs(require("rovk_catalogue." .. service.name)) do
    if service[key] == nil then
      service[key] = value
    end
  end
  service.records = {}
  local function complete(list, key, kinds)
    name_items(list)
    for _, item in ipairs(list) do
      item.service = service
      for kind, record_key in pairs(kinds) do
        complete_record(item[record_key], kind, service.records, service, item)
      end
      item.inputs = kinds.command and used_fields(item.command)
      item.values = used_fields(item.response or item.event or item.detail)
    end
    return number_items(list, key)
  end
  service.by_opcode = complete(service.commands, "opcode", { command = "command", response = "response" })
  service.by_event_id = complete(service.events, "id", { event = "event" })
  service.by_error_id = complete(service.errors, "id", { error = "detail" })
  name_items(service.constants)
  complete_record(service.error_record, "error_record", service.records, service)
  complete_record(service.error_data, "error_data", service.records, service)
end

local LOADED = {
  commands = true, events = true, errors = true, constants = true, records = true, by_opcode = true,
  by_event_id = true, by_error_id = true, error_record = true, error_data = true,
}

local lazy = {
  __index = function(service, key)
    if LOADED[key] then
      load_service(service)
      return service[key]
    end
  end,
}

for position, service in ipairs(protocol.services) do
  catalogue.services[position] = setmetatable(service, lazy)
  catalogue.services[service.name] = service
  if service.id then
    catalogue.by_id[service.id] = service
  end
end
for _, list in ipairs { catalogue.constants, catalogue.statuses, catalogue.functions } do
  name_items(list)
end

-- Records by their class, those of the message at once, those of a service when they are asked for.
catalogue.records = {}
for _, record in ipairs(protocol.records) do
  complete_record(record, "message", catalogue.records)
end

-- The service in whose records a class stands, by its name: rovk_command_payload_led_0001_set_state.
local function service_of_class(class)
  local rest = class:match("^rovk_%l+_payload_(.*)$") or class:match("^rovk_error_(.*)_error") or ""
  return catalogue.services[rest:match("^[%l%d_]-_%x%x%x%x%f[_%z]") or rest:match("^common%f[_%z]")]
end

setmetatable(catalogue.records, {
  __index = function(records, class)
    local service = type(class) == "string" and service_of_class(class)
    local record = service and service.records[class]
    if record then
      records[class] = record
    end
    return record or nil
  end,
})

return catalogue
