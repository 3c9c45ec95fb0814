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
---| "air_temperature" # millidegrees Celsius, around the unit

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
---@param value integer? nil lets a temperature, current or voltage go
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

---Switches the whole unit off or on.
---@param context userdata
---@param on boolean
function unit.power(context, on) end

---Keys of a `[[fault]]` of a unit file; `do` says what befalls a message.
---@class rovk.fault_rule
---@field on? "command"|"answer"|"event"|"any"
---@field service? string
---@field command? string
---@field event? string
---@field address? integer
---@field application? integer
---@field nth? integer
---@field times? integer
---@field probability? number
---@field ms? number
---@field byte? integer
---@field value? integer
---@field error? string|integer
---@field detail? integer[]

---Lets messages meet with mishaps, in place of what was planned before; nil ends all. The list may have
---a field `seed` as well.
---@param context userdata
---@param rules? rovk.fault_rule[]
function unit.plan(context, rules) end

---Calls `f` when the unit's clock reads `ms`.
---@param context userdata
---@param ms number
---@param f fun()
function unit.at(context, ms, f) end

---@alias rovk.probe
---| "light" # 0, 1
---| "relay_energised" # 0, 1
---| "relay_open" # 0, 1
---| "alarm_millivolts"
---| "switch" # 0, 1
---| "temperature" # millidegrees Celsius
---| "rail_microwatts"
---| "heater" # milliwatts given now
---| "illuminator" # milliwatts given now
---| "fan_rpm"
---| "focus" # steps
---| "zoom" # steps
---| "iris" # steps
---| "filter" # steps from in front of the sensor
---| "pan" # millidegrees
---| "tilt" # millidegrees

---What only an onlooker sees.
---@param context userdata
---@param what rovk.probe
---@param index? integer
---@param ms? number a time of the unit's clock, for a light
---@return integer? value
function unit.probe(context, what, index, ms) end

---@class rovk.report
---@field injected integer[]
---@field commands table<string, integer>
---@field events table<string, integer>
---@field errors table<string, integer>

---What was injected, and what of the protocol was tried.
---@param context userdata
---@return rovk.report?
function unit.report(context) end

return unit
