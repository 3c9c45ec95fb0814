---@meta rovk_loop

---When callbacks run.
---@class rovk_loop
local loop = {}

---Runs the callbacks that are due. When none is, waits for the first. Not from inside a callback.
---@param context userdata
---@param timeout_ms? number 0 or nothing: does not wait; negative: without limit
---@return integer? count of the callbacks that ran
---@return string? message
---@return integer? status
function loop.dispatch(context, timeout_ms) end

---A file descriptor, readable while `dispatch` has something to do.
---@param context userdata
---@return integer? descriptor
---@return string? message
---@return integer? status
function loop.fd(context) end

---Runs callbacks as they come until `stop` is called, or the context is closed.
---@param context userdata
---@return integer? count
---@return string? message
---@return integer? status
function loop.run(context) end

---@param context userdata
function loop.stop(context) end

---Says who is told of errors in callbacks. nil: nobody.
---@param handler? fun(value: any, traceback: string)
function loop.on_error(handler) end

return loop
