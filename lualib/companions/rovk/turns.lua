-- Tasks as the scheduler knows them: which runs, which are ready, and what becomes of one that was resumed.
--
-- The libraries' callbacks never run a script's code: they leave what came with the task that waits for it and put
-- the task in the queue of those that are ready. The scheduler resumes tasks from its own loop, between deliveries.
-- So a task, and the function of an event or a timer, which is started as a task, may do anything: block, wait, fail,
-- close the unit.
--
-- A task asks for a command by yielding its native function and the inputs, and it is called here: where a coroutine
-- cannot yield, nothing was sent yet.

local barriers = require("rovk.barrier")
local errors = require("rovk.errors")

local turns = {}
errors.room()

local create, resume, yield = coroutine.create, coroutine.resume, coroutine.yield
local find_barrier = barriers.find

-- The task that runs now, whatever its unit.
local current

-- The same as `task`, where it may ask for a command at once, and its scheduler: its unit is open and one with a loop,
-- and it was not cancelled by itself. One that others have cancelled is told of that when it is resumed.
local asking = {}
turns.asking = asking

-- What a task yields first: nobody else has it, so a function that returns is told from one that waits.
local WAITS = {}
turns.WAITS = WAITS

-- With each of a thousand tasks its memory comes from afar, so a command reads and writes few fields of a task:
--   root      its coroutine; nil when it has ended
--   thread    the coroutine that runs in it: another one within rovk.pcall
--   waits     the callback whose answer it waits for; true where it waits for something else; false where nothing
--             makes it ready: it is ready, runs, or has ended
--   came      what it is resumed with
--   and under answer_for, as `ask` has it, the callback made by it

--- The task that runs now, of any unit; nil in the main program.
function turns.current()
  return current
end

--- Begins something that waits: gives the task of this scheduler that can wait here; nil, and the reason where there
-- is one. Raises where the unit is closed, and, once, what the task was cancelled with.
function turns.enter(scheduler)
  local task, why = current, nil
  if task then
    local found = task.scheduler ~= scheduler and "unit" or find_barrier(task.thread)
    if found then
      task, why = nil, barriers.describe(found)
    end
  end
  if scheduler.closed or task and task.cancelled then
    turns.check_open(scheduler, task)
  end
  return task, why
end

--- Has a command sent for the task that runs now, if it is one of this scheduler that can wait here, and waits.
-- @param answer answer_for(task) makes the callback, kept for the task under this key
-- @return true, and what came, or nothing where the answer was no good; false: there is no such task here
function turns.ask(scheduler, answer_for, native, address, ...)
  local task = current
  if not task or task.scheduler ~= scheduler or scheduler.closed or task.cancelled or find_barrier(task.thread) then
    return false
  end
  local answer = task[answer_for]
  if not answer then
    answer = answer_for(task)
    task[answer_for] = answer
  end
  return true, yield(WAITS, native, address, answer, ...)
end

--- True where a wait is possible: in a task of the scheduler, or in the main program outside of any callback.
function turns.can_wait(scheduler)
  if current then
    return current.scheduler == scheduler and not find_barrier(current.thread)
  end
  return not scheduler.pumping
end

-- Tasks, ready and ended ----------------------------------------------------------------------------

local function ready(task)
  if task.waits then
    task.waits = false
    local queue = task.queue
    local last = queue.last + 1
    queue.last = last
    queue[last] = task
  end
end
turns.ready = ready

local function keep_results(task, ...)
  task.results = { n = select("#", ...), ... }
end

--- Makes a task of a function; it begins at the next turn.
-- @param class metatable of the task
function turns.spawn(scheduler, class, action, ...)
  scheduler.number = scheduler.number + 1
  local task = setmetatable({ scheduler = scheduler, queue = scheduler.queue, number = scheduler.number,
    state = "alive", waits = true }, class)
  local arguments, count = { ... }, select("#", ...)
  task.root = create(function()
    turns.check_cancelled(task)
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

-- Drops the callbacks of a task, or the one that is given.
local function drop_callbacks(task, one)
  for key, value in pairs(task) do
    if type(key) == "function" and (not one or one == value) then
      task[key] = nil
    end
  end
end

local function end_task(task, state)
  local scheduler = task.scheduler
  drop_callbacks(task)
  task.state, task.waits = state, false
  task.root, task.thread, task.came = nil, nil, nil
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
function turns.forget_answer(task)
  local answer = task.waits
  if type(answer) ~= "function" then
    return false
  end
  drop_callbacks(task, answer)
  task.waits = true
  return true
end

--- Has what a task waits for raise `err` in it. False: the task had ended.
function turns.cancel(task, err)
  if task.state ~= "alive" then
    return false
  end
  task.cancelled, task.came = err, nil
  -- An answer that is under way is not wanted any more.
  turns.forget_answer(task)
  if current == task then
    asking.task = nil
  else
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
    task.waits = answer
    local status = native(context, address, answer, ...)
    if status ~= 0 then
      task.came, task.refused = nil, status
      ready(task)
    end
  else
    task.waits = true
  end
end

--- Runs those that are ready now; what they make ready is left for the next round.
function turns.run_ready(scheduler)
  local queue, context = scheduler.queue, scheduler.context
  local first, last = queue.first, queue.last
  local before, may_ask = current, scheduler.loop
  for place = first, last do
    local task = queue[place]
    queue[place] = nil
    local root = task.root
    if root then
      current = task
      asking.task = may_ask and not scheduler.closed and task or nil
      asking.scheduler = scheduler
      settle(task, context, resume(root, task.came))
    end
  end
  current, asking.task = before, nil
  if queue.last > last then
    queue.first = last + 1
  else
    queue.first, queue.last = 1, 0
  end
end

-- Closed and cancelled --------------------------------------------------------------------------------

--- Raises where the unit is closed, and, once, what the task was cancelled with.
function turns.check_open(scheduler, task)
  if scheduler.closed then
    -- A task that goes on regardless is left where it is.
    if task and task.told_closed then
      yield(WAITS)
    elseif task then
      task.told_closed = true
    end
    error(errors.plain("closed", "the unit is closed"), 0)
  end
  turns.check_cancelled(task)
end

function turns.check_cancelled(task)
  local cancelled = task and task.cancelled
  if cancelled then
    task.cancelled = nil
    error(cancelled, 0)
  end
end

return turns
