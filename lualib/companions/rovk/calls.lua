-- A command's way to the unit and back: in a task, where others go on meanwhile, or blocking.

local commands = require("rovk.commands")
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

-- The scheduler sends the command, and resumes the task when the answer is there or the time has passed.
local function ask_in_task(scheduler, task, form, target, list, positional, limit_ms)
  local entry = limit_ms and timers.add(scheduler.timers, scheduler.platform.now() + limit_ms, give_up, task)
  task.form, task.positional = form, positional
  yield(form.async, target.address, unpack(list, 1, form.count))
  if entry then
    timers.drop(scheduler.timers, entry)
  end
  local values, told, status = task.values, task.told, task.status
  task.values, task.told, task.status = nil, nil, nil
  if task.asking then
    task.asking, task.answer = false, nil
    status = errors.ETIMEDOUT
  end
  schedulers.check_cancelled(task)
  if not values then
    local passed = status == errors.ETIMEDOUT and limit_ms or nil
    return nil, errors.of_command(form.command, target, status, told, passed)
  elseif positional and values ~= true then
    return true, unpack(values, 1, form.value_count)
  end
  return true, values
end

-- Results of a blocking command. What came meanwhile for tasks and callbacks runs before its caller goes on.
local function finish(scheduler, form, target, positional, status, told, ...)
  schedulers.run_arrived(scheduler)
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status, told)
  elseif form.value_count == 0 then
    return true, true
  elseif positional then
    return true, ...
  end
  return true, commands.record(form, ...)
end

-- A time limit of its own: the main program waits for the answer as for anything else.
local function ask_with_limit(scheduler, form, target, list, positional, limit_ms)
  schedulers.check_free(scheduler)
  local waiter = {}
  local status = form.async(scheduler.context, target.address, function(...)
    schedulers.finish(waiter, { ... })
  end, unpack(list, 1, form.count))
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status)
  elseif not schedulers.await(scheduler, waiter, form.title, limit_ms) then
    return nil, errors.of_command(form.command, target, errors.ETIMEDOUT, nil, limit_ms)
  end
  local values = waiter.result
  local told = values[form.value_count + 1]
  if told.error_id ~= 0 then
    return nil, errors.of_command(form.command, target, nil, told)
  end
  return finish(scheduler, form, target, positional, 0, told, unpack(values, 1, form.value_count))
end

--- Sends a command and waits for its answer: in a task others go on meanwhile, elsewhere it blocks.
-- @param list what `commands.arguments` gave
-- @return true and the values, as one table or one by one; nil and the error object
function calls.command(scheduler, form, target, list, positional, limit_ms)
  local task, why
  if schedulers.current() then
    task, why = schedulers.waiting_task(scheduler)
  end
  schedulers.check_open(scheduler, task)
  if task and scheduler.platform.loop then
    return ask_in_task(scheduler, task, form, target, list, positional, limit_ms)
  elseif limit_ms then
    if not scheduler.platform.loop then
      errors.mistake("%s: timeout_ms cannot work here: the libraries under this program cannot wait for a time; "
        .. "leave it out, and their own limit holds", form.title)
    elseif why then
      errors.mistake("%s: timeout_ms cannot work %s", form.title, why)
    end
    return ask_with_limit(scheduler, form, target, list, positional, limit_ms)
  end
  return finish(scheduler, form, target, positional,
    form.blocking(scheduler.context, target.address, unpack(list, 1, form.count)))
end

return calls
