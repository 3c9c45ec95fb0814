-- What goes wrong, and how a script is told. Two kinds, kept apart: a mistake of the caller is a text with the
-- position of the caller's line, raised before anything is sent; a command that failed is an error object.

local catalogue = require("rovk_catalogue")
local names = require("rovk.names")

local errors = {}

-- Sources of this companion: a mistake is reported at the first line outside of them, however deep it was found.
local rooms = { ["=rovk.compile"] = true }

--- Declares the file that calls this a part of the companion.
function errors.room()
  if debug then
    rooms[debug.getinfo(2, "S").source] = true
  end
end
errors.room()

-- The caller's "file:line: ", or "" where there is no line to tell.
local function position()
  local level = 2
  local info = debug and debug.getinfo(level, "Sl")
  while info do
    if info.currentline > 0 and not rooms[info.source] then
      return ("%s:%d: "):format(info.short_src, info.currentline)
    end
    level = level + 1
    info = debug.getinfo(level, "Sl")
  end
  return ""
end

--- Raises a mistake of the caller, at the caller's line.
function errors.mistake(format, ...)
  error(position() .. format:format(...), 0)
end

--- A value as a message shows it: 'front' (a string), 70000, a table.
function errors.show(value)
  local kind = type(value)
  if kind == "number" or kind == "nil" or kind == "boolean" then
    return tostring(value)
  elseif kind == "string" then
    local text = #value > 40 and value:sub(1, 37) .. "..." or value
    return ("'%s' (a string)"):format((text:gsub("%c", "?")))
  end
  return "a " .. kind
end

-- Unknown names ----------------------------------------------------------------------------------

--- Raises that there is no such name; suggests the nearest, and tells them all where they are few.
-- @param what what was looked for, as in "led_0001 has no command"
function errors.unknown(what, name, list)
  if type(name) ~= "string" then
    errors.mistake("%s %s; a name is wanted", what, errors.show(name))
  end
  local near = names.nearest(name, list)
  local hint = near and ("; did you mean '%s'?"):format(near) or ""
  if #list == 0 then
    hint = "; it has none"
  elseif #list <= 12 then
    hint = hint .. (near and " It has " or "; it has ") .. table.concat(list, ", ")
  end
  errors.mistake("%s '%s'%s", what, name, hint)
end

--- The names of a list of the catalogue.
function errors.names_of(list)
  local found = {}
  for place, item in ipairs(list) do
    found[place] = item.name
  end
  return found
end

-- Error objects -------------------------------------------------------------------------------------

local object = {}
object.__index = object

-- What the library itself puts into the `type` of a communication failure.
local TIME_OUT, CLOSED = 2, 3
local ETIMEDOUT, ECANCELED = -110, -125
local YEAR_MS = 366 * 86400e3
errors.ETIMEDOUT = ETIMEDOUT

local function error_of(service, id)
  return id >= 32 and service.by_error_id[id] or catalogue.services.common.by_error_id[id]
end

local function readable(name)
  return (name:gsub("_", " "))
end

-- The input that an invalid payload speaks of: the field over that byte of the command's record.
local function input_at(command, offset)
  for _, field in ipairs(command.inputs) do
    if offset >= field.offset and offset < field.offset + field.size then
      return field.name
    end
  end
end

local function describe_detail(err)
  local detail, parts = err.detail, {}
  if detail.payload_index then
    return detail.input and (", input %s (payload offset %d)"):format(detail.input, detail.payload_index)
      or (", payload offset %d"):format(detail.payload_index)
  end
  for name, value in pairs(detail) do
    parts[#parts + 1] = (", %s %s"):format(readable(name), tostring(value))
  end
  table.sort(parts)
  return table.concat(parts)
end

--- What a status from below the protocol says.
function errors.status_text(status)
  for _, item in ipairs(catalogue.statuses) do
    if item.value == status then
      return ("status %d, %s: %s"):format(status, item.name, (item.doc:gsub("%.$", "")))
    end
  end
  return ("status %d"):format(status)
end

--- Where a device or a peripheral is.
function errors.place(target)
  local at = ("address %d"):format(target.address)
  if target.index then
    at = ("%s, index %d"):format(at, target.index)
  end
  return target.name and ("%s (%s)"):format(target.name, at) or at
end

local function reason(err, limit_ms)
  if err.status == ETIMEDOUT then
    return limit_ms and ("no answer within %g ms"):format(limit_ms) or "no answer in time"
  elseif err.status == ECANCELED then
    return "the unit was closed before the answer came"
  elseif err.status < 0 then
    return errors.status_text(err.status)
  end
  return (err.error and readable(err.error) or ("error %d"):format(err.error_id)) .. describe_detail(err)
end

--- The error object of a command that failed.
-- @param command the command in the catalogue
-- @param target the device or peripheral
-- @param status what the command returned; nil where only the callback's table is known
-- @param told the error table of the module; may be nil
-- @param limit_ms the time limit that has passed, where it was the call's own
function errors.of_command(command, target, status, told, limit_ms)
  told = told or { error_id = 0 }
  local id = told.error_id
  if not status then
    local failure = id == catalogue.services.common.errors.communication_failure.id and told.type
    status = failure == TIME_OUT and ETIMEDOUT or failure == CLOSED and ECANCELED or id
  end
  local known = error_of(command.service, status > 0 and status or id)
  local err = setmetatable({
    status = status, error_id = id, error = id > 0 and known and known.name or nil, detail = {},
    service = command.service.name, command = command.name, device = target.name, address = target.address,
    index = target.index, where = position(),
  }, object)
  for key, value in pairs(told) do
    if key ~= "error_id" and key ~= "peripheral_address" then
      err.detail[key] = value
    end
  end
  if err.detail.payload_index then
    err.detail.input = input_at(command, err.detail.payload_index)
  end
  err.message = ("%s.%s on %s: %s"):format(err.service, err.command, errors.place(target), reason(err, limit_ms))
  return err
end

--- An error object that belongs to no command: what `kind` says ("cancelled", "closed", "timeout") and a text.
function errors.plain(kind, format, ...)
  local status = kind == "timeout" and ETIMEDOUT or kind ~= "failed" and ECANCELED or nil
  return setmetatable({ kind = kind, status = status, message = format:format(...), where = position() }, object)
end

--- The error object of a wait that has ended without what it waited for.
function errors.late(limit_ms, what)
  if limit_ms then
    return errors.plain("timeout", "%s: not within %g ms", what, limit_ms)
  end
  return errors.plain("timeout", "%s: what it waits for cannot come any more", what)
end

--- Raises unless the value is a number of milliseconds, or, where that is allowed, nil.
function errors.check_ms(what, name, value, or_nil)
  if value == nil and or_nil then
    return
  end
  if type(value) ~= "number" or not (value >= 0 and value < YEAR_MS) then
    errors.mistake("%s: %s: got %s; allowed is a number of milliseconds, from 0 to a year", what, name,
      errors.show(value))
  end
end

--- Raises unless the value is a function.
function errors.check_function(what, value)
  if type(value) ~= "function" then
    errors.mistake("%s: got %s; allowed is a function", what, errors.show(value))
  end
end

--- True for an error object, of the given kind when one is given.
function errors.is(value, kind)
  return getmetatable(value) == object and (kind == nil or value.kind == kind)
end

function object:__tostring()
  return self.message
end

-- In a text it reads as itself: "failed: " .. err
function object.__concat(one, other)
  return tostring(one) .. tostring(other)
end

return errors
