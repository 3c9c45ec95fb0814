--- A home for scripts: devices by name, inputs by name, tasks that wait, errors that say what was wrong.
--
--   local rovk = require "rovk"
--   local unit = rovk.open()
--   local led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
--   led:set_state { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 }
--   print(led:get_state().duty_cycle_on_ms)
--
-- Plain Lua over rovk_message; with rovk_loop and rovk_unit, where the libraries below offer them, tasks run side by
-- side and time is the unit's. docs/rovk.md tells all of it.

local errors = require("rovk.errors")
local schedulers = require("rovk.scheduler")
local waiting = require("rovk.waiting")
local units = require("rovk.unit")

local rovk = {}
errors.room()

--- Opens a unit.
-- @param text where it is, as for rovktrans_init: nothing, "sim", "sim?clock=virtual"
-- @param options `clock`, a function that gives milliseconds, and `sleep`, one that takes them: for a unit whose
--   libraries have neither
-- @return the unit; raises where there is none
function rovk.open(text, options)
  local unit, err = units.open(text, options)
  if not unit then
    error(err, 0)
  end
  return unit
end

--- The same; nil and the error object where there is none.
function rovk.try_open(text, options)
  return units.open(text, options)
end

--- A unit over a context of rovktrans_init, which stays open when the unit is closed.
function rovk.attach(context, options)
  return units.attach(context, options)
end

--- pcall in which a task can wait; that of plain Lua 5.1 cannot be left and come back to.
function rovk.pcall(action, ...)
  return waiting.pcall(action, ...)
end

--- True for an error object; of a kind ("timeout", "cancelled", "closed", "missing", "failed") when one is given.
function rovk.is_error(value, kind)
  return errors.is(value, kind)
end

--- Runs a function and, where it fails, writes the error with its traceback to the standard error stream and ends the
-- program with status 1. The interpreter by itself shows texts alone.
function rovk.main(action, ...)
  local arguments, count = { ... }, select("#", ...)
  local ok = xpcall(function()
    action(unpack(arguments, 1, count))
  end, function(err)
    local where = errors.is(err) and err.where or ""
    local traceback = errors.is(err) and err.traceback or debug and debug.traceback("", 2) or ""
    io.stderr:write(where, tostring(err), "\n", (traceback:gsub("^\n", "")), "\n")
  end)
  if not ok then
    os.exit(1)
  end
end

--- Runs several units side by side until none has anything left to do.
function rovk.run(...)
  local list = {}
  for place = 1, select("#", ...) do
    local unit = select(place, ...)
    list[place] = type(unit) == "table" and rawget(unit, "scheduler")
    if not list[place] then
      errors.mistake("rovk.run: argument %d: got %s; allowed are units", place, errors.show(unit))
    end
  end
  schedulers.run_all(list)
end

-- What is loaded when it is first asked for.
local ROOMS = {
  catalogue = { "rovk_catalogue" }, names = { "rovk.names" }, dump = { "rovk.dump", "dump" },
  bytes = { "rovk.dump", "bytes" }, hex = { "rovk.dump", "hex" },
}
local NAMES = { "open", "try_open", "attach", "pcall", "is_error", "main", "run", "catalogue", "names", "dump", "bytes",
  "hex" }

return setmetatable(rovk, {
  __index = function(_, key)
    local room = ROOMS[key]
    if room then
      local module = require(room[1])
      rovk[key] = room[2] and module[room[2]] or module
      return rovk[key]
    end
    errors.unknown("rovk has no", key, NAMES)
  end,
})
