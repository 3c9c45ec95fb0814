---@meta rovk_unit

---A hand on the simulated unit. What fails gives nil, a text and a negative status.
---@class rovk_unit
local unit = {}

---@alias rovk.input
---| "temperature" # millidegrees Celsius
---| "light" # millilux
---| "bus_voltage" # mV
---| "current" # mA
---| "analog" # mV
---| "button" # 0, 1
---| "alarm" # 0 open, 1 closed, 2 sabotaged
---| "switch_contact" # 0, 1
---| "fan_blocked" # 0, 1
---| "motor_blocked" # 0, 1
---| "port_taken" # 0, 1

---@alias rovk.disturbance
---| "lose"
---| "duplicate"
---| "delay" # by `value` milliseconds
---| "corrupt" # a message of no known type
---| "misdirect" # a uuid that nobody waits for

---@param context userdata
---@return number? ms since the unit was switched on
function unit.now(context) end

---Moves a virtual clock.
---@param context userdata
---@param ms number
function unit.advance(context, ms) end

---@param context userdata
---@param input rovk.input
---@param index integer
---@param value integer
function unit.set(context, input, index, value) end

---@param context userdata
---@param input rovk.input
---@param index integer
---@return integer? value
function unit.get(context, input, index) end

---@param context userdata
---@param index integer
function unit.press(context, index) end

---@param context userdata
---@param index integer
function unit.release(context, index) end

---@param context userdata
---@param index integer
function unit.open(context, index) end

---@param context userdata
---@param index integer
function unit.close(context, index) end

---@param context userdata
---@param index integer
function unit.sabotage(context, index) end

---Resets a peripheral, which raises `reset_occurred`.
---@param context userdata
---@param address integer
---@param type integer
function unit.reset(context, address, type) end

---Gives a peripheral a fault; 0 clears it.
---@param context userdata
---@param address integer
---@param id integer
function unit.fault(context, address, id) end

---@param context userdata
---@param address integer
---@param id integer
---@param bytes? integer[]
function unit.spontaneous_error(context, address, id, bytes) end

---Disturbs the next `count` answers.
---@param context userdata
---@param what rovk.disturbance
---@param count integer
---@param value? integer
function unit.disturb(context, what, count, value) end

return unit
