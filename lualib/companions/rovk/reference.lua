--- How what the catalogue has is written down for a reader: limits, units, and the forms in which a command or an
-- event stands in a script. The terminal's help, the pages and the editors' annotations all say it in these words.
-- Needs the catalogue alone, no unit and no native module.

local catalogue = require("rovk_catalogue")

local reference = {}

--- Whether an input picks the device within its peripheral, so that a device of the companion brings it. One service
-- calls it otherwise, and the router counts routes by it.
function reference.picks_device(service, field)
  return service.id ~= 0 and (field.name == "index" and field.width == 1 or field.name == "adc_index")
end

--- The name that examples give a device of the service: "led" of "led_0001".
function reference.variable(service)
  return service.id and service.name:match("^(.*)_%x%x%x%x$") or "device"
end

-- A unit that is a part of another, as "0.001 deg", is set off from the numbers before it.
local function unit_text(unit)
  return not unit and "" or unit:find("^%d") and (" (unit %s)"):format(unit) or " " .. unit
end

--- What is allowed in a field, with its unit: "0 to 65535 ms", "0 to 20 (unit 0.1 x)".
function reference.limits(field)
  if field.kind == "record" then
    return "major, minor"
  elseif field.kind == "text" then
    return "text"
  end
  local text = ("%.0f to %.0f%s"):format(field.min or field.low, field.max or field.high, unit_text(field.unit))
  if field.count then
    return ("%d %s, each %s"):format(field.count, field.kind == "bytes" and "bytes" or "addresses", text)
  end
  return text
end

--- The named values of a field in one line, "0 off, 1 on"; of many the first ones. Empty when there are none.
-- @param most how many at most; nil: all
function reference.named_values(field, most)
  local parts = {}
  for place, item in ipairs(field.values or {}) do
    if most and place > most then
      parts[#parts + 1] = ("and %d more"):format(#field.values - most)
      break
    end
    parts[#parts + 1] = ("%.0f %s"):format(item.value, item.name)
  end
  return table.concat(parts, ", ")
end

local function names_of(fields)
  local list = {}
  for place, field in ipairs(fields) do
    list[place] = field.name
  end
  return list
end
reference.names_of = names_of

local function joined(...)
  local list = {}
  for _, part in ipairs { ... } do
    for _, item in ipairs(type(part) == "table" and part or { part }) do
      list[#list + 1] = item
    end
  end
  return table.concat(list, ", ")
end

--- The inputs that a caller of a companion's device gives, and whether the device brings its index.
function reference.own_inputs(command)
  local list, brings = {}, false
  for _, field in ipairs(command.inputs) do
    if reference.picks_device(command.service, field) then
      brings = true
    else
      list[#list + 1] = field
    end
  end
  return list, brings
end

--- The three forms of a command, each one text.
-- @return companion, plain, asynchronous
function reference.command_forms(command)
  local service, named = command.service, {}
  for _, field in ipairs((reference.own_inputs(command))) do
    named[#named + 1] = field.name .. " = ..."
  end
  local call = ("%s:%s%s"):format(reference.variable(service), command.name,
    #named == 0 and "()" or " { " .. table.concat(named, ", ") .. " }")
  if #command.values > 0 then
    call = "values = " .. call
  end
  local name = ("rovktrans_%s_%s"):format(service.name, command.name)
  local inputs, values = names_of(command.inputs), names_of(command.values)
  return call,
    ("%s = rovk.%s(%s)"):format(joined("status", "errors", values), name, joined("context", "address", inputs)),
    ("status = rovk.%s_async_lua(%s)"):format(name,
      joined("context", "address", ("function(%s) end"):format(joined(values, "errors")), inputs))
end

--- The two forms of an event, each one text; the plain one has two lines, for the beginning and the end.
-- @return companion, plain
function reference.event_forms(event)
  local service = event.service
  local name = ("rovktrans_%s_%s"):format(service.name, event.name)
  return ('subscription = %s:on("%s", function(event, device) end)'):format(reference.variable(service), event.name),
    ("handle = rovk.%s_register_callback_lua(context, address, function(%s) end)\n"):format(name,
      joined(names_of(event.values))) ..
    ("status = rovk.%s_unregister_callback_lua(context, address, handle)"):format(name)
end

--- The errors with which a command may be refused: the service's own, then those of every peripheral.
function reference.errors_of(service)
  local list = {}
  for _, place in ipairs { service, service.id and catalogue.services.common or nil } do
    for _, err in ipairs(place.errors) do
      if err.id > 0 then
        list[#list + 1] = err
      end
    end
  end
  return list
end

--- All constants of a service, those of its ids, versions, opcodes, events and errors too:
-- a list of name, value, doc, fields.
function reference.constants_of(service)
  local list = {}
  local function add(name, value, doc, fields)
    list[#list + 1] = { name = name, value = value, doc = doc, fields = fields }
  end
  if service.constant then
    add(service.constant, service.id, "Id of the service.")
  end
  local prefix = "ROVK_" .. service.name:upper()
  add(prefix .. "_API_VERSION_MAJOR", service.api.major, "Version of the service: changes when it breaks.")
  add(prefix .. "_API_VERSION_MINOR", service.api.minor, "Version of the service: changes when it grows.")
  for _, group in ipairs { { "command", service.commands, "opcode" }, { "event", service.events, "id" },
    { "error", service.errors, "id" } } do
    for _, item in ipairs(group[2]) do
      add(item.constant, item[group[3]], ("Number of the %s %s."):format(group[1], item.name))
    end
  end
  for _, constant in ipairs(service.constants) do
    add(constant.name, constant.value, constant.doc, constant.fields)
  end
  return list
end

return reference
