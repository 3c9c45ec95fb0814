-- The scheduler of a unit: which task runs next, and what is waited for when none can.
--
-- The libraries' callbacks never run a script's code: they leave what came with the task that waits for it and put
-- the task in the queue of those that are ready. The scheduler resumes tasks from its own loop, between deliveries.
-- So a task, and the function of an event or a timer, which is started as a task, may do anything: block, wait, fail,
-- close the unit.
--
-- A task asks for a command by yielding its native function and the inputs, and the scheduler calls it: where a
-- coroutine cannot yield, nothing was sent yet.

local barriers = require("rovk.barrier")
local errors = require("rovk.errors")
local timers = require("rovk.timers")

local schedulers = {}
errors.room()

local create, resume, yield = coroutine.create, coroutine.resume, coroutine.yield
local find_barrier = barriers.find

-- The task that runs now, whatever its unit.
local current

-- What a task yields first: nobody else has it, so a function that returns is told from one that waits.
local WAITS = {}
schedulers.WAITS = WAITS

--- The task that runs now, of any unit; nil in the main program.
function schedulers.current()
  return current
end

--- Begins something that waits: gives the task of this scheduler that can wait here; nil, and the reason where there
-- is one. Raises where the unit is closed, and, once, what the task was cancelled with.
function schedulers.enter(scheduler)
  local task, why = current, nil
  if task then
    local found = task.scheduler ~= scheduler and "unit" or find_barrier(task.thread)
    if found then
      task, why = nil, barriers.describe(found)
    end
  end
  if scheduler.closed or task and task.cancelled then
    schedulers.check_open(scheduler, task)
  end
  return task, why
end

--- Has a command sent for the task that runs now, if it is one of this scheduler that can wait here, and waits.
-- @param answer answer_for(task) makes the callback, kept for the task under this key
-- @return true, and what came, or nothing where the answer was no good; false: there is no such task here
function schedulers.ask(scheduler, answer_for, native, address, ...)
  local task = current
  if not task or task.scheduler ~= scheduler or scheduler.closed or task.cancelled or find_barrier(task.thread) then
    return false
  end
  local answer = task.answers[answer_for]
  if not answer then
    answer = answer_for(task)
    task.answers[answer_for] = answer
  end
  return true, yield(WAITS, native, address, answer, ...)
end

--- True where a wait is possible: in a task of the scheduler, or in the main program outside of any callback.
function schedulers.can_wait(scheduler)
  if current then
    return current.scheduler == scheduler and not find_barrier(current.thread)
  end
  return not scheduler.pumping
end

-- Tasks, ready and ended ----------------------------------------------------------------------------

-- A task that has ended counts as queued, so that nothing makes it ready any more.
local function ready(task)
  if not task.queued then
    task.queued = true
    local queue = task.queue
    local last = queue.last + 1
    queue.last = last
    queue[last] = task
  end
end
schedulers.ready = ready

local function keep_results(task, ...)
  task.results = { n = select("#", ...), ... }
end

--- Makes a task of a function; it begins at the next turn.
-- @param class metatable of the task
function schedulers.spawn(scheduler, class, action, ...)
  scheduler.number = scheduler.number + 1
  local task = setmetatable({ scheduler = scheduler, queue = scheduler.queue, number = scheduler.number,
    state = "alive", answers = {} }, class)
  local arguments, count = { ... }, select("#", ...)
  task.root = create(function()
    schedulers.check_cancelled(task)
    local given = arguments
    arguments = nil
    keep_results(task, action(unpack(given, 1, count)))
  end)
  task.thread = task.root
  scheduler.tasks[task] = true
  scheduler.alive = scheduler.alive + 1
  ready(task)
  return task
end

local function end_task(task, state)
  local scheduler = task.scheduler
  task.state, task.queued = state, true
  task.root, task.thread, task.answer, task.answers, task.came = nil, nil, nil, nil, nil
  if scheduler.tasks[task] then
    scheduler.tasks[task] = nil
    scheduler.alive = scheduler.alive - 1
  end
  local watchers = task.watchers
  task.watchers = nil
  for _, watcher in ipairs(watchers or {}) do
    watcher(task)
  end
end

--- Has the task wait for its answer no longer; a late one finds that it is not wanted. False: there was none to come.
function schedulers.forget_answer(task)
  if not task.answer then
    return false
  end
  task.answers, task.answer = {}, nil
  return true
end

--- Has what a task waits for raise `err` in it. False: the task had ended.
function schedulers.cancel(task, err)
  if task.state ~= "alive" then
    return false
  end
  task.cancelled, task.came = err, nil
  -- An answer that is under way is not wanted any more.
  schedulers.forget_answer(task)
  if current ~= task then
    ready(task)
  end
  return true
end

local function report(scheduler, err, traceback)
  if scheduler.on_error then
    local ok, message = pcall(scheduler.on_error, err, traceback)
    if ok then
      return
    end
    err, traceback = message, ""
  end
  table.insert(scheduler.failures, { err, traceback })
end

-- A failure belongs to who waits for the task; where nobody does, to on_error or to `run`.
local function failed(task, err)
  if type(err) == "string" and err:find("attempt to yield across", 1, true) then
    err = err .. "; a task cannot wait in a metamethod or in the function of a for loop under plain Lua 5.1"
  end
  local traceback = debug and debug.traceback(task.root) or ""
  local watched = task.watchers and #task.watchers > 0
  local given_up = errors.is(err, "cancelled") or errors.is(err, "closed")
  task.failure = err
  end_task(task, given_up and "cancelled" or "failed")
  if not watched and not given_up then
    report(task.scheduler, err, traceback)
  end
end

-- What became of a task that was resumed: it asks for a command, waits for something that will make it ready (native
-- is nil), failed or ended.
local function settle(task, context, ok, first, native, address, answer, ...)
  if first ~= WAITS then
    if ok then
      end_task(task, "done")
    else
      failed(task, first)
    end
  elseif native then
    task.answer = answer
    local status = native(context, address, answer, ...)
    if status ~= 0 then
      task.answer, task.came, task.refused = nil, nil, status
      ready(task)
    end
  end
end

-- Runs those that are ready now; what they make ready is left for the next round.
local function run_ready(scheduler)
  local queue, context = scheduler.queue, scheduler.context
  local first, last = queue.first, queue.last
  local before = current
  for place = first, last do
    local task = queue[place]
    queue[place] = nil
    local root = task.root
    if root then
      task.queued = false
      current = task
      settle(task, context, resume(root, task.came))
    end
  end
  current = before
  if queue.last > last then
    queue.first = last + 1
  else
    queue.first, queue.last = 1, 0
  end
end

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

-- Closed and cancelled --------------------------------------------------------------------------------

--- Raises where the unit is closed, and, once, what the task was cancelled with.
function schedulers.check_open(scheduler, task)
  if scheduler.closed then
    -- A task that goes on regardless is left where it is.
    if task and task.told_closed then
      yield(WAITS)
    elseif task then
      task.told_closed = true
    end
    error(errors.plain("closed", "the unit is closed"), 0)
  end
  schedulers.check_cancelled(task)
end

function schedulers.check_cancelled(task)
  local cancelled = task and task.cancelled
  if cancelled then
    task.cancelled = nil
    error(cancelled, 0)
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
  if current then
    errors.mistake("unit:run inside a task; it belongs to the main program")
  end
  schedulers.check_open(scheduler)
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
  if current then
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
  if current then
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
  for task in pairs(scheduler.tasks) do
    if task ~= current then
      task.answer, task.told_closed = nil, true
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
  for _, task in ipairs(list) do
    if task ~= current then
      schedulers.cancel(task, errors.plain("closed", "the unit was closed"))
    end
  end
end

--- The last part of closing, when the context is gone.
function schedulers.sweep(scheduler)
  unwind(scheduler)
  if scheduler.pumping or current and current.scheduler == scheduler then
    return
  end
  alone(scheduler, run_ready)
  for _, failure in ipairs(scheduler.failures) do
    io.stderr:write("rovk: an error in a task of a unit that is closed: ", tostring(failure[1]), "\n", failure[2], "\n")
  end
  scheduler.tasks, scheduler.alive, scheduler.failures = {}, 0, {}
end

return schedulers
