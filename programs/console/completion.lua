-- What a word of a line may become: a service, a device, a command, an input, a value of one, a constant, or a name of
-- Lua; by what stands before it.

local catalogue = require("rovk_catalogue")
local errors = require("rovk.errors")
local message = require("rovk_message")
local rovk = require("rovk")
local words = require("console.words")

local completion = {}

local KEYWORDS = { "and", "break", "do", "else", "elseif", "end", "false", "for", "function", "if", "in", "local",
  "nil", "not", "or", "repeat", "return", "then", "true", "until", "while" }
local LOCATION_PREFIX = "ROVK_GPI_LOCATION_"
-- What follows the name of an input.
local ASSIGN = " = "
-- Methods that every device and peripheral has beside its commands.
local TARGET_METHODS = { "on", "wait", "with" }

local function keys_of(value, list)
  list = list or {}
  for key in pairs(value) do
    if type(key) == "string" and key:find("^[%a_][%w_]*$") then
      list[#list + 1] = key
    end
  end
  return list
end

-- The value of "a.b.c", without asking the unit or running anything of the user's.
local function value_of(session, path)
  local value
  for name in path:gmatch("[%a_][%w_]*") do
    if value == nil then
      value = rawget(session.env, name)
      if value == nil then
        value = rawget(_G, name)
      end
    elseif value == rovk then
      -- It loads its rooms when they are asked for, and raises for what it has not.
      local ok, room = pcall(function()
        return rovk[name]
      end)
      value = ok and room or nil
    elseif type(value) == "table" then
      value = rawget(value, name)
    else
      return nil
    end
    if value == nil then
      return nil
    end
  end
  return value
end

-- The service whose commands stand behind this: a service's name, a variable, or a call that gives a device.
local function service_of(session, text)
  local path = text:match("([%a_][%w_.]*)%s*$")
  if path then
    local value = value_of(session, path)
    return catalogue.services[type(value) == "table" and rawget(value, "service") or path]
  end
  local call = text:match("[:.]%l*device%l*%s*(%b())%s*$") or text:match("[:.]%l*peripheral%l*%s*(%b())%s*$")
    or text:match("[:.]%l*peripheral%l*%s*([\"'].-[\"'])%s*$")
  return call and catalogue.services[call:match("[\"']([%w_]+)[\"']") or ""]
end

local function is_unit(session, text)
  local value = value_of(session, text:match("([%a_][%w_.]*)%s*$") or "")
  return type(value) == "table" and getmetatable(value) == getmetatable(session.unit)
end

local function commands_of(service, word)
  local list = {}
  local prefix = word:find("^try_") and "try_" or ""
  for _, of in ipairs { service, catalogue.services.common } do
    for _, command in ipairs(of.commands) do
      list[#list + 1] = prefix .. command.name
    end
  end
  for _, name in ipairs(TARGET_METHODS) do
    list[#list + 1] = name
  end
  return list
end

local function command_of(session, before, name)
  local service = service_of(session, before)
  name = name:gsub("^try_", "")
  return service and (service.commands[name] or catalogue.services.common.commands[name])
end

-- Strings: services, devices, boards, events, named values --------------------------------------------

local function device_names(session, service)
  local list = {}
  if catalogue.services[service] then
    for _, device in ipairs(session.unit:devices(service)) do
      list[#list + 1] = device.name
    end
  end
  return list
end

local function locations()
  local list = {}
  for _, constant in ipairs(catalogue.services.common.constants) do
    local name = constant.name:match("^" .. LOCATION_PREFIX .. "(.*)$")
    list[#list + 1] = name
  end
  return list
end

local function in_string(session, before)
  local quote = before:sub(-1)
  local head = before:sub(1, -2)
  local second, service = head:match("[:.](%l[%l_]*)%s*%(%s*[\"']([%w_]+)[\"']%s*,%s*$")
  if second and second:find("device") then
    return device_names(session, service), quote
  elseif second and second:find("peripheral") then
    return locations(), quote
  end
  local of, name = head:match("^(.*)[:.]([%a_][%w_]*)%s*%(?%s*$")
  if name and (name:find("device") or name:find("peripheral")) then
    return words.services(), quote
  elseif name == "on" or name == "wait" then
    local found = service_of(session, of)
    if not found then
      return words.services(), "."
    end
    return errors.names_of(found.events), quote
  end
  local object, command, field = head:match("^(.*):([%l_][%w_]*)%s*%(?%s*{[^{}]-([%a_][%w_]*)%s*=%s*$")
  local found = object and command_of(session, object, command)
  found = found and found.inputs[field]
  return found and found.values and errors.names_of(found.values) or {}, quote
end

-- Fields of a call ------------------------------------------------------------------------------------

local function inputs_of(session, before)
  local object, name, given = before:match("^(.*):([%l_][%w_]*)%s*%(?%s*{([^{}]*)$")
  local command = object and command_of(session, object, name)
  if not command or given:find("=[^,]*$") then
    return nil
  end
  local list = {}
  local value = value_of(session, object:match("([%a_][%w_.]*)%s*$") or "")
  local has_index = type(value) == "table" and rawget(value, "index") ~= nil
  for _, field in ipairs(command.inputs) do
    if not given:find("%f[%w_]" .. field.name .. "%s*=") and not (has_index and field.name == "index") then
      list[#list + 1] = field.name
    end
  end
  return list, ASSIGN
end

-- Names -----------------------------------------------------------------------------------------------

local function global_names(session, word, at_beginning)
  local list = keys_of(_G, keys_of(session.env))
  for _, group in ipairs { KEYWORDS, words.services(), at_beginning and words.names or {} } do
    for _, name in ipairs(group) do
      list[#list + 1] = name
    end
  end
  if word:find("^R") then
    for name in pairs(message) do
      if type(name) == "string" and name:find("^ROVK_") then
        list[#list + 1] = name
      end
    end
  end
  return list
end

local function keys_behind_dot(session, text)
  local value = value_of(session, text:match("([%a_][%w_.]*)%s*$") or "")
  if value == rovk then
    return keys_of(rovk, { "open", "try_open", "attach", "pcall", "is_error", "main", "run", "catalogue", "names",
      "dump", "bytes", "hex" })
  end
  return type(value) == "table" and keys_of(value) or {}
end

-- Behind `help`: names with dots, of which the word is the last part.
local function topics(session, head)
  local service = catalogue.services[head:match("^([%w_]+)[.]$") or ""] or head ~= "" and service_of(session,
    head:sub(1, -2))
  if head == "" then
    local list = keys_of(session.env)
    for _, each in ipairs(catalogue.services) do
      list[#list + 1] = each.name
    end
    return list
  elseif not service then
    return {}
  end
  local list = commands_of(service, "")
  for _, group in ipairs { service.events, service.errors } do
    for _, item in ipairs(group) do
      list[#list + 1] = item.name
    end
  end
  return list
end

-- All that may stand here, and what follows a word that is the only one.
local function candidates(session, before, word)
  local own, rest = before:match("^%s*(%l+)%s+(.*)$")
  if own == "help" then
    return topics(session, rest)
  elseif own == "devices" and rest == "" then
    return words.services()
  elseif (own == "trace" or own == "clock") and rest == "" then
    return { "on", "off" }
  elseif before:find("[\"']$") then
    return in_string(session, before)
  elseif before:find("[:.]wait%s*%(?%s*[\"'][%w_]+%.$") then
    return errors.names_of(catalogue.services[before:match("([%w_]+)%.$")].events)
  elseif before:find(":%s*$") then
    local text = before:gsub(":%s*$", "")
    local service = service_of(session, text)
    if is_unit(session, text) then
      return keys_of(getmetatable(session.unit).__index), "("
    end
    return service and commands_of(service, word) or {}
  elseif before:find("%.%s*$") then
    return keys_behind_dot(session, (before:gsub("%.%s*$", "")))
  end
  local inputs, suffix = inputs_of(session, before)
  if inputs then
    return inputs, suffix
  end
  return global_names(session, word, before:find("^%s*$"))
end

--- @param before the line up to the word
-- @param word what is there of it
-- @return texts that the word may become, in order, without doubles
function completion.complete(session, before, word)
  -- Meanwhile the unit may be asked, which is no affair of the user's.
  session.quiet = true
  local ok, list, suffix = pcall(candidates, session, before, word)
  session.quiet = false
  local found, seen = {}, {}
  for _, name in ipairs(ok and list or {}) do
    if name:sub(1, #word) == word and not seen[name] and not (word == "" and name:find("^__?")) then
      seen[name] = true
      found[#found + 1] = name
    end
  end
  -- Inputs keep the order of the protocol.
  if suffix ~= ASSIGN then
    table.sort(found)
  end
  if #found == 1 and suffix then
    found[1] = found[1] .. suffix
  end
  return found
end

return completion
