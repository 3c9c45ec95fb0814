-- A unit: how it is opened, when its tasks run, and its end.

local catalogue = require("rovk_catalogue")
local errors = require("rovk.errors")
local events = require("rovk.events")
local inventory = require("rovk.inventory")
local platforms = require("rovk.platform")
local rovk = require("rovk_message")
local schedulers = require("rovk.scheduler")
local tasks = require("rovk.tasks")
local turns = require("rovk.turns")
local waiting = require("rovk.waiting")

local units = {}
errors.room()

local unit = {}
unit.__index = unit
for name, method in pairs(inventory) do
  unit[name] = method
end

local function check_open(self)
  turns.check_open(self.scheduler, turns.current())
end

-- Time and tasks -------------------------------------------------------------------------------------

--- The unit's clock, in milliseconds.
function unit:now()
  check_open(self)
  return self.scheduler.platform.now()
end

--- Waits; 0 lets the others run once.
function unit:sleep(ms)
  errors.check_ms("unit:sleep", "ms", ms)
  waiting.await(self.scheduler, {}, "unit:sleep", ms)
end

--- Starts a function as a task. @return the task: `:wait(limit_ms)`, `:cancel()`, `:status()`
function unit:spawn(action, ...)
  errors.check_function("unit:spawn", action)
  check_open(self)
  return tasks.spawn(self.scheduler, action, ...)
end

--- Starts a function as a task after so many milliseconds. @return a timer: `:cancel()`
function unit:after(ms, action)
  errors.check_ms("unit:after", "ms", ms)
  errors.check_function("unit:after", action)
  return tasks.timer(self.scheduler, ms, action)
end

--- Starts a function as a task every so many milliseconds, not before it has ended. @return a timer: `:cancel()`
function unit:every(ms, action)
  errors.check_ms("unit:every", "ms", ms)
  errors.check_function("unit:every", action)
  if ms == 0 then
    errors.mistake("unit:every: ms: got 0; allowed is more than that")
  end
  return tasks.timer(self.scheduler, ms, action, ms)
end

--- Runs functions as tasks and waits for all of them. Raises the first failure and cancels the others.
-- @return a table with the first result of each under its key
function unit:all(list, limit_ms)
  if type(list) ~= "table" then
    errors.mistake("unit:all: got %s; allowed is a table of functions and tasks", errors.show(list))
  end
  errors.check_ms("unit:all", "limit_ms", limit_ms, true)
  check_open(self)
  return tasks.all(self.scheduler, list, limit_ms)
end

-- The services that have an event of that name.
local function services_with(name)
  local list = {}
  for _, service in ipairs(catalogue.services) do
    if service.events[name] then
      list[#list + 1] = service.name
    end
  end
  return list
end

local function event_names()
  local names = {}
  for _, service in ipairs(catalogue.services) do
    for _, event in ipairs(service.events) do
      names[#names + 1] = service.name .. "." .. event.name
    end
  end
  return names
end

--- Waits for an event from wherever in the unit: "button_0002.state_change", or "reset_occurred" where one service
-- alone has it.
-- @param limit_ms nil: no limit
-- @return the event's values by name and the peripheral; nil and an error object when none came
function unit:wait(name, limit_ms)
  errors.check_ms("unit:wait", "limit_ms", limit_ms, true)
  local service, event = tostring(name):match("^([%w_]+)%.([%w_]+)$")
  if not service then
    local list = type(name) == "string" and services_with(name) or {}
    if #list > 1 then
      errors.mistake("unit:wait: %s is an event of %s; write %s.%s", name, table.concat(list, ", "), list[1], name)
    end
    service, event = list[1], name
  end
  local found = catalogue.services[service or ""] and catalogue.services[service].events[event]
  if not found then
    errors.unknown("unit:wait: there is no event", name, event_names())
  end
  check_open(self)
  local peripherals = self:peripherals(service ~= "common" and service or nil)
  return events.wait_any(self.scheduler, self.subscriptions, peripherals, found, limit_ms)
end

--- Runs tasks, timers and the functions of events until nothing is left to do.
-- @return "done", "stopped" by `stop`, "closed", or "stalled": tasks are left that wait for what cannot come
function unit:run()
  return schedulers.run(self.scheduler)
end

--- Ends `run` as soon as what runs now waits.
function unit:stop()
  self.scheduler.stopped = true
end

--- Has `handler(err, traceback)` take the errors of tasks and callbacks, which else end `run`. nil: no more.
function unit:on_error(handler)
  if handler ~= nil then
    errors.check_function("unit:on_error", handler)
  end
  self.scheduler.on_error = handler
end

-- A loop of one's own --------------------------------------------------------------------------------

--- A file descriptor that is readable when `step` has something to do.
function unit:fd()
  check_open(self)
  local platform = self.scheduler.platform
  if not platform.loop then
    errors.mistake("unit:fd: the libraries under this program have no descriptor; call unit:step now and then")
  end
  return platform.descriptor()
end

--- Does what is due, without waiting.
-- @return milliseconds after which it wants to be called though the descriptor is silent; nil: it need not be
function unit:step()
  return schedulers.step(self.scheduler)
end

--- Whether tasks, timers or subscriptions with functions are left.
function unit:busy()
  return schedulers.left(self.scheduler)
end

-- The end --------------------------------------------------------------------------------------------

--- Ends subscriptions, timers, tasks and pending commands, and closes the unit. Anywhere, and more than once.
function unit:close()
  local scheduler = self.scheduler
  if scheduler.closed then
    return
  end
  schedulers.close(scheduler)
  local list = {}
  for subscription in pairs(self.subscriptions) do
    list[#list + 1] = subscription
  end
  for _, subscription in ipairs(list) do
    subscription:cancel()
  end
  if self.owned then
    rovk.rovktrans_deinit(self.context)
  end
  schedulers.sweep(scheduler)
end

function unit:__tostring()
  return ("unit%s%s"):format(self.text and " " .. self.text or "", self.scheduler.closed and ", closed" or "")
end

local OPTION_NAMES = { "clock", "sleep" }

local function check_options(what, options)
  if options ~= nil and type(options) ~= "table" then
    errors.mistake("%s: options: got %s; allowed is a table", what, errors.show(options))
  end
  for key, value in pairs(options or {}) do
    if key ~= "clock" and key ~= "sleep" then
      errors.unknown(what .. " has no option", key, OPTION_NAMES)
    end
    errors.check_function(what .. ": " .. key, value)
  end
  return options or {}
end

local function over(context, options, text, owned)
  local scheduler = schedulers.new(context, platforms.of(context, options))
  return setmetatable({ context = context, text = text, owned = owned, scheduler = scheduler, subscriptions = {} },
    unit)
end

--- Opens a unit. @return the unit; nil and an error object where there is none
function units.open(text, options)
  if text ~= nil and type(text) ~= "string" then
    errors.mistake("rovk.open: got %s; allowed is a text as in \"sim?clock=virtual\", or nothing", errors.show(text))
  end
  options = check_options("rovk.open", options)
  local status, context = rovk.rovktrans_init(text, nil)
  if status ~= 0 then
    return nil, errors.plain("failed", "cannot open %s: %s", text and "'" .. text .. "'" or "the unit",
      errors.status_text(status))
  end
  return over(context, options, text, true)
end

--- A unit over a context that is open already, and stays so when the unit is closed.
function units.attach(context, options)
  if type(context) ~= "userdata" then
    errors.mistake("rovk.attach: got %s; allowed is what rovktrans_init gave", errors.show(context))
  end
  return over(context, check_options("rovk.attach", options), nil, false)
end

return units
