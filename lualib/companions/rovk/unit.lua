-- A unit: what it has, when its tasks run, and its end.

local catalogue = require("rovk_catalogue")
local errors = require("rovk.errors")
local events = require("rovk.events")
local platforms = require("rovk.platform")
local rovk = require("rovk_message")
local schedulers = require("rovk.scheduler")
local targets = require("rovk.targets")
local tasks = require("rovk.tasks")
local turns = require("rovk.turns")
local waiting = require("rovk.waiting")

local units = {}
errors.room()

local unit = {}
unit.__index = unit

local DEVICE_PREFIX, LOCATION_PREFIX = "ROVK_PERIPHERAL_DEVICE_ID_", "ROVK_GPI_LOCATION_"

-- The constants of that prefix, by their short names and by their numbers.
local function named_constants(prefix)
  local list = { names = {}, number_of = {}, name_of = {} }
  for _, constant in ipairs(catalogue.services.common.constants) do
    local name = constant.name:match("^" .. prefix .. "(.*)$")
    if name then
      list.names[#list.names + 1] = name
      list.number_of[name] = constant.value
      list.name_of[constant.value] = name
    end
  end
  return list
end

local devices, locations = named_constants(DEVICE_PREFIX), named_constants(LOCATION_PREFIX)

-- A number, or the name of one, with or without its prefix.
local function number_of(what, given, list, prefix)
  if type(given) == "number" and given % 1 == 0 and given >= 0 and given <= 4294967295 then
    return given
  end
  local name = type(given) == "string" and given:gsub("^" .. prefix, "") or given
  local number = type(name) == "string" and list.number_of[name]
  if not number then
    errors.unknown(what, name, list.names)
  end
  return number
end

local function service_of(given)
  if type(given) == "number" and catalogue.by_id[given] then
    return catalogue.by_id[given]
  end
  local service = type(given) == "string" and catalogue.services[given]
  if not service or not service.id then
    local names = errors.names_of(catalogue.services)
    table.remove(names, 1)
    errors.unknown("there is no service", type(given) == "number" and ("%g"):format(given) or given, names)
  end
  return service
end

local function check_open(self)
  turns.check_open(self.scheduler, turns.current())
end

-- What the unit is made of ---------------------------------------------------------------------------

-- `action(1)` to `action(count)`, all at once where waiting is possible.
local function gather(self, count, action)
  local results, list = {}, {}
  for place = 1, count do
    list[place] = function()
      results[place] = action(place) or false
    end
  end
  if self.scheduler.platform.loop and turns.can_wait(self.scheduler) then
    tasks.all(self.scheduler, list)
  else
    for place = 1, count do
      list[place]()
    end
  end
  return results
end

local function at_address(self, service, address, more)
  return targets.new(self, service, address, nil, more)
end

-- Every peripheral that the router leads to, in its order. Those that do not answer are left out, and asked again
-- the next time.
local function inventory(self)
  if self.known then
    return self.known
  end
  local router = self:peripheral("router_0000")
  local addresses, seen = {}, {}
  for _, address in ipairs(gather(self, router:get_count().count, function(place)
    return router:get_route({ index = place - 1 }).peripheral_address
  end)) do
    if not seen[address] then
      seen[address] = true
      addresses[#addresses + 1] = address
    end
  end
  local complete, list = true, {}
  for place, info in ipairs(gather(self, #addresses, function(place)
    return at_address(self, catalogue.services.common, addresses[place]):try_get_peripheral_info()
  end)) do
    local service = info and catalogue.by_id[info.id]
    complete = complete and info
    if service then
      list[#list + 1] = at_address(self, service, addresses[place],
        { location = locations.name_of[info.location], device_count = info.device_count })
    end
  end
  self.known = complete and list or nil
  return list
end

--- Forgets which peripherals there are; the next question asks the unit again.
function unit:rescan()
  self.known = nil
end

--- All peripherals, or those of one service.
function unit:peripherals(service)
  local wanted = service ~= nil and service_of(service).name
  check_open(self)
  local list = {}
  for _, peripheral in ipairs(inventory(self)) do
    if not wanted or peripheral.service == wanted then
      list[#list + 1] = peripheral
    end
  end
  return list
end

--- A peripheral of a service: the first, the one at an address, or the one on a board, "IMAGER_0_BOARD".
function unit:peripheral(service, where)
  local found, err = self:try_peripheral(service, where)
  if not found then
    errors.mistake("%s", err.message)
  end
  return found
end

--- The same; nil and an error object where the unit has none.
function unit:try_peripheral(service, where)
  local wanted = service_of(service)
  check_open(self)
  if type(where) == "number" and where % 1 == 0 and where >= 0 and where <= 65535 then
    return at_address(self, wanted, where)
  elseif where == nil and wanted.id == 0 then
    return at_address(self, wanted, rovk.ROVK_ROUTER_PERIPHERAL_ADDRESS)
  end
  local location = where ~= nil
    and locations.name_of[number_of("unit:peripheral: there is no board", where, locations, LOCATION_PREFIX)]
  for _, peripheral in ipairs(self:peripherals(wanted.name)) do
    if not location or peripheral.location == location then
      return peripheral
    end
  end
  return nil, errors.plain("missing", "this unit has no peripheral %s%s", wanted.name,
    location and " on " .. location or "")
end

local function device(self, service, address, index, id)
  return targets.new(self, service, address, index, { id = id, name = id ~= 0 and devices.name_of[id] or nil })
end

--- All devices of a service, of all its peripherals.
function unit:devices(service)
  local wanted = service_of(service)
  local list = {}
  for _, peripheral in ipairs(self:peripherals(wanted.name)) do
    for place, id in ipairs(gather(self, peripheral.device_count, function(place)
      return peripheral:get_peripheral_device_id({ index = place - 1 }).peripheral_device_id
    end)) do
      list[#list + 1] = device(self, wanted, peripheral.address, place - 1, id)
    end
  end
  return list
end

--- A device by its name, "LED_FRONT_PANEL_RED", or its number.
function unit:device(service, name)
  local found, err = self:try_device(service, name)
  if not found then
    errors.mistake("%s", err.message)
  end
  return found
end

--- The same; nil and an error object where the unit has none.
function unit:try_device(service, name)
  local wanted = service_of(service)
  local id = number_of("unit:device: there is no device", name, devices, DEVICE_PREFIX)
  check_open(self)
  local found = rovk.rovktrans_find_device(self.context, wanted.id, id)
  if found then
    return device(self, wanted, found.address, found.index, id)
  end
  local names = {}
  for _, other in ipairs(self:devices(wanted.name)) do
    names[#names + 1] = other.name or ("number %d"):format(other.id)
  end
  return nil, errors.plain("missing", "%s has no device %s on this unit; it has %s", wanted.name,
    devices.name_of[id] or ("number %d"):format(id), #names > 0 and table.concat(names, ", ") or "none")
end

--- A device that a script cannot do without; without a name, the first peripheral of the service. Where the unit has
-- none, one line says so and the program ends with status 1.
function unit:need(service, name)
  local found, err
  if name == nil then
    found, err = self:try_peripheral(service)
  else
    found, err = self:try_device(service, name)
  end
  if not found then
    self:close()
    io.stdout:flush()
    io.stderr:write(err.message, "\n")
    os.exit(1)
  end
  return found
end

--- The device at a place of a peripheral: an address and an index that are known from elsewhere.
function unit:device_at(service, address, index)
  local wanted = service_of(service)
  for name, given in pairs { address = { address, 65535 }, index = { index, 255 } } do
    local value = given[1]
    if type(value) ~= "number" or value % 1 ~= 0 or value < 0 or value > given[2] then
      errors.mistake("unit:device_at: %s: got %s; allowed is a whole number from 0 to %d", name, errors.show(value),
        given[2])
    end
  end
  return targets.new(self, wanted, address, index)
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
