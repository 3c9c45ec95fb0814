-- What tasks cost: many of them with many commands each, beside chains of the plain asynchronous functions that do
-- the same. Prints one row with the times of a command, the median of the ratios and the memory that was kept.
--   INTERPRETER tasks.lua MODULE_FOLDER
local folder = ...
package.cpath, package.path = folder .. "/?.so;" .. package.cpath, folder .. "/?.lua;" .. package.path
local loop = require "rovk_loop"
local plain = require "rovk_message"
local rovk = require "rovk"

local TASKS, COMMANDS, REPETITIONS = 1000, 100, 7

local unit = rovk.open "sim"
local led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
local context = unit.context

-- One result is looked at on both sides, so that neither gets away with dropping it.
local function in_tasks()
  local sum = 0
  for _ = 1, TASKS do
    unit:spawn(function()
      for _ = 1, COMMANDS / 2 do
        led:set_state { on = 1, duty_cycle_on_ms = 3, duty_cycle_off_ms = 5 }
        -- Not in one expression: others add to the sum while this one waits.
        local state = led:get_state()
        sum = sum + state.duty_cycle_on_ms
      end
    end)
  end
  assert(unit:run() == "done")
  return sum
end

local function by_callbacks()
  local sum, open = 0, TASKS
  local get_state = plain.rovktrans_led_0001_get_state_async_lua
  local set_state = plain.rovktrans_led_0001_set_state_async_lua
  local address, index = led.address, led.index
  for _ = 1, TASKS do
    local left, got = COMMANDS / 2, nil
    local function was_set(errors)
      assert(errors.error_id == 0)
      assert(get_state(context, address, got, index) == 0)
    end
    function got(_, on_ms, _, errors)
      assert(errors.error_id == 0)
      sum = sum + on_ms
      left = left - 1
      if left > 0 then
        assert(set_state(context, address, was_set, index, 1, 3, 5) == 0)
      else
        open = open - 1
      end
    end
    assert(set_state(context, address, was_set, index, 1, 3, 5) == 0)
  end
  while open > 0 do
    assert(loop.dispatch(context, 1000))
  end
  return sum
end

local function timed(action)
  collectgarbage()
  collectgarbage()
  local start = os.clock()
  local sum = action()
  return (os.clock() - start) / (TASKS * COMMANDS) * 1e6, sum
end

local function median(list)
  table.sort(list)
  return list[math.floor((#list + 1) / 2)]
end

local ours, bare, ratios, kept = {}, {}, {}, {}
for repetition = 1, REPETITIONS do
  local our_sum, bare_sum
  -- In turn the one and the other first.
  if repetition % 2 == 1 then
    ours[repetition], our_sum = timed(in_tasks)
    bare[repetition], bare_sum = timed(by_callbacks)
  else
    bare[repetition], bare_sum = timed(by_callbacks)
    ours[repetition], our_sum = timed(in_tasks)
  end
  assert(our_sum == bare_sum and our_sum == 3 * TASKS * COMMANDS / 2)
  ratios[repetition] = ours[repetition] / bare[repetition]
  collectgarbage()
  collectgarbage()
  kept[repetition] = collectgarbage("count")
end
unit:close()
print(("%-52s %9.2f us %9.2f us %7.2f  2.5"):format(
  ("command, %d tasks of %d (%s)"):format(TASKS, COMMANDS, rawget(_G, "jit") and "luajit" or "lua5.1"), median(ours),
  median(bare), median(ratios)))
print(("%-52s %9.1f KB"):format("memory kept by 6 such runs", kept[REPETITIONS] - kept[1]))
