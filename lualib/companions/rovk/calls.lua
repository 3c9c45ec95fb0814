-- A command's way to the unit and back: in a task, where others go on meanwhile, or blocking.

local compile = require("rovk.compile")
local errors = require("rovk.errors")
local schedulers = require("rovk.scheduler")
local timers = require("rovk.timers")
local turns = require("rovk.turns")
local waiting = require("rovk.waiting")

local calls = {}
errors.room()

local ask = turns.ask

local function give_up(task)
  if turns.forget_answer(task) then
    task.came, task.refused = nil, errors.ETIMEDOUT
    turns.ready(task)
  end
end

--- A command in a task that did not just succeed: refused, late, or its task cancelled.
function calls.failure_in_task(form, target, limit_ms)
  local task = turns.current()
  local told, status = task.told, task.refused
  task.told, task.refused = nil, nil
  turns.check_cancelled(task)
  return nil, errors.of_command(form.command, target, status, told, status == errors.ETIMEDOUT and limit_ms or nil)
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
    waiting.finish(waiter, { ... })
  end, ...)
  if status ~= 0 then
    return nil, errors.of_command(form.command, target, status)
  elseif not waiting.await(scheduler, waiter, form.title, options.timeout_ms) then
    return nil, errors.of_command(form.command, target, errors.ETIMEDOUT, nil, options.timeout_ms)
  end
  local values = waiter.result
  local told = values[form.value_count + 1]
  if told.error_id ~= 0 then
    return nil, errors.of_command(form.command, target, nil, told)
  end
  return finish(scheduler, form, target, options, 0, told, unpack(values, 1, form.value_count))
end

-- In a task, with a time limit.
local function ask_in_time(scheduler, form, limit_ms, answer_for, ...)
  local task = turns.current()
  local entry = limit_ms and task
    and timers.add(scheduler.timers, scheduler.platform.now() + limit_ms, give_up, task)
  local asked, values = ask(scheduler, answer_for, form.async, ...)
  if entry then
    timers.drop(scheduler.timers, entry)
  end
  return asked, values
end

--- Sends a command and waits for its answer, where `turns.ask` had no task to ask for: in a task with options,
-- or in the main program, which blocks.
-- @param options of the target
-- @param ... what `commands.arguments` gave
-- @return true where there are no values; values by name, or as a list; nil and the error object
function calls.command(scheduler, form, target, options, ...)
  local asked, values = false, nil
  local limit_ms = options.timeout_ms
  if scheduler.loop then
    local answer_for = options.positional and form.list_for or form.record_for
    if limit_ms then
      asked, values = ask_in_time(scheduler, form, limit_ms, answer_for, target.address, ...)
    else
      asked, values = ask(scheduler, answer_for, form.async, target.address, ...)
    end
  end
  if values then
    return values
  elseif asked then
    return calls.failure_in_task(form, target, limit_ms)
  end
  local _, why = turns.enter(scheduler)
  if limit_ms then
    return ask_with_limit(scheduler, form, target, options, why, ...)
  end
  return finish(scheduler, form, target, options, form.blocking(scheduler.context, target.address, ...))
end

--- Readies a form for calls.
function calls.prepare(form)
  form.record_for = compile.answer(form.values, form.printed)
  form.list_for = compile.answer(form.values, nil)
  return form
end

return calls
