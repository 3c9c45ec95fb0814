-- Waiting for anything but a command's answer: a time, an event, a task. What is waited for is a table, the waiter.

local barriers = require("rovk.barrier")
local errors = require("rovk.errors")
local schedulers = require("rovk.scheduler")
local timers = require("rovk.timers")
local turns = require("rovk.turns")

local waiting = {}
errors.room()

local create, resume, yield, running = coroutine.create, coroutine.resume, coroutine.yield, coroutine.running

--- Ends the wait of a waiter, and keeps up to one result for it. A second time it does nothing.
function waiting.finish(waiter, result)
  if waiter.done then
    return
  end
  waiter.done, waiter.result = true, result
  if waiter.task then
    turns.ready(waiter.task)
  end
end

local function time_out(waiter)
  if not waiter.done then
    waiter.timed_out = true
    waiting.finish(waiter)
  end
end

--- Waits until `finish` was called for the waiter, which is a new table; in a task others go on, elsewhere the
-- scheduler runs here.
-- @param what the caller's name for a message
-- @param limit_ms nil: no limit
-- @return true; false: the time has passed, or nothing can come any more
function waiting.await(scheduler, waiter, what, limit_ms)
  local task, why = turns.enter(scheduler)
  if why then
    errors.mistake("%s cannot wait %s", what, why)
  elseif not task then
    schedulers.check_free(scheduler)
  end
  if waiter.done then
    return true
  end
  local entry = limit_ms and timers.add(scheduler.timers, scheduler.platform.now() + limit_ms, time_out, waiter)
  waiter.task = task
  local ok, failure = true, nil
  if task then
    yield(turns.WAITS)
  else
    ok, failure = pcall(schedulers.pump, scheduler, waiter)
  end
  local answered = waiter.done and not waiter.timed_out
  waiter.done, waiter.task = true, nil
  if entry then
    timers.drop(scheduler.timers, entry)
  end
  if not ok then
    error(failure, 0)
  end
  turns.check_cancelled(task)
  if not answered then
    turns.check_open(scheduler, task)
  end
  return answered
end

-- pcall ---------------------------------------------------------------------------------------------

--- pcall that a task can wait in. Plain Lua 5.1 cannot leave its own and come back.
function waiting.pcall(action, ...)
  local task = turns.current()
  if barriers.any_way or not task or running() ~= task.thread then
    return pcall(action, ...)
  end
  local outer, inner = task.thread, create(action)
  local function step(ok, ...)
    if not ok or coroutine.status(inner) == "dead" then
      task.thread = outer
      return ok, ...
    end
    return step(resume(inner, yield(...)))
  end
  task.thread = inner
  return step(resume(inner, ...))
end

return waiting
