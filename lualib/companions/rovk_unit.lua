--- A hand on the simulated unit behind a context: its clock, what its sensors and inputs see, its faults.
-- For scripts on a desk and for tests; a real unit has nothing of the kind, and each function then raises
-- an error that says so.
--
-- What a function causes arrives like anything else from the unit: callbacks run in the next blocking
-- command or in rovk_loop.dispatch, never inside a function of this module.
-- A function gives true or its value; where it fails, nil, a text that tells what was wrong and what
-- there is, and the negative status: write assert around each. An argument of the wrong kind is an error.

local companion = require("rovk_companion")

local unit = {}

--- now(context): the unit's clock, in milliseconds since it was switched on.
unit.now = companion.now

--- advance(context, ms): moves the clock forward by `ms` milliseconds; all that falls due on the way
-- happens at its own time. Only for a context opened with "sim?clock=virtual".
unit.advance = companion.advance

--- set(context, input, index, value): sets what an input sees. `input` is one of "temperature"
-- (millidegrees Celsius), "light" (millilux), "bus_voltage" (mV), "current" (mA), "analog" (mV), "button"
-- (0, 1), "alarm" (0 open, 1 closed, 2 sabotaged), "switch_contact", "fan_blocked", "motor_blocked",
-- "port_taken" (0 or 1), "air_temperature" (millidegrees Celsius, around the unit); `index` counts from 0.
-- A `value` of nil lets a "temperature", "current" or "bus_voltage" go, so that the unit's own heat and
-- loads decide again.
unit.set = companion.set

--- get(context, input, index): what an input sees now.
unit.get = companion.get

--- press(context, index), release(context, index): a finger on button `index`.
unit.press, unit.release = companion.press, companion.release

--- open(context, index), close(context, index), sabotage(context, index): alarm contact `index`.
unit.open, unit.close, unit.sabotage = companion.open, companion.close, companion.sabotage

--- power(context, on): switches the whole unit off (false) or on (true). Off, it answers nothing and what
-- was under way is gone; on again, all peripherals boot and raise reset_occurred. EEPROMs and files stay.
unit.power = companion.power

--- reset(context, address, type): resets the peripheral at `address`, as a watchdog would; it raises
-- reset_occurred with `type`.
unit.reset = companion.reset

--- fault(context, address, id): gives the peripheral at `address` a fault. Its commands answer with
-- fault_exists until rovktrans_common_clear_fault, or until an id of 0 here.
unit.fault = companion.fault

--- spontaneous_error(context, address, id, bytes): lets the peripheral at `address` raise
-- spontaneous_error, with up to 18 bytes in a table, or none.
unit.spontaneous_error = companion.spontaneous_error

--- disturb(context, what, count, value): disturbs the next `count` answers to this context. `what` is
-- "lose", "duplicate", "delay" (by `value` milliseconds), "corrupt" or "misdirect".
unit.disturb = companion.disturb

-- A value as a unit file spells it.
local function spell(value)
  if type(value) == "string" then
    return '"' .. value:gsub('[%c"\\]', function(character)
      return ("\\u%04x"):format(character:byte())
    end) .. '"'
  elseif type(value) == "number" then
    return (value % 1 == 0 and "%d" or "%.17g"):format(value)
  elseif type(value) == "table" then
    local items = {}
    for position, item in ipairs(value) do
      items[position] = spell(item)
    end
    return "[" .. table.concat(items, ", ") .. "]"
  end
  return tostring(value)
end

--- Lets messages meet with mishaps from now on, in place of what was planned before. `rules` is a list of
-- tables with the keys of a [[fault]] of a unit file, and may have a field `seed`; nil ends all.
-- What is wrong with a rule is told as "rule:N: ...".
function unit.plan(context, rules)
  local lines = {}
  for position, rule in ipairs(rules or {}) do
    local fields = {}
    for key, value in pairs(rule) do
      fields[#fields + 1] = spell(tostring(key)) .. " = " .. spell(value)
    end
    lines[position] = "{ " .. table.concat(fields, ", ") .. " }"
  end
  -- The n-th rule on the n-th line.
  local seed = rules and rules.seed and ("\nfault_seed = " .. spell(rules.seed)) or ""
  return companion.plan(context, "fault = [" .. table.concat(lines, ",\n") .. "]" .. seed)
end

--- Calls `f` when the unit's clock reads `ms`. `f` acts on the unit by the functions of this module; it runs
-- inside whatever waits on the context then, and commands fail in it.
function unit.at(context, ms, f)
  return companion.at(context, ms, f)
end

--- What only an onlooker sees: `what` is one of those of rovk_unit_probe in include/rovk/unit.h. `ms` is a
-- time of the unit's clock, now when left out.
function unit.probe(context, what, index, ms)
  return companion.probe(context, what, index, ms)
end

--- What happened so far: `injected` is a list with a count for each rule; `commands`, `events` and `errors`
-- have a count for each that the protocol has, by names as in "led_0001.set_state". 0: not tried yet.
function unit.report(context)
  local text, message, status = companion.report(context)
  if not text then
    return nil, message, status
  end
  local report = { injected = {}, commands = {}, events = {}, errors = {} }
  for kind, first, second, count in text:gmatch("(%l+) (%S+) (%S+) (%d+)\n") do
    report[kind .. "s"][first .. "." .. second] = tonumber(count)
  end
  for count in text:gmatch("injected %S+ (%d+)\n") do
    report.injected[#report.injected + 1] = tonumber(count)
  end
  return report
end

return unit
