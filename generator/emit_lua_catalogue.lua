-- The catalogue as Lua modules, for scripts at run time: `rovk_catalogue/protocol.lua` with what belongs to
-- no service and a list of the services, and `rovk_catalogue/<service>.lua` with all of one service.
-- lualib/companions/rovk_catalogue.lua loads them, one service at a time, and tells the form of the whole.
--
-- What follows from the catalogue is worked out here, so that a script works out nothing: class names,
-- constants, widths, units, the named values of a field.

local units = require("units")
local writer = require("writer")

-- Keys in the order in which a reader wants them; the same order in every build.
local ORDER = {}
for position, key in ipairs { "name", "class", "text", "id", "opcode", "value", "constant", "api", "major", "minor",
  "doc", "kind", "type", "offset", "width", "signed", "count", "size", "record", "unit", "min", "max", "values",
  "reserved", "readonly", "overlay", "native", "fields", "command", "response", "event", "detail" } do
  ORDER[key] = position
end

local function sorted_keys(value)
  local keys = {}
  for key in pairs(value) do
    if type(key) == "string" then
      keys[#keys + 1] = key
    end
  end
  table.sort(keys, function(a, b)
    local first, second = ORDER[a] or 99, ORDER[b] or 99
    return first < second or first == second and a < b
  end)
  return keys
end

local WORDS = {}
for word in ([[and break do else elseif end false for function if in local nil not or repeat return then true until
  while]]):gmatch("%a+") do
  WORDS[word] = true
end

local function key_text(key)
  return key:match("^[%a_][%w_]*$") and not WORDS[key] and key or ("[%q]"):format(key)
end

-- A table without tables in it, or with few, stands in one line.
local function one_line(value)
  if type(value) == "string" then
    return ("%q"):format(value)
  elseif type(value) ~= "table" then
    return tostring(value)
  end
  local parts = {}
  for _, item in ipairs(value) do
    parts[#parts + 1] = one_line(item)
  end
  for _, key in ipairs(sorted_keys(value)) do
    parts[#parts + 1] = key_text(key) .. " = " .. one_line(value[key])
  end
  return #parts > 0 and "{ " .. table.concat(parts, ", ") .. " }" or "{}"
end

local function emit_value(out, indent, key, value)
  local head = indent .. (key and key_text(key) .. " = " or "")
  local line = one_line(value)
  if #head + #line < 118 or type(value) ~= "table" then
    out:line("%s%s,", head, line)
    return
  end
  out:line("%s{", head)
  for _, item in ipairs(value) do
    emit_value(out, indent .. "  ", nil, item)
  end
  for _, name in ipairs(sorted_keys(value)) do
    emit_value(out, indent .. "  ", name, value[name])
  end
  out:line("%s},", indent)
end

local KINDS = { number = "number", record = "record", text = "text", array = "bytes" }

local function describe_values(values)
  if not values then
    return nil
  end
  local list = {}
  for position, item in ipairs(values) do
    list[position] = { name = item.name, value = item.value, constant = item.constant, doc = item.doc }
  end
  return list
end

local function describe_field(field)
  local kind = field.element == "rovk_address" and "addresses" or KINDS[field.kind]
  local numbers = kind ~= "record" and kind ~= "text"
  local signed
  if numbers then
    signed = field.signed or false
  end
  return {
    name = field.name, type = field.text, kind = kind, offset = field.offset, size = field.size,
    width = numbers and field.width or nil, signed = signed, count = field.count,
    record = field.record and field.record.class, unit = field.unit or units.of(field.name), doc = field.doc,
    min = field.min, max = field.max, values = describe_values(field.values), reserved = field.reserved or nil,
    readonly = field.readonly or nil,
  }
end

local LIMITS = { min = true, max = true }

local function describe_record(class)
  local record = { class = class.name, text = class.text, size = class.record.size, native = class.native or nil,
    overlay = class.record.overlay or nil, fields = {} }
  local first
  for position, field in ipairs(class.record.fields) do
    local item = describe_field(field)
    record.fields[position] = item
    first = first or not item.reserved and item or nil
    -- Limits count what they limit, the value in front of them.
    if LIMITS[item.name] and not item.unit then
      item.unit = first.unit
    end
  end
  return record
end

-- Where the constants of a service give a field its values: name of a constant to "command.field".
local function fields_by_constant(service)
  local places = {}
  for _, list in ipairs { service.commands, service.events, service.errors } do
    for _, item in ipairs(list) do
      for _, key in ipairs { "command", "response", "event", "detail" } do
        for _, field in ipairs(item[key] and item[key].values or {}) do
          for _, value in ipairs(field.values or {}) do
            local known = places[value.constant or false] or {}
            places[value.constant or false] = known
            known[#known + 1] = ("%s.%s"):format(item.name, field.name)
          end
        end
      end
    end
  end
  return places
end

local function describe_constants(constants, places)
  local list = {}
  for position, constant in ipairs(constants) do
    list[position] = { name = constant.name, value = constant.value, doc = constant.doc,
      fields = places and places[constant.name] }
  end
  return list
end

local function describe_entries(model, entries, number, ...)
  local list = {}
  for position, entry in ipairs(entries) do
    local item = { name = entry.name, [number] = entry.number, constant = entry.constant, doc = entry.doc }
    for _, key in ipairs { ... } do
      item[key] = entry[key] and describe_record(model.classes_by_name[entry[key].class])
    end
    list[position] = item
  end
  return list
end

local function head_of(service)
  return { name = service.name, id = service.id, api = service.api, doc = service.doc,
    constant = service.id and ("ROVK_%s_PERIPHERAL_ID"):format(service.upper) }
end

local function describe_service(model, service)
  local item = head_of(service)
  item.commands = describe_entries(model, service.commands, "opcode", "command", "response")
  item.events = describe_entries(model, service.events, "id", "event")
  item.errors = describe_entries(model, service.errors, "id", "detail")
  item.constants = describe_constants(service.constants, fields_by_constant(service))
  item.error_record = describe_record(model.classes_by_name[("rovk_error_%s_error"):format(service.name)])
  item.error_data = describe_record(model.classes_by_name[("rovk_error_%s_error_data"):format(service.name)])
  return item
end

local function describe_protocol(model)
  local protocol = model.protocol
  local item = { version = protocol.version, constants = describe_constants(model.constants), services = {},
    records = {}, types = {}, functions = {}, statuses = describe_constants(model.statuses) }
  for position, service in ipairs(model.services) do
    item.services[position] = head_of(service)
  end
  for position, record in ipairs(model.records) do
    item.records[position] = describe_record(model.classes_by_name[record.class])
  end
  for name, scalar in pairs(protocol.types) do
    item.types[name] = { width = scalar.width, signed = scalar.signed or false }
  end
  for position, entry in ipairs(protocol.functions) do
    item.functions[position] = { name = entry.name, arguments = entry.arguments, results = entry.results or {},
      doc = entry.doc }
  end
  return item
end

local function emit_module(path, value)
  local out = writer.new(path, "--")
  out:line("return {")
  for _, key in ipairs(sorted_keys(value)) do
    emit_value(out, "  ", key, value[key])
  end
  out:line("}")
  out:close()
end

return function(model, folder)
  emit_module(folder .. "/protocol.lua", describe_protocol(model))
  for _, service in ipairs(model.services) do
    emit_module(("%s/%s.lua"):format(folder, service.name), describe_service(model, service))
  end
end
