--- Names of the protocol's numbers, both ways: a function that is given a number gives the name, given a name
-- the number. What is unknown gives nil and a text, with the nearest name where one was given.
--
-- Commands, events and errors are numbered a service at a time: id 32 means something else in each. Numbers below
-- 32 are those of `common` in every service. A service is given by name or by id.

local catalogue = require("rovk_catalogue")

local names = {}

-- How many letters must be put in, left out, changed or swapped with the next to make one word of the other.
local function distance(a, b)
  local before, last = {}, {}
  for j = 0, #b do
    last[j] = j
  end
  for i = 1, #a do
    local row = { [0] = i }
    for j = 1, #b do
      local same = a:byte(i) == b:byte(j)
      row[j] = math.min(last[j] + 1, row[j - 1] + 1, last[j - 1] + (same and 0 or 1))
      if i > 1 and j > 1 and a:byte(i) == b:byte(j - 1) and a:byte(i - 1) == b:byte(j) then
        row[j] = math.min(row[j], before[j - 2] + 1)
      end
    end
    before, last = last, row
  end
  return last[#b]
end

--- The candidate that is nearest to a word, or nil when none is near.
-- @param word what was written
-- @param candidates a list of texts
function names.nearest(word, candidates)
  local best, least
  word = word:lower()
  for _, candidate in ipairs(candidates) do
    local text = candidate:lower()
    local far = distance(word, text)
    -- Half a name is meant more often than another name of the same length.
    if #word > 2 and text:find(word, 1, true) then
      far = math.min(far, 1 + (#text - #word) / 16)
    end
    if not least or far < least then
      best, least = candidate, far
    end
  end
  return least and least <= math.max(2, #word / 3) and best or nil
end

local function unknown(what, value, candidates)
  if type(value) ~= "string" then
    return nil, ("there is no %s %s"):format(what, tostring(value))
  end
  local near = names.nearest(value, candidates)
  return nil, ("there is no %s '%s'%s"):format(what, value, near and (", did you mean '%s'?"):format(near) or "")
end

local function names_of(...)
  local list = {}
  for _, items in ipairs { ... } do
    for _, item in ipairs(items) do
      list[#list + 1] = item.name
    end
  end
  return list
end

-- The service that a name, an id or a service itself means.
local function find_service(service)
  local found
  if type(service) == "number" then
    found = catalogue.by_id[service]
  elseif type(service) == "table" then
    found = service
  elseif type(service) == "string" then
    found = catalogue.services[service]
  end
  if found then
    return found
  end
  return unknown("service", service, names_of(catalogue.services))
end

--- 1 to "led_0001" and back. `common` has no id: its name gives nil.
function names.service(value)
  local service, message = find_service(value)
  if not service then
    return nil, message
  elseif type(value) == "number" then
    return service.name
  elseif not service.id then
    return nil, ("service '%s' has no id"):format(service.name)
  end
  return service.id
end

-- One look-up for commands, events and errors: a service's own first, then those of common.
local function look_up(what, list, by_number, key, service, value)
  local found, message = find_service(service)
  if not found then
    return nil, message
  end
  for _, place in ipairs { found, catalogue.services.common } do
    if type(value) == "number" and place[by_number][value] then
      return place[by_number][value].name
    elseif type(value) == "string" and place[list][value] then
      return place[list][value][key]
    end
  end
  return unknown(("%s of %s"):format(what, found.name), value,
    names_of(found[list], catalogue.services.common[list]))
end

--- ("led_0001", 33) to "set_state" and back.
function names.command(service, value)
  return look_up("command", "commands", "by_opcode", "opcode", service, value)
end

--- ("button_0002", 32) to "state_change" and back.
function names.event(service, value)
  return look_up("event", "events", "by_event_id", "id", service, value)
end

--- ("calibration_0015", 34) to "efl_out_of_range" and back.
function names.error(service, value)
  return look_up("error", "errors", "by_error_id", "id", service, value)
end

-- Values of constants that share a beginning.
local function look_up_constant(what, prefix, constants, value)
  local candidates = {}
  for _, constant in ipairs(constants) do
    if constant.name:sub(1, #prefix) == prefix then
      local name = constant.name:sub(#prefix + 1)
      if value == constant.value then
        return name
      elseif value == name or value == constant.name then
        return constant.value
      end
      candidates[#candidates + 1] = name
    end
  end
  return unknown(what, value, candidates)
end

--- 2 to "LED_FRONT_PANEL_RED" and back; the constant's whole name is taken too.
function names.device(value)
  return look_up_constant("device", "ROVK_PERIPHERAL_DEVICE_ID_", catalogue.services.common.constants, value)
end

--- 2 to "IMAGER_0_BOARD" and back.
function names.location(value)
  return look_up_constant("location", "ROVK_GPI_LOCATION_", catalogue.services.common.constants, value)
end

--- What a function gave as its status: -110 to "ETIMEDOUT" and back, 8 to "invalid_payload" and back.
-- @param service whose errors the positive ones are; nothing: only those of `common` are known
function names.status(value, service)
  if type(value) == "number" and value > 0 or type(value) == "string" and value:match("^%l") then
    return names.error(service or "common", value)
  end
  return look_up_constant("status", "", catalogue.statuses, value)
end

-- Name to value and value to names, of all services. Built when it is first asked for: it loads them all.
local all_values, all_names

local function add_constant(name, value)
  all_values[name] = value
  all_names[value] = all_names[value] or {}
  table.insert(all_names[value], name)
end

local function add_version(prefix, version)
  add_constant(prefix .. "_VERSION_MAJOR", version.major)
  add_constant(prefix .. "_VERSION_MINOR", version.minor)
end

local function collect_constants()
  all_values, all_names = {}, {}
  add_version("ROVK_PROTOCOL", catalogue.version)
  for _, constant in ipairs(catalogue.constants) do
    add_constant(constant.name, constant.value)
  end
  for _, service in ipairs(catalogue.services) do
    if service.constant then
      add_constant(service.constant, service.id)
    end
    add_version(("ROVK_%s_API"):format(service.name:upper()), service.api)
    for _, group in ipairs { { service.commands, "opcode" }, { service.events, "id" }, { service.errors, "id" } } do
      for _, item in ipairs(group[1]) do
        add_constant(item.constant, item[group[2]])
      end
    end
    for _, constant in ipairs(service.constants) do
      add_constant(constant.name, constant.value)
    end
  end
end

--- "ROVK_RELAY_0019_STATE_OPEN" to 1, and back with the beginning that is meant:
-- (1, "ROVK_RELAY_0019_STATE_"). Without one, a number gives the names of all constants that have it, in a list.
function names.constant(value, prefix)
  if not all_values then
    collect_constants()
  end
  if type(value) == "string" then
    if all_values[value] then
      return all_values[value]
    end
    local candidates = {}
    for name in pairs(all_values) do
      candidates[#candidates + 1] = name
    end
    table.sort(candidates)
    return unknown("constant", value, candidates)
  elseif not prefix then
    return all_names[value] or {}
  end
  for _, name in ipairs(all_names[value] or {}) do
    if name:sub(1, #prefix) == prefix then
      return name
    end
  end
  return unknown(("constant %s*"):format(prefix), value)
end

--- What a number means in a field: the name of its value, or nil when that number has none.
-- @param field a field of the catalogue
function names.value(field, number)
  for _, value in ipairs(field.values or {}) do
    if value.value == number then
      return value.name, value.constant
    end
  end
  return nil
end

return names
