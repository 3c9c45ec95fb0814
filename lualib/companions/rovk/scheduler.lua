-- The scheduler of a unit: rounds of turns, and what is waited for when no task is ready.

local errors = require("rovk.errors")
local timers = require("rovk.timers")
local turns = require("rovk.turns")

local schedulers = {}
errors.room()

local run_ready = turns.run_ready

local function has_ready(scheduler)
  return scheduler.queue.last >= scheduler.queue.first
end

-- Rounds --------------------------------------------------------------------------------------------

local function fire_due(scheduler)
  local heap = scheduler.timers
  if not timers.first(heap) then
    return
  end
  local now = scheduler.platform.now()
  local entry, action, argument = timers.take(heap, now)
  while entry do
    action(argument)
    entry, action, argument = timers.take(heap, now)
  end
end

local function raise_failure(scheduler)
  local failure = table.remove(scheduler.failures, 1)
  if not failure then
    return
  end
  local err, traceback = failure[1], failure[2]
  if type(err) == "string" and traceback ~= "" then
    err = err .. "\n" .. traceback
  elseif errors.is(err) then
    err.traceback = err.traceback or traceback
  end
  error(err, 0)
end

local function check_waited(scheduler, result, message, status)
  if result == nil and not scheduler.closed then
    error(("cannot wait for the unit: %s (status %s)"):format(tostring(message), tostring(status)), 0)
  end
  return result
end

-- Waits for what comes next. False: nothing can come any more.
local function wait_next(scheduler)
  local due = timers.first(scheduler.timers)
  local wait = due and math.max(0, due - scheduler.platform.now())
  if not due and not scheduler.platform.loop and scheduler.sources == 0 then
    return false
  end
  return check_waited(scheduler, scheduler.platform.wait(wait)) ~= false
end

-- Rounds until the waiter is done, or, without one, until nothing is left. Gives the reason.
local function rounds(scheduler, waiter)
  while true do
    run_ready(scheduler)
    raise_failure(scheduler)
    if waiter and waiter.done then
      return "done"
    elseif scheduler.closed and not has_ready(scheduler) then
      return "closed"
    elseif not waiter and scheduler.stopped then
      return "stopped"
    end
    if has_ready(scheduler) and not scheduler.closed then
      check_waited(scheduler, scheduler.platform.deliver())
    end
    fire_due(scheduler)
    if not has_ready(scheduler) and not (waiter and waiter.done) then
      if not waiter and not schedulers.left(scheduler) then
        return "done"
      elseif not wait_next(scheduler) then
        return not waiter and scheduler.alive == 0 and "done" or "stalled"
      end
    end
  end
end

-- Calls a function of the scheduler, of which one runs at a time.
local function alone(scheduler, action, ...)
  schedulers.check_free(scheduler)
  scheduler.pumping = true
  local ok, result = pcall(action, scheduler, ...)
  scheduler.pumping = false
  if not ok then
    error(result, 0)
  end
  return result
end

--- Has the scheduler run here until the waiter is done. Gives the reason why it ended.
function schedulers.pump(scheduler, waiter)
  return alone(scheduler, rounds, waiter)
end

--- Raises where the scheduler runs already: inside a callback of rovk_message.
function schedulers.check_free(scheduler)
  if scheduler.pumping then
    errors.mistake("this cannot wait inside a callback of rovk_message, nor inside another wait; use unit:spawn")
  end
end

-- Running -------------------------------------------------------------------------------------------

function schedulers.new(context, platform)
  return { context = context, platform = platform, loop = platform.loop, queue = { first = 1, last = 0 },
    timers = timers.new(), tasks = {}, alive = 0, beats = 0, subscriptions = 0, sources = 0, failures = {},
    number = 0, pumping = false, stopped = false, closed = false }
end

--- Whether anything is left that `run` would go on for.
function schedulers.left(scheduler)
  return scheduler.alive + scheduler.beats + scheduler.subscriptions > 0
end

--- Runs until nothing is left, `stopped` is set or the unit is closed.
-- @return "done", "stopped", "closed", or "stalled": tasks are left that wait for what cannot come
function schedulers.run(scheduler)
  if turns.current() then
    errors.mistake("unit:run inside a task; it belongs to the main program")
  end
  turns.check_open(scheduler)
  scheduler.stopped = false
  return alone(scheduler, rounds)
end

local function one_step(scheduler)
  if not scheduler.closed then
    check_waited(scheduler, scheduler.platform.deliver())
    fire_due(scheduler)
  end
  run_ready(scheduler)
  raise_failure(scheduler)
  if has_ready(scheduler) then
    return 0
  end
  local due = timers.first(scheduler.timers)
  return due and math.max(0, due - scheduler.platform.now()) or nil
end

--- One turn without waiting, for a loop of one's own.
-- @return milliseconds after which it wants to be called even if the descriptor stays silent; nil: not before
function schedulers.step(scheduler)
  if turns.current() then
    errors.mistake("unit:step inside a task; it belongs to the main program")
  end
  return alone(scheduler, one_step)
end

-- How long one of several units is waited for before the others have their turn, in milliseconds.
local TURN_MS = 10

local function take_turn(scheduler)
  local wait = one_step(scheduler)
  if wait == 0 or scheduler.closed then
    return true
  elseif not scheduler.platform.virtual then
    wait = math.min(wait or TURN_MS, TURN_MS)
  end
  return scheduler.platform.wait(wait) ~= false
end

--- Runs several schedulers in turn until none has anything left. They have no common wait: where no unit has
-- anything to do, each is waited for a little.
function schedulers.run_all(list)
  if turns.current() then
    errors.mistake("rovk.run inside a task; it belongs to the main program")
  end
  for _, scheduler in ipairs(list) do
    scheduler.stopped = false
  end
  local left = true
  while left do
    left = false
    for _, scheduler in ipairs(list) do
      if not scheduler.closed and not scheduler.stopped and schedulers.left(scheduler) then
        left = alone(scheduler, take_turn) or left
      end
    end
  end
end

--- Runs what has become ready while the main program was blocked; failures show at the next wait.
function schedulers.run_arrived(scheduler)
  if has_ready(scheduler) and not scheduler.pumping then
    alone(scheduler, run_ready)
  end
end

--- Ends all tasks and timers. The task that calls this goes on until it ends by itself.
function schedulers.close(scheduler)
  scheduler.closed = true
  scheduler.timers, scheduler.beats = timers.new(), 0
  turns.asking.task = nil
  local running = turns.current()
  for task in pairs(scheduler.tasks) do
    if task ~= running then
      turns.forget_answer(task)
      task.told_closed = true
    end
  end
end

-- Tasks get their error and end; those that wait again are dropped where they wait.
local function unwind(scheduler)
  local list = {}
  for task in pairs(scheduler.tasks) do
    list[#list + 1] = task
  end
  table.sort(list, function(one, other)
    return one.number < other.number
  end)
  local running = turns.current()
  for _, task in ipairs(list) do
    if task ~= running then
      turns.cancel(task, errors.plain("closed", "the unit was closed"))
    end
  end
end

--- The last part of closing, when the context is gone.
function schedulers.sweep(scheduler)
  unwind(scheduler)
  local running = turns.current()
  if scheduler.pumping or running and running.scheduler == scheduler then
    return
  end
  alone(scheduler, run_ready)
  for _, failure in ipairs(scheduler.failures) do
    io.stderr:write("rovk: an error in a task of a unit that is closed: ", tostring(failure[1]), "\n", failure[2], "\n")
  end
  scheduler.tasks, scheduler.alive, scheduler.failures = {}, 0, {}
end

return schedulers
