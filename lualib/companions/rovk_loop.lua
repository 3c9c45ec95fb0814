--- When callbacks run: the companion of rovk_message for scripts that wait for answers and events.
-- It works with the librovktrans that comes with it. Above another library each function raises an error
-- that names what is missing.
--
-- Where a function fails it gives nil, a text and the negative status.

local companion = require("rovk_companion")

local loop = {}

-- Contexts that were told to stop while they run. Weak: a dropped context is forgotten.
local stopped = setmetatable({}, { __mode = "k" })

-- How long one wait inside `run` lasts at most, so that an interrupt of the interpreter gets through.
local SLICE_MS = 200

--- Runs the callbacks that are due. When none is, waits for the first.
-- @param context what rovktrans_init gave
-- @param timeout_ms how long to wait at most, in milliseconds; 0 or nothing: does not wait; negative: no limit
-- @return the number of callbacks that ran; 0: the time has passed, or nothing can come any more
function loop.dispatch(context, timeout_ms)
  return companion.dispatch(context, timeout_ms or 0)
end

--- A file descriptor for an event loop of one's own: readable while `dispatch` has something to do.
-- It belongs to the context and is closed with it. Call `dispatch(context)` whenever it is readable.
-- @param context what rovktrans_init gave
-- @return the descriptor, a number
function loop.fd(context)
  return companion.fd(context)
end

--- Runs callbacks as they come until `stop` is called for the context, or the context is closed.
-- @param context what rovktrans_init gave
-- @return the number of callbacks that ran
function loop.run(context)
  local total = 0
  stopped[context] = false
  repeat
    local count, message, status = companion.dispatch(context, SLICE_MS)
    if not count then
      if stopped[context] then
        break
      end
      return nil, message, status
    end
    total = total + count
  until stopped[context]
  stopped[context] = nil
  return total
end

--- Ends `run` as soon as the callback that calls this has returned.
-- @param context what rovktrans_init gave
function loop.stop(context)
  stopped[context] = true
end

return loop
