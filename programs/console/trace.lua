-- What goes between the console and the unit: each command of the companion and its answer, with the unit's time, in
-- the words that rovk.dump has for a message.

local calls = require("rovk.calls")
local dump = require("rovk.dump")

local trace = {}

-- Whether it is told, and how: tell(text).
local tell

local function told_fields(head, values, fields)
  local text = dump.fields(values, fields)
  return text == "" and head or head .. ": " .. text
end

local function tell_command(form, address, ...)
  tell(told_fields(("command %s to %d"):format(form.title, address), { ... }, form.command.inputs))
end

local function tell_answer(form, address, status, errors, ...)
  local head = ("response to %s from %d"):format(form.title, address)
  if errors and errors.error_id ~= 0 then
    tell(head .. ": " .. dump.dump(errors, { service = form.command.service.name }))
  elseif status ~= 0 then
    tell(("no %s: status %d"):format(head, status))
  else
    tell(told_fields(head, { ... }, form.command.values))
  end
end

-- The same functions, which tell what they do while somebody wants to know.
local function traced(form)
  local blocking, async, count = form.blocking, form.async, form.value_count
  local function pass(address, status, errors, ...)
    if tell then
      tell_answer(form, address, status, errors, ...)
    end
    return status, errors, ...
  end
  function form.blocking(context, address, ...)
    if not tell then
      return blocking(context, address, ...)
    end
    tell_command(form, address, ...)
    return pass(address, blocking(context, address, ...))
  end
  function form.async(context, address, callback, ...)
    if not tell then
      return async(context, address, callback, ...)
    end
    tell_command(form, address, ...)
    local status = async(context, address, function(...)
      if tell then
        local errors = select(count + 1, ...)
        tell_answer(form, address, 0, errors, ...)
      end
      return callback(...)
    end, ...)
    if status ~= 0 and tell then
      tell_answer(form, address, status)
    end
    return status
  end
  return form
end

--- Readies the companion; before its first command.
function trace.install()
  local prepare = calls.prepare
  function calls.prepare(form)
    return traced(prepare(form))
  end
end

--- Has each command and answer told by `action(text)`; nil: no more.
function trace.to(action)
  tell = action
end

--- Whether anything is told.
function trace.on()
  return tell ~= nil
end

return trace
