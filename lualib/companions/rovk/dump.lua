--- Records, messages, errors and results as text that a person can read: fields by name, with units and with the
-- names of their values. A record is read as its bytes and told by the catalogue, so that what is printed is what
-- would travel.

local catalogue = require("rovk_catalogue")
local names = require("rovk.names")

-- Elements of an array object cannot be read through rovk_message; the native companion reads them.
local has_native, native = pcall(require, "rovk_companion")

local PAYLOAD, ERROR_DETAIL = 10, 14
local OPCODE_SHIFT = 2 ^ 24

local dump = {}

-- The text of swig_type is one or more type names joined by bars.
local function class_of(object)
  return swig_type(object):match("^struct ([%w_]+) %*") or swig_type(object):match("^([%w_]+) %*")
end

local function record_of(object)
  local record = type(object) == "userdata" and swig_type and catalogue.records[class_of(object) or ""]
  return record or nil
end

-- The element width of an array object, or nil for anything else.
local function array_width(object)
  local text = type(object) == "userdata" and swig_type and swig_type(object) or ""
  return text:find("uint8_t *", 1, true) and 1 or text:find("rovk_address *", 1, true) and 2 or nil
end

local function put_number(bytes, at, width, value)
  for i = 0, width - 1 do
    bytes[at + i] = value % 256
    value = math.floor(value / 256)
  end
end

local function get_number(bytes, at, width, signed)
  local value = 0
  for i = width - 1, 0, -1 do
    value = value * 256 + bytes[at + i]
  end
  return signed and value >= 2 ^ (8 * width - 1) and value - 2 ^ (8 * width) or value
end

local function put_array(bytes, at, field, object)
  local elements = has_native and native.elements and native.elements(object)
  for i = 1, field.count do
    if elements then
      put_number(bytes, at + (i - 1) * field.width, field.width, elements[i])
    else
      for j = 1, field.width do
        bytes[at + (i - 1) * field.width + j - 1] = false
      end
    end
  end
end

-- Writes the bytes of a record from `at` on; false stands for one that cannot be read.
local function put_record(bytes, at, record, object)
  for _, field in ipairs(record.fields) do
    local place = at + field.offset
    if field.kind == "number" then
      put_number(bytes, place, field.width, object[field.name])
    elseif field.kind == "bytes" or field.kind == "addresses" then
      put_array(bytes, place, field, object[field.name])
    elseif field.kind == "record" then
      put_record(bytes, place, catalogue.records[field.record], object[field.name])
    end
    -- The fields of an overlay are views of the same bytes: the first that is none of characters has them all.
    if record.overlay and field.kind ~= "text" then
      return
    end
  end
end

local function read_bytes(object)
  local record = record_of(object)
  if record then
    local bytes = {}
    put_record(bytes, 1, record, object)
    return bytes, record
  end
  local width = array_width(object)
  if width and has_native and native.elements then
    local bytes = {}
    for i, element in ipairs(native.elements(object)) do
      put_number(bytes, (i - 1) * width + 1, width, element)
    end
    return bytes
  end
  return nil
end

--- The bytes of a record or array object, as a table of numbers from 0 to 255.
-- Nil and a text when they cannot be read; an error for anything but such an object.
function dump.bytes(object)
  local bytes = read_bytes(object)
  if not bytes then
    if array_width(object) then
      return nil, "elements of an array are read by rovk_companion, which is not there"
    end
    error(("a record or an array was expected, got %s"):format(type(object) == "userdata" and swig_type
      and swig_type(object) or type(object)), 2)
  end
  for _, byte in ipairs(bytes) do
    if not byte then
      return nil, "elements of an array are read by rovk_companion, which is not there"
    end
  end
  return bytes
end

local function hex_of(bytes, first, last)
  local parts = {}
  for i = first, last do
    parts[#parts + 1] = bytes[i] and ("%02x"):format(bytes[i]) or "??"
  end
  return table.concat(parts, " ")
end

--- Bytes as hexadecimal text: "0a 00 ff". Takes a text, a table of numbers, or a record or array object.
function dump.hex(value)
  if type(value) == "string" then
    value = { value:byte(1, -1) }
  elseif type(value) ~= "table" then
    local bytes, message = dump.bytes(value)
    if not bytes then
      return nil, message
    end
    value = bytes
  end
  return hex_of(value, 1, #value)
end

-- Bytes of a field: zeros at the end are counted, and what reads as a name is shown as one too.
local function bytes_text(bytes, first, last)
  local used = last
  while used >= first and bytes[used] == 0 do
    used = used - 1
  end
  if used < first then
    return ("%d zeros"):format(last - first + 1)
  end
  local text = hex_of(bytes, first, used)
  if last - used > 2 then
    text = ("%s and %d zeros"):format(text, last - used)
  elseif last > used then
    text = hex_of(bytes, first, last)
  end
  local letters = {}
  for i = first, used do
    if not bytes[i] or bytes[i] < 32 or bytes[i] > 126 then
      return text
    end
    letters[#letters + 1] = string.char(bytes[i])
  end
  return ("%s (%q)"):format(text, table.concat(letters))
end

-- A number as a field has it: with its unit, and with the name of its value.
local function number_text(field, number)
  local text = tostring(number)
  local name = names.value(field, number)
  if name then
    return ("%s (%s)"):format(text, name)
  elseif not field.unit then
    return text
  end
  local factor, unit = field.unit:match("^(0%.%d+) (.*)$")
  if factor then
    return ("%s (%.10g %s)"):format(text, number * tonumber(factor), unit)
  end
  return ("%s %s"):format(text, field.unit)
end

local record_text

local function field_text(field, bytes, at)
  local last = at + field.size - 1
  if field.kind == "number" then
    return number_text(field, get_number(bytes, at, field.width, field.signed))
  elseif field.kind == "bytes" then
    return bytes_text(bytes, at, last)
  elseif field.kind == "addresses" then
    local parts = {}
    for i = at, last, field.width do
      parts[#parts + 1] = bytes[i] and get_number(bytes, i, field.width) or "?"
    end
    return table.concat(parts, " ")
  elseif field.record == "rovk_version" then
    return ("%d.%d"):format(bytes[at], bytes[at + 1])
  end
  return ("{ %s }"):format(record_text(catalogue.records[field.record], bytes, at))
end

-- The fields of a record whose bytes begin at `at`. A reserved field is told when it is not zero.
function record_text(record, bytes, at)
  local parts = {}
  for _, field in ipairs(record.fields) do
    if field.kind ~= "text" then
      local place = at + field.offset
      if not field.reserved or get_number(bytes, place, field.width) ~= 0 then
        parts[#parts + 1] = ("%s %s"):format(field.name, field_text(field, bytes, place))
      end
      if record.overlay then
        break
      end
    end
  end
  return table.concat(parts, ", ")
end

local function with_fields(head, record, bytes, at)
  local text = record and record_text(record, bytes, at) or ""
  return text == "" and head or ("%s: %s"):format(head, text)
end

-- A command, event or error of a service, or of common, by its number.
local function find_item(service, by_number, number)
  local common = catalogue.services.common
  if service and service[by_number][number] then
    return service[by_number][number]
  end
  return common[by_number][number]
end

-- Address, id and detail of an error, as they lie from `at` on.
local function error_text(service, bytes, at)
  local id = get_number(bytes, at + 2, 2)
  local item = find_item(service, "by_error_id", id)
  local head = ("%s at %d"):format(item and ("%s (%d)"):format(item.name, id) or ("error %d"):format(id),
    get_number(bytes, at, 2))
  if item then
    return with_fields(head, item.detail, bytes, at + 4)
  end
  return ("%s: %s"):format(head, bytes_text(bytes, at + 4, at + ERROR_DETAIL + 3))
end

local FIXED = { [0] = "router_0000", [65535] = "unittest_ffff" }

-- Whose the peripheral at an address is. A message does not tell: the caller may.
local function service_at(address, options)
  local service = options.service
  if type(service) == "function" then
    service = service(address)
  end
  service = service or FIXED[address]
  if type(service) == "string" then
    return catalogue.services[service]
  elseif type(service) == "number" then
    return catalogue.by_id[service]
  end
  return service
end

local function message_text(bytes, options)
  local kind = bytes[9]
  local address = get_number(bytes, 3, 2)
  local service = service_at(address, options)
  local function told(word, item, number, way)
    if item then
      return ("%s %s.%s %s %d"):format(word, item.service.name, item.name, way, address)
    end
    return ("%s %d %s %d"):format(word, number, way, address)
  end
  local function payload(head, item, record)
    if item then
      return with_fields(head, record, bytes, PAYLOAD + 1)
    end
    return ("%s: payload %s"):format(head, bytes_text(bytes, PAYLOAD + 1, #bytes))
  end
  if kind == 1 then
    local item = find_item(service, "by_opcode", bytes[10])
    return payload(told("command", item, bytes[10], "to"), item, item and item.command)
  elseif kind == 2 then
    -- An answer has no opcode of its own; our libraries keep the command's in the uuid.
    local opcode = math.floor(get_number(bytes, 5, 4) / OPCODE_SHIFT)
    if type(options.command) == "number" then
      opcode = options.command
    elseif options.command then
      opcode = names.command(service or "common", options.command) or opcode
    end
    local item = find_item(service, "by_opcode", opcode)
    local head = told("response to", item, opcode, "from")
    if bytes[10] == 0 then
      return payload(head, item, item and item.response)
    end
    return ("%s: %s"):format(head, error_text(service, bytes, PAYLOAD + 1))
  elseif kind == 3 then
    local item = find_item(service, "by_event_id", bytes[10])
    return payload(told("event", item, bytes[10], "from"), item, item and item.event)
  end
  return ("message of unknown type %d: %s"):format(kind, bytes_text(bytes, 1, #bytes))
end

local function object_text(object, options)
  local bytes, record = read_bytes(object)
  if not bytes then
    return swig_type and ("<%s>"):format(swig_type(object)) or tostring(object)
  elseif not record then
    return bytes_text(bytes, 1, #bytes)
  elseif record.class == "rovk_message" then
    return message_text(bytes, options)
  elseif record.kind == "error_record" or record.class == "rovk_error_info" then
    return error_text(record.service or service_at(nil, options), bytes, 1)
  elseif record.class == "rovk_version" then
    return field_text({ kind = "record", record = "rovk_version", size = 2 }, bytes, 1)
  elseif record.owner then
    return with_fields(("%s %s.%s"):format(record.kind, record.service.name, record.owner.name), record, bytes, 1)
  end
  return with_fields(record.class, record, bytes, 1)
end

-- A value as a command or event gave it.
local function value_text(field, value)
  if type(value) == "number" then
    return number_text(field, value)
  elseif type(value) ~= "table" then
    return tostring(value)
  elseif field.kind == "record" and value.major then
    return ("%d.%d"):format(value.major, value.minor)
  elseif field.kind == "bytes" then
    return bytes_text(value, 1, #value)
  end
  return table.concat(value, " ")
end

--- Values by the fields that they belong to: a table with their names, or a list in their order.
-- @param values what a command gave or takes
-- @param fields `inputs` or `values` of the catalogue
function dump.fields(values, fields)
  local parts = {}
  for place, field in ipairs(fields) do
    local value = values[field.name]
    if value == nil then
      value = values[place]
    end
    if value ~= nil then
      parts[#parts + 1] = ("%s %s"):format(field.name, value_text(field, value))
    end
  end
  return table.concat(parts, ", ")
end

-- What came back as the error table of a command.
local function error_table_text(errors, options)
  if errors.error_id == 0 then
    return "no error"
  end
  local service = service_at(errors.peripheral_address, options)
  local item = find_item(service, "by_error_id", errors.error_id)
  local text = item and ("%s (%d)"):format(item.name, errors.error_id) or ("error %d"):format(errors.error_id)
  if errors.peripheral_address then
    text = ("%s at %d"):format(text, errors.peripheral_address)
  end
  local detail = item and dump.fields(errors, item.values) or ""
  return detail == "" and text or ("%s: %s"):format(text, detail)
end

local function table_text(value, options, around)
  if around[value] then
    return "..."
  end
  local parts = {}
  around[value] = true
  local listed = #value
  for i = 1, listed do
    parts[i] = dump.dump(value[i], options, around)
  end
  local keys = {}
  for key in pairs(value) do
    if type(key) ~= "number" or key < 1 or key > listed or key % 1 ~= 0 then
      keys[#keys + 1] = key
    end
  end
  table.sort(keys, function(a, b)
    return tostring(a) < tostring(b)
  end)
  for _, key in ipairs(keys) do
    parts[#parts + 1] = ("%s %s"):format(tostring(key), dump.dump(value[key], options, around))
  end
  around[value] = nil
  return #parts > 0 and ("{ %s }"):format(table.concat(parts, ", ")) or "{}"
end

--- Anything as one line of text: a record or message object, an error table, a result, any value of Lua.
-- A result whose metatable has `rovk_fields`, a list of fields of the catalogue, is told by them.
-- @param options nothing, or a table: `service` is the service (name, id, or a function from address to one) that
--   a message or an error table belongs to, which neither tells itself; `command` is the command (name or opcode)
--   that a response answers, where the uuid does not tell
function dump.dump(value, options, around)
  options = options or {}
  if type(value) == "userdata" then
    return object_text(value, options)
  elseif type(value) == "string" then
    return ("%q"):format(value)
  elseif type(value) ~= "table" then
    return tostring(value)
  end
  local meta = getmetatable(value)
  local fields = type(meta) == "table" and rawget(meta, "rovk_fields")
  if fields then
    return dump.fields(value, fields)
  elseif type(meta) == "table" and meta.__tostring then
    return tostring(value)
  elseif type(value.error_id) == "number" then
    return error_table_text(value, options)
  end
  return table_text(value, options, around or {})
end

return dump
