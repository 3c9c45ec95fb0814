-- The console's own words: lines that are no Lua.

local catalogue = require("rovk_catalogue")
local errors = require("rovk.errors")
local help = require("rovk.help")
local terminal = require("rovk_terminal")
local trace = require("console.trace")

local words = {}
errors.room()

local OVERVIEW = [[
A line is Lua: an expression, whose values are shown, or statements. `unit` is the unit, `rovk` the companion, `_` the
last value; a service's name is its first peripheral. Tab completes, Ctrl-C ends a line that runs, Ctrl-D the console.

  led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
  led:set_state { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 }
  led:get_state()

  help NAME          what a service, a command, an event, a field, a constant is: help led_0001.set_state
  devices [SERVICE]  what the unit has
  trace on|off       each command and its answer, with the unit's time
  clock [on|off]     the unit's clock; in the prompt
  quit               ends the console]]

-- led:set_state, where led is a device, is led_0001.set_state.
local function topic_of(session, name)
  local variable, rest = name:match("^([%a_][%w_]*)[:.](.+)$")
  local value = rawget(session.env, variable or name)
  local service = type(value) == "table" and rawget(value, "service")
  if not service then
    return name
  end
  return rest and service .. "." .. rest or service
end

function words.help(session, name)
  if name == "" then
    return session.say(OVERVIEW)
  end
  local text, problem = help.text(topic_of(session, name), math.min(terminal.width(), 110))
  if text then
    return session.say(text)
  end
  session.fail(problem)
end

local function tell_peripherals(session)
  for _, peripheral in ipairs(session.unit:peripherals()) do
    local count = peripheral.device_count
    session.say(("%-30s address %-5d %s%s"):format(peripheral.service, peripheral.address, peripheral.location or "",
      count > 0 and (", %d device%s"):format(count, count == 1 and "" or "s") or ""))
  end
end

function words.devices(session, service)
  if service == "" then
    return tell_peripherals(session)
  end
  local list = session.unit:devices(service)
  for _, device in ipairs(list) do
    session.say(("%-40s address %-5d index %d"):format(device.name or "number " .. device.id, device.address,
      device.index))
  end
  if #list == 0 then
    session.say(service .. " has no devices on this unit")
  end
end

local function switch(session, word, given, now)
  if given == "on" or given == "off" then
    return given == "on"
  elseif given ~= "" then
    session.fail(("%s: got '%s'; allowed are on and off"):format(word, given))
  end
  return now
end

function words.trace(session, given)
  local wanted = switch(session, "trace", given, trace.on())
  if given == "" then
    session.say(wanted and "on" or "off")
  end
  trace.to(wanted and function(text)
    if not session.quiet then
      session.say(("%s  %s"):format(session.clock(), text))
    end
  end or nil)
end

function words.clock(session, given)
  session.clock_shown = switch(session, "clock", given, session.clock_shown)
  if given == "" then
    session.say(session.clock())
  end
end

function words.quit(session)
  session.ended = true
end

words.exit = words.quit

-- What may stand behind the word; nothing else makes it one.
local FORMS = { help = "^[%w_.:-]*$", devices = "^[%w_]*$", trace = "^%l*$", clock = "^%l*$", quit = "^$", exit = "^$" }

--- The function of a line that is one of these words, to be run like a line of Lua; nil: it is none.
function words.find(session, text)
  local word, rest = text:match("^%s*(%l+)%s*(.-)%s*$")
  local form = word and FORMS[word]
  -- A variable of that name is the user's own.
  if not form or not rest:find(form) or rest == "" and rawget(session.env, word) ~= nil then
    return nil
  end
  return function()
    words[word](session, rest)
  end
end

--- Names of services, for those words and for strings.
function words.services()
  local list = {}
  for _, service in ipairs(catalogue.services) do
    if service.id then
      list[#list + 1] = service.name
    end
  end
  return list
end

words.names = { "help", "devices", "trace", "clock", "quit" }

return words
