-- Reads the protocol file and the service files, and refuses whatever is not sound: everything
-- behind this reader may take a catalogue for granted. A failure names file and entry.

local checks = require("checks")
local meanings = require("meanings")

local reader = {}

local fail, check_keys, check_list = checks.fail, checks.keys, checks.list
local check_name, check_doc, check_number = checks.name, checks.doc, checks.number
local LOWER_NAME, UPPER_NAME = checks.LOWER_NAME, checks.UPPER_NAME

local PAYLOAD_SIZE = 22
local ERROR_DETAIL_SIZE = 18

local function load_data(path)
  local chunk, message = loadfile(path)
  if not chunk then
    error(message, 0)
  end
  setfenv(chunk, {})
  local ok, value = pcall(chunk)
  if not ok then
    error(value, 0)
  end
  if type(value) ~= "table" then
    error(("%s: the file returns no table"):format(path), 0)
  end
  return value
end

-- What a type text means. Kinds: number, array, record, text.
local function resolve_type(protocol, known_records, text)
  local scalar = protocol.types[text]
  if scalar then
    return { kind = "number", width = scalar.width, signed = scalar.signed or false, size = scalar.width, c = scalar.c }
  end
  local array = protocol.arrays[text]
  if array then
    if array.element == "char" then
      return { kind = "text", size = array.count, count = array.count, width = 1 }
    end
    local element = protocol.types[array.element]
    return { kind = "array", element = array.element, count = array.count, width = element.width,
      size = array.count * element.width, c = element.c .. " *" }
  end
  local record = known_records[text:match("^struct ([%w_]+)$") or text]
  if record then
    return { kind = "record", record = record, size = record.size, c = text }
  end
  return nil
end

local FIELD_KEYS = { true, true, true, readonly = true, doc = true, unit = true, values = true, min = true, max = true }
local PAYLOAD_FIELD_KEYS = { true, true, true, doc = true, unit = true, values = true, min = true, max = true }

-- Builds a record from its field list. Fields lie behind each other without a gap, or, in an
-- overlay, all at 0.
local function read_record(context, file, entry, list, options)
  check_list(file, entry, list)
  if #list == 0 then
    fail(file, entry, "a field list that is there has at least one field")
  end
  local record = { fields = {}, values = {}, size = 0, overlay = options.overlay or false }
  local seen = {}
  for position, item in ipairs(list) do
    local where = ("%s, field %d"):format(entry, position)
    check_keys(file, where, item, options.payload and PAYLOAD_FIELD_KEYS or FIELD_KEYS)
    local offset, name, text = item[1], item[2], item[3]
    check_name(file, where, name)
    where = ("%s, field '%s'"):format(entry, name)
    if seen[name] then
      fail(file, where, "the name stands twice in the record")
    end
    seen[name] = true
    local type_of = type(text) == "string" and resolve_type(context.protocol, context.records, text)
    if not type_of then
      fail(file, where, "unknown type '%s'", tostring(text))
    end
    if options.payload and (type_of.kind == "text" or type_of.kind == "record" and text ~= "struct rovk_version") then
      fail(file, where, "a value of type '%s' does not travel in a payload", text)
    end
    check_number(file, where, "offset", offset, 0, 255)
    local wanted = options.overlay and 0 or record.size
    if offset > wanted then
      fail(file, where, "gap: offset %d, but the field before ends at %d", offset, wanted)
    elseif offset < wanted then
      fail(file, where, "overlap: offset %d, but the field before ends at %d", offset, wanted)
    end
    if options.aligned and type_of.kind == "number" then
      -- Payloads begin at message offset 10: this keeps 16-bit and 32-bit values aligned there.
      if type_of.width == 2 and offset % 2 ~= 0 then
        fail(file, where, "a 16-bit field wants an even offset, got %d", offset)
      elseif type_of.width == 4 and offset % 4 ~= 2 then
        fail(file, where, "a 32-bit field wants an offset of the form 4n + 2, got %d", offset)
      end
    end
    local meaning = meanings.of(context, file, where, item, type_of)
    local field = {
      name = name, text = text, offset = offset, kind = type_of.kind, width = type_of.width, count = type_of.count,
      signed = type_of.signed or false, size = type_of.size, c = type_of.c, element = type_of.element,
      record = type_of.record, readonly = item.readonly or false, doc = meaning.doc, unit = meaning.unit,
      min = meaning.min, max = meaning.max, reserved = options.payload and name:match("^reserved") ~= nil,
    }
    meaning.field = field
    record.fields[#record.fields + 1] = field
    if not field.reserved then
      record.values[#record.values + 1] = field
    end
    record.size = options.overlay and math.max(record.size, type_of.size) or record.size + type_of.size
  end
  if options.limit and record.size > options.limit then
    fail(file, entry, "the record has %d bytes, more than the %d that fit", record.size, options.limit)
  end
  if #record.values == 0 then
    fail(file, entry, "the record has reserved fields alone")
  end
  return record
end

-- Named numbers from `low` to `high`.
local function read_constants(file, entry, list, low, high)
  check_list(file, entry .. "s", list)
  local constants = {}
  for position, item in ipairs(list) do
    local where = ("%s %d"):format(entry, position)
    check_keys(file, where, item, { true, true, doc = true })
    check_name(file, where, item[1], UPPER_NAME)
    where = ("%s '%s'"):format(entry, item[1])
    check_number(file, where, "value", item[2], low or 0, high or 65535)
    check_doc(file, where, item)
    constants[position] = { name = item[1], value = item[2], doc = item.doc, file = file }
  end
  return constants
end

-- Reads one list of numbered entries: commands, events or errors.
-- `ranges` is the span of numbers that the service may use.
local function read_entries(context, file, list, what)
  local entries, by_number, by_name = {}, {}, {}
  check_list(file, what.title .. "s", list)
  local last = -1
  for position, item in ipairs(list) do
    local where = ("%s %d"):format(what.title, position)
    check_keys(file, where, item, what.keys)
    check_name(file, where, item.name, LOWER_NAME)
    where = ("%s '%s'"):format(what.title, item.name)
    check_doc(file, where, item)
    local number = item[what.number]
    check_number(file, where, what.number, number, what.low, what.high)
    if by_number[number] then
      fail(file, where, "%s %d is '%s' already", what.number, number, by_number[number])
    end
    if by_name[item.name] then
      fail(file, where, "the name stands twice")
    end
    if number < last then
      fail(file, where, "%s %d stands behind %d", what.number, number, last)
    end
    last = number
    by_number[number], by_name[item.name] = item.name, true
    local entry = { name = item.name, number = number, doc = item.doc }
    for key, limit in pairs(what.records) do
      if item[key] ~= nil then
        entry[key] = read_record(context, file, ("%s, %s record"):format(where, key), item[key],
          { payload = true, limit = limit, aligned = true })
      end
    end
    if what.required and not entry[what.required] then
      fail(file, where, "the %s record is missing", what.required)
    elseif entry.detail and item.name == "payload" then
      fail(file, where, "the name is that of the bytes of every error")
    end
    entries[position] = entry
  end
  return entries
end

local SERVICE_KEYS = {
  name = true, doc = true, id = true, api = true, fields = true, commands = true, events = true, errors = true,
  constants = true,
}

local function read_service(context, path)
  local data = load_data(path)
  local file = path:match("[^/]+$")
  check_keys(file, "service", data, SERVICE_KEYS)
  check_name(file, "service", data.name, LOWER_NAME)
  check_doc(file, "service", data)
  if file ~= data.name .. ".lua" then
    fail(file, "service", "the file is named after another service than '%s'", data.name)
  end
  local common = data.name == "common"
  if common and data.id ~= nil then
    fail(file, "service", "the common service has no id")
  elseif not common then
    check_number(file, "service", "id", data.id, 0, 65535)
    if data.name:match("_(%x%x%x%x)$") ~= ("%04x"):format(data.id) then
      fail(file, "service", "id 0x%04x is not the one in the name", data.id)
    end
  end
  check_keys(file, "api", data.api, { major = true, minor = true })
  check_number(file, "api", "major", data.api.major, 0, 255)
  check_number(file, "api", "minor", data.api.minor, 0, 255)
  local low, high = 32, 255
  if common then
    low, high = 0, 31
  end
  meanings.begin(context, file, data.fields)
  local service = {
    file = file, name = data.name, upper = data.name:upper(), doc = data.doc, id = data.id, api = data.api,
    commands = read_entries(context, file, data.commands, {
      title = "command", number = "opcode", low = low, high = high,
      keys = { name = true, opcode = true, command = true, response = true, doc = true },
      records = { command = PAYLOAD_SIZE, response = PAYLOAD_SIZE },
    }),
    events = read_entries(context, file, data.events, {
      title = "event", number = "id", low = low, high = high,
      keys = { name = true, id = true, event = true, doc = true },
      records = { event = PAYLOAD_SIZE }, required = "event",
    }),
    errors = read_entries(context, file, data.errors, {
      title = "error", number = "id", low = low, high = common and 31 or 65535,
      keys = { name = true, id = true, detail = true, doc = true },
      records = { detail = ERROR_DETAIL_SIZE },
    }),
    constants = read_constants(file, "constant", data.constants),
  }
  meanings.finish(context, file)
  return service
end

local PROTOCOL_KEYS = {
  version = true, types = true, arrays = true, records = true, constants = true, pointers = true, functions = true,
  fields = true, statuses = true,
}

local function check_types(file, data)
  for name, item in pairs(data.types) do
    local where = ("type '%s'"):format(tostring(name))
    check_keys(file, where, item, { width = true, signed = true, c = true })
    if item.width ~= 1 and item.width ~= 2 and item.width ~= 4 then
      fail(file, where, "width %s is none of 1, 2 and 4", tostring(item.width))
    end
  end
  for text, item in pairs(data.arrays) do
    local where = ("array '%s'"):format(tostring(text))
    check_keys(file, where, item, { element = true, count = true })
    check_number(file, where, "count", item.count, 1, PAYLOAD_SIZE + 1)
    if item.element ~= "char" and not data.types[item.element] then
      fail(file, where, "unknown element type '%s'", tostring(item.element))
    end
  end
end

local function read_protocol(path)
  local data = load_data(path)
  local file = path:match("[^/]+$")
  check_keys(file, "protocol", data, PROTOCOL_KEYS)
  for key in pairs(PROTOCOL_KEYS) do
    if type(data[key]) ~= "table" then
      fail(file, "protocol", "'%s' is missing", key)
    end
  end
  check_types(file, data)
  local context = { protocol = data, records = {}, pending = {} }
  meanings.begin(context, file, data.fields)
  local records = {}
  for _, item in ipairs(data.records) do
    local record = read_record(context, file, ("record '%s'"):format(item.name), item.fields,
      { overlay = item.overlay })
    record.name, record.struct, record.native = item.name, item.struct or false, item.native or false
    if record.native then
      record.size = record.size + record.size % 2
    end
    context.records[item.name] = record
    records[#records + 1] = record
  end
  context.list = records
  context.constants = read_constants(file, "constant", data.constants)
  context.statuses = read_constants(file, "status", data.statuses, -4095, 0)
  return context
end

-- Returns a table with `protocol` (the data), `records`, `constants`, `statuses` and `services`, common first
-- and the others by id. Raises a text with file and entry.
function reader.read(protocol_path, service_paths)
  local context = read_protocol(protocol_path)
  local services, by_id = {}, {}
  for _, path in ipairs(service_paths) do
    local service = read_service(context, path)
    local key = service.id or -1
    if by_id[key] then
      fail(service.file, "service", "id %d is that of '%s' already", key, by_id[key])
    end
    by_id[key] = service.name
    services[#services + 1] = service
  end
  table.sort(services, function(a, b)
    return (a.id or -1) < (b.id or -1)
  end)
  if not services[1] or services[1].id then
    error("catalogue: the common service is missing", 0)
  end
  meanings.resolve(context, services)
  return { protocol = context.protocol, records = context.list, records_by_name = context.records,
    constants = context.constants, statuses = context.statuses, services = services }
end

return reader
