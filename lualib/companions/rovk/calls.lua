-- A command's way to the unit and back: in a task, where others go on meanwhile, or blocking.

local compile = require("rovk.compile")
local errors = require("rovk.errors")
local schedulers = require("rovk.scheduler")
local timers = require("rovk.timers")

local calls = {}
errors.room()

local enter, yield, WAITS = schedulers.enter, coroutine.yield, schedulers.WAITS

local function give_up(task)
  if task.answer then
    schedulers.ready(task)
  end
end

-- A command in a task that did not just succeed: refused, late, or its task cancelled.
local function failure_in_task(task, form, target, options)
  local told, status, passed = task.told, task.refused, nil
  task.told, task.refused = nil, nil
  if task.answer then
    -- The answer may come yet; it will find that the task does not wait for it.
    task.answers[form], task.answer = nil, nil
    status, passed = errors.ETIMEDOUT, options.timeout_ms
  end
  schedulers.check_cancelled(task)
  return nil, errors.of_command(form.command, target, status, told, passed)
end

-- Results of a blocking command. What came meanwhile for tasks and callbacks runs before its caller goes on.
local function finish(scheduler, form, target, options, status, told, ...)
  schedulers.run_arrived(scheduler)
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status, told)
  elseif form.value_count == 0 then
    return true
  elseif options.positional then
    return { ... }
  end
  return form.record(...)
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

local function compile_answer(form)
  form.answer_for = compile.answer(form.values, form.printed, schedulers.ready)
  return form.answer_for
end

--- Sends a command and waits for its answer: in a task others go on meanwhile, elsewhere it blocks.
-- @param options of the target
-- @param ... what `commands.arguments` gave
-- @return true where there are no values; values by name, or as a list; nil and the error object
function calls.command(scheduler, form, target, options, ...)
  local task, why = enter(scheduler)
  local limit_ms = options.timeout_ms
  if task and scheduler.loop then
    local entry = limit_ms and timers.add(scheduler.timers, scheduler.platform.now() + limit_ms, give_up, task)
    local answer = task.answers[form]
    if not answer then
      answer = (form.answer_for or compile_answer(form))(task)
      task.answers[form] = answer
    end
    task.answer = answer
    if task.positional ~= options.positional then
      task.positional = options.positional
    end
    -- The scheduler sends the command, and resumes the task when the answer is there or the time has passed.
    yield(WAITS, form.async, target.address, ...)
    if entry then
      timers.drop(scheduler.timers, entry)
    end
    if task.values and not task.answer and not task.cancelled then
      return task.values
    end
    return failure_in_task(task, form, target, options)
  elseif limit_ms then
    return ask_with_limit(scheduler, form, target, options, why, ...)
  end
  return finish(scheduler, form, target, options, form.blocking(scheduler.context, target.address, ...))
end

return calls
