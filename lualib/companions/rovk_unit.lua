--- A hand on the simulated unit behind a context: its clock, what its sensors and inputs see, its faults.
-- For scripts on a desk and for tests; a real unit has nothing of the kind, and each function then raises
-- an error that says so.
--
-- What a function causes arrives like anything else from the unit: callbacks run in the next blocking
-- command or in rovk_loop.dispatch, never inside a function of this module.
-- A function gives true or its value; where it fails, nil, a text and the negative status.

local companion = require("rovk_companion")

local unit = {}

--- The unit's clock, in milliseconds since it was switched on.
function unit.now(context)
  return companion.now(context)
end

--- Moves the clock forward by `ms` milliseconds; all that falls due on the way happens at its own time.
-- Only for a context opened with "sim?clock=virtual".
function unit.advance(context, ms)
  return companion.advance(context, ms)
end

--- Sets what an input sees. `input` is one of "temperature" (millidegrees Celsius), "light" (millilux),
-- "bus_voltage" (mV), "current" (mA), "analog" (mV), "button", "alarm" (0 open, 1 closed, 2 sabotaged),
-- "switch_contact", "fan_blocked", "motor_blocked" (0 or 1); `index` counts from 0.
function unit.set(context, input, index, value)
  return companion.set(context, input, index, value)
end

--- What an input sees now.
function unit.get(context, input, index)
  return companion.get(context, input, index)
end

--- Presses and releases button `index`.
function unit.press(context, index)
  return companion.set(context, "button", index, 1)
end

function unit.release(context, index)
  return companion.set(context, "button", index, 0)
end

--- Opens, closes and sabotages alarm contact `index`.
function unit.open(context, index)
  return companion.set(context, "alarm", index, 0)
end

function unit.close(context, index)
  return companion.set(context, "alarm", index, 1)
end

function unit.sabotage(context, index)
  return companion.set(context, "alarm", index, 2)
end

--- Resets the peripheral at `address`, as a watchdog would; it raises reset_occurred with `type`.
function unit.reset(context, address, type)
  return companion.reset(context, address, type)
end

--- Gives the peripheral at `address` a fault: its commands answer with fault_exists until clear_fault.
-- An id of 0 takes the fault away.
function unit.fault(context, address, id)
  return companion.fault(context, address, id)
end

--- Lets the peripheral at `address` raise spontaneous_error, with up to 18 bytes in a table.
function unit.spontaneous_error(context, address, id, bytes)
  return companion.spontaneous_error(context, address, id, bytes)
end

--- Disturbs the next `count` answers to this context. `what` is "lose", "duplicate", "delay" (by `value`
-- milliseconds), "corrupt" or "misdirect".
function unit.disturb(context, what, count, value)
  return companion.disturb(context, what, count, value)
end

return unit
