-- Events: a function that is started as a task for each, or a queue to wait on.

local catalogue = require("rovk_catalogue")
local commands = require("rovk.commands")
local errors = require("rovk.errors")
local rovk = require("rovk_message")
local turns = require("rovk.turns")
local waiting = require("rovk.waiting")
local tasks = require("rovk.tasks")

local events = {}
errors.room()

-- What nobody fetches from a queue; past that the oldest are dropped and counted.
local QUEUE_LIMIT = 1000

local subscription = {}
subscription.__index = subscription

function subscription:__tostring()
  return ("%s.%s of %s"):format(self.event.service.name, self.event.name, tostring(self.target))
end

--- The event of a service, or of what all peripherals have in common. Raises at an unknown name.
function events.find(service, name)
  local event = type(name) == "string" and (service.events[name] or catalogue.services.common.events[name])
  if not event then
    local names = errors.names_of(service.events)
    for _, common in ipairs(catalogue.services.common.events) do
      names[#names + 1] = common.name
    end
    errors.unknown(service.name .. " has no event", name, names)
  end
  return event
end

local function keep(self, record)
  self.last = self.last + 1
  self.queue[self.last] = record
  if self.last - self.first >= QUEUE_LIMIT then
    self.queue[self.first] = nil
    self.first = self.first + 1
    self.dropped = self.dropped + 1
  end
end

local function arrived(self, ...)
  local record = self.form.record(...)
  local index = rawget(self.target, "index")
  if index and self.form.has_index and record.index ~= index then
    return
  elseif self.action then
    tasks.spawn(self.scheduler, self.action, record, self.target)
  elseif not (self.tap and self.tap(record)) then
    keep(self, record)
  end
end

local forms = {}

local function form_of(event)
  local form = forms[event]
  if not form then
    local name = "rovktrans_" .. event.service.name .. "_" .. event.name
    form = { has_index = event.values.index ~= nil, register = rovk[name .. "_register_callback_lua"],
      unregister = rovk[name .. "_unregister_callback_lua"] }
    commands.add_values(form, event.values, event.service.name .. "." .. event.name)
    forms[event] = form
  end
  return form
end

--- Subscribes to an event of a device, which hears its own alone, or of a peripheral.
-- @param action started as a task with the event's values by name and the target; nil: events are kept for `wait`
function events.subscribe(scheduler, subscriptions, target, event, action)
  turns.check_open(scheduler, turns.current())
  local self = setmetatable({ scheduler = scheduler, all = subscriptions, target = target, event = event,
    form = form_of(event), action = action, queue = {}, first = 1, last = 0, dropped = 0 }, subscription)
  self.handle = self.form.register(scheduler.context, target.address, function(...)
    arrived(self, ...)
  end)
  if not self.handle then
    error(errors.plain("failed", "%s.%s: the unit refused the subscription at address %d", event.service.name,
      event.name, target.address), 0)
  end
  subscriptions[self] = true
  scheduler.sources = scheduler.sources + 1
  scheduler.subscriptions = scheduler.subscriptions + (action and 1 or 0)
  return self
end

--- Ends a subscription. Functions that run already go on. False: it had ended.
function subscription:cancel()
  local handle, scheduler = self.handle, self.scheduler
  if not handle then
    return false
  end
  self.handle = nil
  self.all[self] = nil
  scheduler.sources = scheduler.sources - 1
  scheduler.subscriptions = scheduler.subscriptions - (self.action and 1 or 0)
  self.form.unregister(scheduler.context, self.target.address, handle)
  return true
end

-- Gives the first event to a waiter; those behind it are kept.
local function tap_for(waiter, target)
  return function(record)
    if waiter.done then
      return false
    end
    waiter.target = target
    waiting.finish(waiter, record)
    return true
  end
end

--- The next event, also one that came before the call.
-- @param limit_ms nil: no limit
-- @return the event's values by name; nil and an error object when none came
function subscription:wait(limit_ms)
  local what = tostring(self)
  errors.check_ms(what, "limit_ms", limit_ms, true)
  if self.action then
    errors.mistake("%s: a subscription with a function cannot be waited on; leave the function out", what)
  elseif self.tap then
    errors.mistake("%s: another task waits on it; each wants a subscription of its own", what)
  end
  if self.first <= self.last then
    local record = self.queue[self.first]
    self.queue[self.first] = nil
    self.first = self.first + 1
    return record
  elseif not self.handle then
    return nil, errors.plain("closed", "%s: the subscription has ended", what)
  end
  local waiter = {}
  self.tap = tap_for(waiter)
  local ok, answered = waiting.pcall(waiting.await, self.scheduler, waiter, what, limit_ms)
  self.tap = nil
  if not ok then
    error(answered, 0)
  elseif not answered then
    return nil, errors.late(limit_ms, what)
  end
  return waiter.result
end

--- Waits for one event of several targets, for each of which there is a subscription meanwhile.
-- @return the event's values by name and the target; nil and an error object when none came
function events.wait_any(scheduler, subscriptions, targets, event, limit_ms)
  local waiter, list = {}, {}
  local ok, answered = waiting.pcall(function()
    for _, target in ipairs(targets) do
      local one = events.subscribe(scheduler, subscriptions, target, event)
      one.tap = tap_for(waiter, target)
      list[#list + 1] = one
    end
    return waiting.await(scheduler, waiter, event.name, limit_ms)
  end)
  for _, one in ipairs(list) do
    one:cancel()
  end
  if not ok then
    error(answered, 0)
  elseif not answered then
    return nil, errors.late(limit_ms, event.service.name .. "." .. event.name)
  end
  return waiter.result, waiter.target
end

return events
