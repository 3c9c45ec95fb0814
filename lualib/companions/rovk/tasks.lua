-- Tasks and timers as a script holds them: what can be done with one, and with many.

local errors = require("rovk.errors")
local timers = require("rovk.timers")
local turns = require("rovk.turns")
local waiting = require("rovk.waiting")

local tasks = {}
errors.room()

local task_class = {}
task_class.__index = task_class

function task_class:__tostring()
  return ("task %d, %s"):format(self.number, self:status())
end

--- Starts a function as a task, at the next turn of the scheduler.
function tasks.spawn(scheduler, action, ...)
  return turns.spawn(scheduler, task_class, action, ...)
end

local function is_task(value)
  return getmetatable(value) == task_class
end

--- "running", "waiting", "done", "failed" or "cancelled".
function task_class:status()
  if self.state ~= "alive" then
    return self.state
  end
  return turns.current() == self and "running" or "waiting"
end

--- Ends a task: what it waits for, or waits for next, raises an error of kind "cancelled" in it.
-- @return false: it had ended
function task_class:cancel()
  return turns.cancel(self, errors.plain("cancelled", "task %d was cancelled", self.number))
end

-- Calls `watcher(task)` when the task has ended, at once if it has.
local function watch(task, watcher)
  if task.state ~= "alive" then
    watcher(task)
  else
    task.watchers = task.watchers or {}
    table.insert(task.watchers, watcher)
  end
end

--- Waits for a task to end.
-- @param limit_ms nil: no limit
-- @return what its function returned; nil and an error object when the time has passed. Raises what it failed with.
function task_class:wait(limit_ms)
  errors.check_ms("task:wait", "limit_ms", limit_ms, true)
  if turns.current() == self then
    errors.mistake("task:wait: a task cannot wait for itself")
  end
  local waiter = {}
  watch(self, function()
    waiting.finish(waiter)
  end)
  if not waiting.await(self.scheduler, waiter, "task:wait", limit_ms) then
    return nil, errors.late(limit_ms, tostring(self))
  elseif self.state ~= "done" then
    error(self.failure, 0)
  end
  return unpack(self.results, 1, self.results.n)
end

-- Starts the functions of a list, leaves its tasks as they are. Gives tasks by key, and those it has started.
local function start_all(scheduler, list)
  for key, action in pairs(list) do
    if type(action) ~= "function" and not is_task(action) then
      errors.mistake("unit:all: got %s under %s; allowed are functions and tasks", errors.show(action), tostring(key))
    end
  end
  local children, started = {}, {}
  for key, action in pairs(list) do
    children[key] = action
    if not is_task(action) then
      children[key] = tasks.spawn(scheduler, action)
      started[#started + 1] = children[key]
    end
  end
  return children, started
end

--- Waits for many at once. Raises the first failure, and cancels the others that it started.
-- @param list functions and tasks, under any keys
-- @return a table with the first result of each under the same key
function tasks.all(scheduler, list, limit_ms)
  local children, started = start_all(scheduler, list)
  local left, waiter = 0, {}
  for _ in pairs(children) do
    left = left + 1
  end
  for _, child in pairs(children) do
    watch(child, function()
      left = left - 1
      if child.state ~= "done" then
        waiting.finish(waiter, child)
      elseif left == 0 then
        waiting.finish(waiter)
      end
    end)
  end
  local ok, answered = true, true
  if next(children) then
    ok, answered = waiting.pcall(waiting.await, scheduler, waiter, "unit:all", limit_ms)
  end
  local culprit = waiter.result
  if not ok or not answered or culprit then
    for _, child in ipairs(started) do
      child:cancel()
    end
    error(not ok and answered or culprit and culprit.failure or errors.late(limit_ms, "unit:all"), 0)
  end
  local results = {}
  for key, child in pairs(children) do
    results[key] = child.results[1]
  end
  return results
end

-- Timers --------------------------------------------------------------------------------------------

local timer_class = {}
timer_class.__index = timer_class

function timer_class:__tostring()
  return ("timer%s%s"):format(self.period and (", every %g ms"):format(self.period) or "",
    self.entry and "" or ", ended")
end

--- Ends a timer. What its function has begun goes on. False: it had ended.
function timer_class:cancel()
  local entry, scheduler = self.entry, self.scheduler
  if not entry or scheduler.closed then
    return false
  end
  self.entry = nil
  scheduler.beats = scheduler.beats - 1
  timers.drop(scheduler.timers, entry)
  return true
end

local function strike(timer)
  local scheduler = timer.scheduler
  local action = timer.action
  if timer.period then
    -- The beat is kept: what was missed, because the program was busy or the function still runs, is left out.
    local now = scheduler.platform.now()
    repeat
      timer.due = timer.due + timer.period
    until timer.due > now
    timer.entry = timers.add(scheduler.timers, timer.due, strike, timer)
    if timer.task and timer.task.state == "alive" then
      return
    end
  else
    timer.entry = nil
    scheduler.beats = scheduler.beats - 1
  end
  timer.task = tasks.spawn(scheduler, action)
end

--- Starts `action` as a task after so many milliseconds, and, with a period, again and again.
function tasks.timer(scheduler, ms, action, period)
  turns.check_open(scheduler)
  local due = scheduler.platform.now() + ms
  local timer = setmetatable({ scheduler = scheduler, action = action, period = period, due = due }, timer_class)
  timer.entry = timers.add(scheduler.timers, due, strike, timer)
  scheduler.beats = scheduler.beats + 1
  return timer
end

return tasks
