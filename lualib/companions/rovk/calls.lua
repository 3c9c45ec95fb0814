-- A command's way to the unit and back: in a task, where others go on meanwhile, or blocking.

local errors = require("rovk.errors")
local schedulers = require("rovk.scheduler")
local timers = require("rovk.timers")

local calls = {}
errors.room()

local yield = coroutine.yield

local function give_up(task)
  if task.asking then
    schedulers.ready(task)
  end
end

-- What a task finds when it is resumed.
local function outcome(scheduler, task, form, target, options, entry)
  if entry then
    timers.drop(scheduler.timers, entry)
  end
  local values, told, status, passed = task.values, task.told, task.refused, nil
  task.values, task.told, task.refused = nil, nil, nil
  if task.asking then
    task.asking, task.answer = false, nil
    status, passed = errors.ETIMEDOUT, options.timeout_ms
  end
  schedulers.check_cancelled(task)
  if not values then
    return nil, errors.of_command(form.command, target, status, told, passed)
  elseif options.positional and values ~= true then
    return true, unpack(values, 1, form.value_count)
  end
  return true, values
end

-- Results of a blocking command. What came meanwhile for tasks and callbacks runs before its caller goes on.
local function finish(scheduler, form, target, options, status, told, ...)
  schedulers.run_arrived(scheduler)
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status, told)
  elseif form.value_count == 0 then
    return true, true
  elseif options.positional then
    return true, ...
  end
  return true, form.record(...)
end

-- A time limit of its own: the main program waits for the answer as for anything else.
local function ask_with_limit(scheduler, form, target, options, why, ...)
  if not scheduler.platform.loop then
    errors.mistake("%s: timeout_ms cannot work here: the libraries under this program cannot wait for a time; "
      .. "leave it out, and their own limit holds", form.title)
  elseif why then
    errors.mistake("%s: timeout_ms cannot work %s", form.title, why)
  end
  schedulers.check_free(scheduler)
  local waiter = {}
  local status = form.async(scheduler.context, target.address, function(...)
    schedulers.finish(waiter, { ... })
  end, ...)
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status)
  elseif not schedulers.await(scheduler, waiter, form.title, options.timeout_ms) then
    return nil, errors.of_command(form.command, target, errors.ETIMEDOUT, nil, options.timeout_ms)
  end
  local values = waiter.result
  local told = values[form.value_count + 1]
  if told.error_id ~= 0 then
    return nil, errors.of_command(form.command, target, nil, told)
  end
  return finish(scheduler, form, target, options, 0, told, unpack(values, 1, form.value_count))
end

--- Sends a command and waits for its answer: in a task others go on meanwhile, elsewhere it blocks.
-- @param options of the target
-- @param ... what `commands.arguments` gave
-- @return true and the values, as one table or one by one; nil and the error object
function calls.command(scheduler, form, target, options, ...)
  local task, why = schedulers.waiting_task(scheduler)
  schedulers.check_open(scheduler, task)
  local limit_ms = options.timeout_ms
  if task and scheduler.platform.loop then
    local entry = limit_ms and timers.add(scheduler.timers, scheduler.platform.now() + limit_ms, give_up, task)
    task.form, task.positional = form, options.positional
    -- The scheduler sends the command, and resumes the task when the answer is there or the time has passed.
    yield(form.async, target.address, ...)
    return outcome(scheduler, task, form, target, options, entry)
  elseif limit_ms then
    return ask_with_limit(scheduler, form, target, options, why, ...)
  end
  return finish(scheduler, form, target, options, form.blocking(scheduler.context, target.address, ...))
end

return calls
