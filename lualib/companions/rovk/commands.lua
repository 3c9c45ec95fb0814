-- What a command takes and gives, ready for use: its native functions, its inputs with their limits, its values.
-- Everything follows from the catalogue. Inputs are checked here, whole, before anything is sent.

local catalogue = require("rovk_catalogue")
local compile = require("rovk.compile")
local dump = require("rovk.dump")
local errors = require("rovk.errors")
local names = require("rovk.names")
local reference = require("rovk.reference")
local rovk = require("rovk_message")

local commands = {}
errors.room()

-- The names by which a named number is known: as the catalogue has it, and the whole constant.
local function named_values(field)
  if not field.values then
    return nil
  end
  local by_name = {}
  for _, item in ipairs(field.values) do
    by_name[item.name] = item.value
    if item.constant then
      by_name[item.constant] = item.value
    end
  end
  return by_name
end

local function describe_number(input)
  local text = ("a whole number from %.0f to %.0f"):format(input.low, input.high)
  if input.unit then
    text = text .. " (" .. input.unit .. ")"
  end
  if input.field.values then
    text = text .. ", or one of " .. table.concat(errors.names_of(input.field.values), ", ")
  end
  return text
end

-- Raises what is wrong with an input.
local function refuse(form, input, value)
  local what = ("%s: input %s"):format(form.title, input.name)
  if value == nil then
    errors.mistake("%s is missing; it takes %s", what, form.inputs_text)
  elseif input.bytes then
    errors.mistake("%s: got %s; allowed is a text or a list of at most %d bytes, each a whole number from 0 to 255",
      what, type(value) == "table" and commands.wrong_byte(value, input.count) or
      type(value) == "string" and #value .. " bytes" or errors.show(value), input.count)
  end
  local hint = ""
  if type(value) == "boolean" then
    hint = "; write 1 for true and 0 for false"
  elseif type(value) == "string" and input.names then
    local near = names.nearest(value, errors.names_of(input.field.values))
    hint = near and ("; did you mean '%s'?"):format(near) or ""
  end
  errors.mistake("%s: got %s; allowed is %s%s", what, errors.show(value), describe_number(input), hint)
end

-- What is wrong in a list of bytes, or nil.
function commands.wrong_byte(list, count)
  for place = 1, #list do
    local value = list[place]
    if type(value) ~= "number" or value % 1 ~= 0 or value < 0 or value > 255 then
      return ("%s at place %d"):format(errors.show(value), place)
    end
  end
  for key in pairs(list) do
    if type(key) ~= "number" or key % 1 ~= 0 or key < 1 or key > #list then
      return ("a table with the key %s"):format(errors.show(key))
    end
  end
  return #list > count and #list .. " bytes" or nil
end

-- The value as the native function takes it.
local function check(form, input, value)
  if input.bytes then
    if type(value) == "string" and #value <= input.count then
      return { value:byte(1, -1) }
    elseif type(value) == "table" and not commands.wrong_byte(value, input.count) then
      return value
    end
    refuse(form, input, value)
  end
  if type(value) == "string" and input.names and input.names[value] then
    return input.names[value]
  elseif type(value) ~= "number" or not (value >= input.low and value <= input.high) or value % 1 ~= 0 then
    refuse(form, input, value)
  end
  return value
end

-- Raises for the key that belongs to no input.
local function unknown_input(form, given)
  for key in pairs(given) do
    if not form.by_name[key] then
      if form.own_index and key == "index" then
        errors.mistake("%s: input index: a device brings its own; leave it out", form.title)
      end
      errors.unknown(form.title .. " has no input", key, form.names)
    end
  end
end

-- One table stands for inputs by name, unless it is the byte list that the command begins with.
local function is_bytes(list)
  return next(list) == nil or list[1] ~= nil
end

--- Checks what a call was given.
-- @param form what `commands.form` gave
-- @param index the device's own index, where the form takes one from it
-- @return the native function's inputs
function commands.arguments(form, index, ...)
  local given, first = select("#", ...), ...
  if given == 1 and type(first) == "table" and not (form.bytes_first and is_bytes(first)) then
    return form.named(index, first)
  elseif given ~= form.input_count then
    errors.mistake("%s: got %d input%s; it takes %s", form.title, given, given == 1 and "" or "s", form.inputs_text)
  end
  return form.listed(index, ...)
end

--- Adds to a form how values become a table by their names, which prints as such and has no other names.
function commands.add_values(form, fields, title)
  form.values, form.value_count = errors.names_of(fields), #fields
  form.printed = {
    rovk_fields = fields,
    __tostring = function(record)
      return dump.fields(record, fields)
    end,
    __index = function(_, key)
      if type(key) == "string" and key:sub(1, 1) ~= "_" then
        errors.unknown(title .. " gives no value", key, form.values)
      end
    end,
  }
  form.record = compile.record(form.values, form.printed)
end

-- Forms are shared by all devices of a service; one for commands of a device, which brings the index, one for those
-- of a peripheral, where it is an input like any other.
local forms = { [true] = {}, [false] = {} }

local function describe_input(field, place)
  local input = { name = field.name, place = place, field = field, unit = field.unit, names = named_values(field),
    low = field.min or field.low, high = field.max or field.high, bytes = field.kind == "bytes", count = field.count }
  return input
end

local function build(command, own_index)
  local service = command.service
  local name = service.name .. "_" .. command.name
  local form = { command = command, title = service.name .. "." .. command.name, inputs = {}, by_name = {}, names = {},
    blocking = rovk["rovktrans_" .. name], async = rovk["rovktrans_" .. name .. "_async_lua"] }
  local texts = {}
  for place, field in ipairs(command.inputs) do
    if own_index and reference.picks_device(service, field) then
      form.own_index = place
    else
      local input = describe_input(field, place)
      table.insert(form.inputs, input)
      form.by_name[field.name] = input
      table.insert(form.names, field.name)
      table.insert(texts, input.bytes and ("%s (up to %d bytes)"):format(field.name, field.count)
        or ("%s (%.0f to %.0f)"):format(field.name, input.low, input.high))
    end
  end
  form.input_count = #form.inputs
  form.bytes_first = form.input_count > 0 and form.inputs[1].bytes
  form.inputs_text = #texts > 0 and table.concat(texts, ", ") or "no inputs"
  form.named, form.listed = compile.inputs(form, form.inputs, form.own_index, check, unknown_input)
  form.look = compile.look(form, commands.arguments)
  commands.add_values(form, command.values, form.title)
  return form
end

--- The form of a command, with or without a device that brings the index.
-- @param prepare prepare(form) is called for a new one
function commands.form(command, own_index, prepare)
  local known = forms[own_index]
  local form = known[command]
  if not form then
    form = prepare(build(command, own_index))
    known[command] = form
  end
  return form
end

--- The command of a service, or of what all peripherals have in common; nil: there is none.
function commands.find(service, name)
  return service.commands[name] or catalogue.services.common.commands[name]
end

return commands
