---@meta rovk

---@class rovk
---@field catalogue rovk.catalogue
---@field names rovk.names
local rovk = {}

---@class (exact) rovk.options
---@field clock? fun(): number milliseconds
---@field sleep? fun(ms: number)

---Opens a unit; raises where there is none.
---@param text? string as for rovktrans_init: nothing, "sim", "sim?clock=virtual"
---@param options? rovk.options
---@return rovk.unit unit
function rovk.open(text, options) end

---Opens a unit; nil and the error object where there is none.
---@param text? string
---@param options? rovk.options
---@return rovk.unit? unit
---@return rovk.error? err
function rovk.try_open(text, options) end

---A unit over a context that is open already and stays so.
---@param context userdata
---@param options? rovk.options
---@return rovk.unit unit
function rovk.attach(context, options) end

---pcall in which a task can wait.
---@param action function
---@param ... any
---@return boolean ok
---@return any ... results, or the error
function rovk.pcall(action, ...) end

---@alias rovk.error_kind
---| "timeout"
---| "cancelled"
---| "closed"
---| "missing"
---| "failed"

---True for an error object, of that kind when one is given.
---@param value any
---@param kind? rovk.error_kind
---@return boolean
function rovk.is_error(value, kind) end

---Runs a function; where it fails, writes the error with its traceback and ends the program with status 1.
---@param action function
---@param ... any
function rovk.main(action, ...) end

---Runs several units side by side until none has anything left to do.
---@param ... rovk.unit
function rovk.run(...) end

---A record, an error table, a result or anything else as one line of text.
---@param value any
---@param options? table
---@return string
function rovk.dump(value, options) end

---The bytes of a record or an array.
---@param value any
---@return integer[]
function rovk.bytes(value) end

---The bytes as text, "0a 00 ff".
---@param value any
---@return string
function rovk.hex(value) end

---A command that failed, or a wait that ended without what it waited for.
---@class rovk.error
---@field status? integer an error id, or a negative errno; -110 is an answer that came too late
---@field error_id? integer
---@field error? string name of the peripheral's error
---@field detail? table<string, any>
---@field service? string
---@field command? string
---@field device? string
---@field address? integer
---@field index? integer
---@field where string the caller's line
---@field traceback? string
---@field message string
---@field kind? rovk.error_kind

---@class rovk.subscription
---@field dropped integer events that nobody fetched in time
local subscription = {}

---@return boolean ended false: it had ended
function subscription:cancel() end

---The next event, also one that came before the call.
---@param limit_ms? number
---@return table? event
---@return rovk.error? err
function subscription:wait(limit_ms) end

---@class rovk.task
local task = {}

---@param limit_ms? number
---@return any ... what its function returned; nil and an error object when the time has passed
function task:wait(limit_ms) end

---@return boolean ended false: it had ended
function task:cancel() end

---@return "running"|"waiting"|"done"|"failed"|"cancelled"
function task:status() end

---@class rovk.timer
local timer = {}

---@return boolean ended false: it had ended
function timer:cancel() end

---What commands are sent to.
---@class rovk.target
---@field unit rovk.unit
---@field service rovk.service_name
---@field address integer
local target = {}

---@class (exact) rovk.call_options
---@field timeout_ms? number
---@field positional? boolean

---The same device or peripheral with other ways to call its commands.
---@generic T : rovk.target
---@param self T
---@param options rovk.call_options
---@return T
function target.with(self, options) end

---@class rovk.device : rovk.target
---@field name? rovk.device_name
---@field id? integer
---@field index integer

---@class rovk.peripheral : rovk.target
---@field location? rovk.board
---@field device_count? integer

---@class rovk.unit
---@field context userdata for the plain functions
local unit = {}

---A device whose place is known.
---@param service rovk.service_name|integer
---@param address integer
---@param index integer
---@return rovk.device
function unit:device_at(service, address, index) end

---Forgets which peripherals there are; the next question asks the unit again.
function unit:rescan() end

---The unit's clock, in milliseconds.
---@return number ms
function unit:now() end

---@param ms number
function unit:sleep(ms) end

---Starts a function as a task.
---@param action function
---@param ... any
---@return rovk.task
function unit:spawn(action, ...) end

---Starts a function as a task after so many milliseconds.
---@param ms number
---@param action function
---@return rovk.timer
function unit:after(ms, action) end

---Starts a function as a task every so many milliseconds.
---@param ms number
---@param action function
---@return rovk.timer
function unit:every(ms, action) end

---Runs functions and tasks side by side and waits for all of them.
---@param list table<any, function|rovk.task>
---@param limit_ms? number
---@return table results the first of each under its key
function unit:all(list, limit_ms) end

---Waits for an event from wherever in the unit: "button_0002.state_change".
---@param name string
---@param limit_ms? number
---@return table? event
---@return rovk.peripheral|rovk.error source
function unit:wait(name, limit_ms) end

---Runs tasks, timers and the functions of events until nothing is left to do.
---@return "done"|"stopped"|"closed"|"stalled"
function unit:run() end

function unit:stop() end

---@param handler? fun(err: any, traceback: string)
function unit:on_error(handler) end

---@return integer descriptor
function unit:fd() end

---Does what is due, without waiting.
---@return number? ms after which it wants to be called though the descriptor is silent
function unit:step() end

---@return boolean
function unit:busy() end

---Ends subscriptions, timers, tasks and pending commands, and closes the unit.
function unit:close() end

return rovk
