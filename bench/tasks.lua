-- What tasks cost: many of them with many commands each, beside chains of the plain asynchronous functions that do
-- the same. Prints a row for each way to call: the times of a command, the median of their ratios and the bar; then
-- the memory that was kept.
--   INTERPRETER tasks.lua MODULE_FOLDER
local folder = ...
package.cpath, package.path = folder .. "/?.so;" .. package.cpath, folder .. "/?.lua;" .. package.path
local loop = require "rovk_loop"
local plain = require "rovk_message"
local rovk = require "rovk"

local TASKS, COMMANDS, REPETITIONS = 1000, 100, 7

local unit = rovk.open "sim"
local led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
local context, address, index = unit.context, led.address, led.index
local set_state, get_state = plain.rovktrans_led_0001_set_state_async_lua, plain.rovktrans_led_0001_get_state_async_lua

-- Each way as a task calls it, and as a plain call with the callback that goes on.
local WAYS = {
  { "values by name", function() return led:get_state() end,
    function(answered) return get_state(context, address, answered, index) end },
  { "inputs by place", function() return led:set_state(1, 3, 5) end,
    function(answered) return set_state(context, address, answered, index, 1, 3, 5) end },
  { "inputs by name", function() return led:set_state { on = 1, duty_cycle_on_ms = 3, duty_cycle_off_ms = 5 } end,
    function(answered) return set_state(context, address, answered, index, 1, 3, 5) end },
}

local function in_tasks(command)
  local count = 0
  for _ = 1, TASKS do
    unit:spawn(function()
      for _ = 1, COMMANDS do
        command()
        count = count + 1
      end
    end)
  end
  assert(unit:run() == "done")
  return count
end

local function by_callbacks(command)
  local count, open = 0, TASKS
  for _ = 1, TASKS do
    local left = COMMANDS
    local function answered(...)
      local errors = select(-1, ...)
      assert(errors.error_id == 0)
      count = count + 1
      left = left - 1
      if left > 0 then
        assert(command(answered) == 0)
      else
        open = open - 1
      end
    end
    assert(command(answered) == 0)
  end
  while open > 0 do
    assert(loop.dispatch(context, 1000))
  end
  return count
end

local function timed(action, command)
  collectgarbage()
  collectgarbage()
  local start = os.clock()
  assert(action(command) == TASKS * COMMANDS)
  return (os.clock() - start) / (TASKS * COMMANDS) * 1e6
end

local function median(list)
  table.sort(list)
  return list[math.floor((#list + 1) / 2)]
end

local function kept()
  collectgarbage()
  collectgarbage()
  return collectgarbage("count")
end

local before
for _, way in ipairs(WAYS) do
  local name, ours, bare = unpack(way)
  local our_times, bare_times, ratios = {}, {}, {}
  for repetition = 1, REPETITIONS do
    -- In turn the one and the other first.
    if repetition % 2 == 1 then
      our_times[repetition] = timed(in_tasks, ours)
    end
    bare_times[repetition] = timed(by_callbacks, bare)
    our_times[repetition] = our_times[repetition] or timed(in_tasks, ours)
    ratios[repetition] = our_times[repetition] / bare_times[repetition]
    before = before or kept()
  end
  print(("%-52s %9.2f us %9.2f us %7.2f  2.5"):format(("command in 1000 tasks, %s (%s)"):format(name,
    rawget(_G, "jit") and "luajit" or "lua5.1"), median(our_times), median(bare_times), median(ratios)))
end
local after = kept()
unit:close()
print(("%-52s %9.1f KB"):format("memory kept by a further 2 million such commands", after - before))
