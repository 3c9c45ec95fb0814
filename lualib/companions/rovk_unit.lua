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
-- "port_taken" (0 or 1); `index` counts from 0.
unit.set = companion.set

--- get(context, input, index): what an input sees now.
unit.get = companion.get

--- press(context, index), release(context, index): a finger on button `index`.
unit.press, unit.release = companion.press, companion.release

--- open(context, index), close(context, index), sabotage(context, index): alarm contact `index`.
unit.open, unit.close, unit.sabotage = companion.open, companion.close, companion.sabotage

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

return unit
