-- A line of the console: from its text to what it shows. Lines run as tasks, so that timers, functions of events and
-- other tasks go on while one waits, and an interrupt ends the line alone.

local catalogue = require("rovk_catalogue")
local dump = require("rovk.dump")
local errors = require("rovk.errors")
local message = require("rovk_message")
local names = require("rovk.names")
local rovk = require("rovk")
local terminal = require("rovk_terminal")

local lines = {}
errors.room()

-- The name of the chunk in messages of Lua.
local CHUNK = "=line"
-- Without libraries that deliver, the unit is asked for what came so often, in milliseconds.
local ASK_MS = 250

-- The first peripheral of each service that the text names. Before the line runs, since the unit has to be asked, and
-- a task cannot wait while a global is looked up.
local function find_peripherals(session, text)
  text = text:gsub('"[^"]*"', '""'):gsub("'[^']*'", "''")
  for name in text:gmatch("[%a_][%w_]*") do
    local service = catalogue.services[name]
    if service and service.id and rawget(session.env, name) == nil then
      session.peripherals[name] = session.unit:try_peripheral(name)
    end
  end
end

-- What a line sees: its own globals, those of Lua, and by their names the constants and the first peripheral of each
-- service.
function lines.environment(session)
  local env = { rovk = rovk, unit = session.unit, rovk_message = message }
  env._G = env
  return setmetatable(env, {
    __index = function(_, key)
      local value = _G[key]
      if value == nil and type(key) == "string" then
        if key:find("^ROVK_") then
          value = message[key]
        else
          value = session.peripherals[key]
        end
      end
      return value
    end,
  })
end

-- A local of one line would be gone with the next. What is indented is inside of something and stays.
local function keep_locals(text)
  text = ("\n" .. text):gsub("\nlocal%s+(function%s)", "\n%1")
  text = text:gsub("\nlocal%s+([%a_][%w_%s,]-=)", "\n%1")
  return text:sub(2)
end

--- Makes a function of a text: an expression, whose values are shown, or statements.
-- @return the function; nil and what is wrong; nil and nothing: the text goes on in the next line
function lines.compile(session, text)
  text = keep_locals(text)
  local chunk, failure = loadstring("return " .. text:gsub("^%s*=", ""), CHUNK)
  if not chunk then
    chunk, failure = loadstring(text, CHUNK)
  end
  if chunk then
    setfenv(chunk, session.env)
    return function()
      find_peripherals(session, text)
      return chunk()
    end
  elseif failure:find("'<eof>'$") and not failure:find("unfinished string", 1, true) then
    return nil
  end
  return nil, failure
end

-- Errors ---------------------------------------------------------------------------------------------

local function add_keys(list, value)
  for key in pairs(value) do
    if type(key) == "string" then
      list[#list + 1] = key
    end
  end
end

-- What could have been meant where Lua found nothing under a name.
local function candidates(session, kind)
  local list = {}
  if kind == "global" then
    add_keys(list, session.env)
    add_keys(list, _G)
    for _, service in ipairs(catalogue.services) do
      list[#list + 1] = service.name
    end
    return list
  end
  for _, value in pairs { getmetatable(session.unit).__index, string, table, math, io, os } do
    add_keys(list, value)
  end
  return list
end

local function hint(session, text)
  local kind, name = text:match("(%l+) '([%w_]+)' %(a nil value%)")
  local near = kind and names.nearest(name, candidates(session, kind))
  return near and near ~= name and ("; did you mean '%s'?"):format(near) or ""
end

--- An error as the console tells it.
-- @param text the line's, when it is the line that failed
function lines.error_text(session, err, text)
  if type(err) ~= "string" then
    return rovk.is_error(err) and tostring(err) or dump.dump(err)
  end
  local many = text and text:find("\n")
  err = err:gsub("^line:(%d+): ", many and "line %1: " or "")
  if err:find("^unit:run inside a task") then
    return "unit:run: the console itself runs tasks, timers and functions of events; unit:sleep(ms) waits here"
  end
  return err .. hint(session, err)
end

-- Values ---------------------------------------------------------------------------------------------

-- A list that is too long for a line of the terminal has a line for each element.
local function value_text(value)
  local text = dump.dump(value)
  if type(value) ~= "table" or #value < 2 or #text < terminal.width() or text:sub(1, 1) ~= "{" then
    return text
  end
  local parts = {}
  for place, element in ipairs(value) do
    parts[place] = ("%d  %s"):format(place, dump.dump(element))
  end
  return table.concat(parts, "\n")
end

local function show(session, count, ...)
  for place = 1, count do
    session.say(value_text((select(place, ...))))
  end
  if count > 0 then
    session.env._ = (...)
  end
end

-- Running --------------------------------------------------------------------------------------------

--- One turn of the unit, and a wait for what comes next.
-- @param done called between; true: there is nothing to wait for
-- @param input true: for a line as well
-- @return what the terminal brought; "stalled": on a virtual clock nothing can come any more
function lines.turn(session, done, input)
  local unit = session.unit
  if unit.scheduler.closed then
    return terminal.wait(nil, nil, input)
  end
  local platform = unit.scheduler.platform
  local wait = unit:step()
  if done() then
    return nil
  elseif platform.virtual and not input then
    if terminal.interrupted() then
      return "interrupt"
    end
    return platform.wait(wait) == false and "stalled" or nil
  elseif platform.virtual then
    -- At the prompt a virtual clock stands still: whoever thinks about the next line takes no time of the unit's.
    wait = wait == 0 and 0 or nil
  elseif not platform.loop then
    return terminal.wait(nil, math.min(wait or ASK_MS, ASK_MS), input)
  end
  return terminal.wait(unit:fd(), wait, input)
end

local function finish(session, text, result)
  local stopped = result.stopped
  if result[1] then
    show(session, result.n - 1, unpack(result, 2, result.n))
    return true
  end
  if stopped == "interrupted" then
    session.say("\ninterrupted")
    session.failed = true
  else
    session.fail(stopped or lines.error_text(session, result[2], text))
  end
  return false
end

local function pack(...)
  return { n = select("#", ...), ... }
end

local STALLED = "what it waits for cannot come any more: on a virtual clock nothing else is going on"

--- Runs a function of a line, and shows what it gives or how it failed.
-- @return whether it succeeded
function lines.run(session, chunk, text)
  local result, stopped
  if session.unit.scheduler.closed then
    -- A thread all the same: what runs in none cannot be interrupted.
    result = pack(coroutine.wrap(function()
      return pcall(chunk)
    end)())
  else
    local task = session.unit:spawn(function()
      result = pack(rovk.pcall(chunk))
    end)
    local function done()
      return result ~= nil or task.state ~= "alive"
    end
    while not done() do
      local event = lines.turn(session, done, false)
      if event then
        stopped = event == "stalled" and STALLED or "interrupted"
        task:cancel()
      end
    end
  end
  result = result or { false, "the line was dropped where it waited, since the unit was closed", n = 2 }
  if terminal.interrupted() then
    stopped = "interrupted"
  end
  result.stopped = stopped
  -- Where a line opens another unit under that name, the console goes on with that.
  local unit = rawget(session.env, "unit")
  if type(unit) == "table" and type(rawget(unit, "scheduler")) == "table" then
    if unit ~= session.unit then
      session.take(unit)
    end
  end
  return finish(session, text, result)
end

return lines
