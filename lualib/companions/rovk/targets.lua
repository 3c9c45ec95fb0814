-- Devices and peripherals: what commands are sent to. Their methods are the commands of the service and those that
-- all peripherals have in common; they are made when they are first called.

local commands = require("rovk.commands")
local calls = require("rovk.calls")
local catalogue = require("rovk_catalogue")
local compile = require("rovk.compile")
local errors = require("rovk.errors")
local events = require("rovk.events")
local turns = require("rovk.turns")

local targets = {}
errors.room()

local arguments, command_of = commands.arguments, calls.command

-- What a target may have or not: reading it is no mistake.
local OPTIONAL = { index = true, name = true, id = true, location = true, device_count = true, options = true }

local DEFAULTS = {}

-- What every target can do beside the commands.
local common = {}

function common:__tostring()
  return ("%s %s"):format(self.service, errors.place(self))
end

--- Has `action(event, target)` started as a task for each such event; without it events are kept, for `:wait`.
-- @return a subscription with `:cancel()`, and `:wait(limit_ms)` where it has no function
function common:on(event, action)
  if action ~= nil then
    errors.check_function(self.service .. ":on", action)
  end
  local found = events.find(catalogue.services[self.service], event)
  return events.subscribe(self.scheduler, self.unit.subscriptions, self, found, action)
end

--- Waits for the next such event from now on.
-- @param limit_ms nil: no limit
-- @return the event's values by name; nil and an error object when none came
function common:wait(event, limit_ms)
  errors.check_ms(self.service .. ":wait", "limit_ms", limit_ms, true)
  local found = events.find(catalogue.services[self.service], event)
  local record, err = events.wait_any(self.scheduler, self.unit.subscriptions, { self }, found, limit_ms)
  if record then
    return record
  end
  return nil, err
end

local OPTION_NAMES = { "positional", "timeout_ms" }

--- The same device or peripheral with other ways to call its commands.
-- @param options `timeout_ms`: a time limit for each command; `positional`: true for values one by one
function common:with(options)
  if type(options) ~= "table" then
    errors.mistake("%s:with: got %s; allowed is a table with %s", self.service, errors.show(options),
      table.concat(OPTION_NAMES, ", "))
  end
  for key in pairs(options) do
    if key ~= "positional" and key ~= "timeout_ms" then
      errors.unknown(self.service .. ":with has no option", key, OPTION_NAMES)
    end
  end
  errors.check_ms(self.service .. ":with", "timeout_ms", options.timeout_ms, true)
  local copy = {}
  for key, value in pairs(self) do
    copy[key] = value
  end
  copy.options = { positional = options.positional, timeout_ms = options.timeout_ms }
  return setmetatable(copy, getmetatable(self))
end

local function command_names(service)
  local names = errors.names_of(service.commands)
  if service.id then
    for _, command in ipairs(catalogue.services.common.commands) do
      names[#names + 1] = command.name
    end
  end
  return names
end

-- Makes the method of a command: `name` raises at a failure, `try_name` gives nil and the error object.
local function method_of(class, service, key)
  local name = key:match("^try_(.+)$") or key
  local command = commands.find(service, name)
  if not command then
    errors.unknown(service.name .. " has no command", name, command_names(service))
  end
  local form = commands.form(command, class.of_device, calls.prepare)
  local raises = name == key
  local function end_call(self, values, err)
    if not values then
      if raises then
        error(err, 0)
      end
      return nil, err
    elseif self.options.positional and values ~= true then
      return unpack(values, 1, form.value_count)
    end
    return values
  end
  local function check_self(self)
    if getmetatable(self) ~= class then
      errors.mistake("%s is called with a colon: device:%s(...)", form.title, form.command.name)
    end
  end
  return compile.method(#command.inputs, {
    look = form.look, class = class, asking = turns.asking, options = DEFAULTS, answer_for = form.record_for,
    native = form.async, yield = coroutine.yield, WAITS = turns.WAITS,
    failed = function(self)
      return end_call(self, calls.failure_in_task(form, self))
    end,
    slow = function(self, ...)
      check_self(self)
      return end_call(self, command_of(self.scheduler, form, self, self.options, arguments(form, self.index, ...)))
    end,
  })
end

local function make_class(service, of_device)
  local class = { of_device = of_device, __tostring = common.__tostring }
  local methods = { on = common.on, wait = common.wait, with = common.with }
  class.__index = setmetatable(methods, {
    __index = function(_, key)
      if type(key) ~= "string" or OPTIONAL[key] or key:sub(1, 1) == "_" then
        return nil
      end
      local method = method_of(class, service, key)
      methods[key] = method
      return method
    end,
  })
  return class
end

local classes = { [true] = {}, [false] = {} }

--- A device, where `index` is given, or a peripheral.
-- @param service the service in the catalogue
-- @param more name, id, location, device_count where they are known
function targets.new(unit, service, address, index, more)
  local kind = index ~= nil
  local class = classes[kind][service]
  if not class then
    class = make_class(service, kind)
    classes[kind][service] = class
  end
  local self = { unit = unit, scheduler = unit.scheduler, service = service.name, address = address, index = index,
    options = DEFAULTS }
  for key, value in pairs(more or {}) do
    self[key] = value
  end
  return setmetatable(self, class)
end

return targets
