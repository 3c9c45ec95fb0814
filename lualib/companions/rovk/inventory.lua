-- What a unit is made of: its peripherals, as the router tells, and their devices, by names or numbers.

local catalogue = require("rovk_catalogue")
local errors = require("rovk.errors")
local rovk = require("rovk_message")
local targets = require("rovk.targets")
local tasks = require("rovk.tasks")
local turns = require("rovk.turns")

-- The methods of a unit that belong here; rovk/unit.lua has the others.
local unit = {}
errors.room()

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

--- All devices, or those of one service, of all its peripherals.
function unit:devices(service)
  local list = {}
  for _, peripheral in ipairs(self:peripherals(service)) do
    local wanted = catalogue.services[peripheral.service]
    for place, id in ipairs(gather(self, peripheral.device_count, function(place)
      return peripheral:get_peripheral_device_id({ index = place - 1 }).peripheral_device_id
    end)) do
      list[#list + 1] = device(self, wanted, peripheral.address, place - 1, id)
    end
  end
  return list
end

--- A device by its name, "LED_FRONT_PANEL_RED", or its number; without one the only device of the service.
function unit:device(service, name)
  local found, err = self:try_device(service, name)
  if not found then
    errors.mistake("%s", err.message)
  end
  return found
end

-- The devices of a service for a message.
local function name_devices(list)
  local names = {}
  for place, other in ipairs(list) do
    names[place] = other.name or ("number %d"):format(other.id)
  end
  return #names > 0 and table.concat(names, ", ") or "none"
end

local function only_device(self, wanted)
  local list = self:devices(wanted.name)
  if #list > 1 then
    errors.mistake("unit:device: %s has %d devices; name one of %s", wanted.name, #list, name_devices(list))
  elseif #list == 0 then
    return nil, errors.plain("missing", "%s has no device on this unit", wanted.name)
  end
  return list[1]
end

--- The same; nil and an error object where the unit has none.
function unit:try_device(service, name)
  local wanted = service_of(service)
  if name == nil then
    return only_device(self, wanted)
  end
  local id = number_of("unit:device: there is no device", name, devices, DEVICE_PREFIX)
  check_open(self)
  local found = rovk.rovktrans_find_device(self.context, wanted.id, id)
  if found then
    return device(self, wanted, found.address, found.index, id)
  end
  return nil, errors.plain("missing", "%s has no device %s on this unit; it has %s", wanted.name,
    devices.name_of[id] or ("number %d"):format(id), name_devices(self:devices(wanted.name)))
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

return unit
