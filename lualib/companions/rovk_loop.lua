--- When callbacks run: the companion of rovk_message for scripts that wait for answers and events.
-- It works with the librovktrans that comes with it. Above another library each function raises an error
-- that names what is missing; on_error works above any.
--
-- Where a function fails it gives nil, a text and the negative status.

local companion = require("rovk_companion")

local loop = {}

-- Contexts that were told to stop while they run. Weak: a dropped context is forgotten.
local stopped = setmetatable({}, { __mode = "k" })

-- The status of a context that is closed.
local CLOSED = -22

--- Runs the callbacks that are due. When none is, waits for the first. Not from inside a callback.
-- @param context what rovktrans_init gave
-- @param timeout_ms how long to wait at most, in milliseconds, fractions rounded up; 0 or nothing: does not
-- wait; negative: no limit
-- @return the number of callbacks that ran; 0: the time has passed, or, with a text as second result, the
-- clock is virtual and nothing can come any more
-- @function dispatch
loop.dispatch = companion.dispatch

--- A file descriptor for an event loop of one's own: readable while `dispatch` has something to do.
-- It belongs to the context and is closed with it. Call `dispatch(context)` whenever it is readable.
-- @param context what rovktrans_init gave
-- @return the descriptor, a number
-- @function fd
loop.fd = companion.fd

--- Runs callbacks as they come until `stop` is called for the context, or the context is closed.
-- @param context what rovktrans_init gave
-- @return the number of callbacks that ran; a text as second result tells that it has ended by itself: the
-- clock is virtual and nothing can come any more
function loop.run(context)
  local total = 0
  stopped[context] = false
  repeat
    local count, message, status = companion.dispatch(context, -1)
    if not count then
      local closed_meanwhile = status == CLOSED and total > 0
      if closed_meanwhile or stopped[context] then
        break
      end
      return nil, message, status
    end
    total = total + count
    if message then
      return total, message
    end
  until stopped[context]
  stopped[context] = nil
  return total
end

--- Ends `run` as soon as the callback that calls this has returned.
-- @param context what rovktrans_init gave
function loop.stop(context)
  stopped[context] = true
end

--- Says who is told of errors in callbacks: those that the module contains, after which it goes on.
-- @param handler a function that gets the error value and a traceback; nil: nobody. An error in it is
-- dropped. There is one in a Lua state; the one before is replaced.
function loop.on_error(handler)
  if handler == nil then
    return companion.set_error_handler(nil)
  end
  if type(handler) ~= "function" then
    error(("on_error takes a function or nil, not a %s"):format(type(handler)), 2)
  end
  companion.set_error_handler(function(value)
    -- Without this function and those of the module below the callback.
    local traceback = debug and debug.traceback("", 2):gsub("^\n", "") or "no traceback without the debug library"
    pcall(handler, value, traceback)
  end)
end

return loop
