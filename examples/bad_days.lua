-- A link that loses, delays, doubles, swaps and damages messages, and a script that copes: every command ends
-- once, with the right value or with an error.
--
-- bad_days.lua [COUNT [SEED]]

local rovk = require "rovk_message"
local loop = require "rovk_loop"
local unit = require "rovk_unit"

local count, seed = tonumber(arg[1]) or 2000, tonumber(arg[2]) or 1
local status, context = rovk.rovktrans_init("sim?clock=virtual&timeout_ms=200", nil)
assert(status == 0, "no unit")

-- Bytes 2 to 8 say whose answer a message is and that it is one: what is damaged there shows.
local rules = { seed = seed }
for _, direction in ipairs { "command", "answer" } do
  for _, rule in ipairs {
    { ["do"] = "drop", probability = 0.02 },
    { ["do"] = "delay", ms = 30, probability = 0.05 },
    { ["do"] = "delay", ms = 500, probability = 0.01 }, -- comes too late
    { ["do"] = "duplicate", probability = 0.05 },
    { ["do"] = "reorder", ms = 5, probability = 0.05 },
    { ["do"] = "corrupt", byte = 2, probability = 0.01 },
    { ["do"] = "corrupt", byte = 5, probability = 0.01 },
    { ["do"] = "corrupt", byte = 8, probability = 0.01 },
  } do
    rule.on = direction
    rules[#rules + 1] = rule
  end
end
assert(unit.plan(context, rules))

local ended, right, wrong, failed = {}, 0, 0, {}
for number = 1, count do
  -- Sent there and back: an answer to another command would show.
  local bytes = { number % 256, math.floor(number / 256) % 256, math.floor(number / 65536) }
  local accepted = rovk.rovktrans_common_echo_async_lua(context, rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS,
    function(echoed, errors)
      ended[number] = (ended[number] or 0) + 1
      if errors.error_id ~= 0 then
        failed[errors.error_id] = (failed[errors.error_id] or 0) + 1
      elseif echoed[1] == bytes[1] and echoed[2] == bytes[2] and echoed[3] == bytes[3] then
        right = right + 1
      else
        wrong = wrong + 1
      end
    end, bytes)
  assert(accepted == 0)
  -- Some at a time, so that they pass one another.
  if number % 50 == 0 then
    while loop.dispatch(context, 1000) > 0 do
    end
  end
end
while loop.dispatch(context, 1000) > 0 do
end

local injected = 0
for _, struck in ipairs(assert(unit.report(context)).injected) do
  injected = injected + struck
end
print(("%d commands met with %d mishaps: %d right, %d wrong"):format(count, injected, right, wrong))
local errors = 0
for id, times in pairs(failed) do
  errors = errors + times
  print(("  error %d: %d times"):format(id, times))
end
for number = 1, count do
  assert(ended[number] == 1, "a command that did not end once")
end
assert(wrong == 0 and right + errors == count)
print("each ended once")
rovk.rovktrans_deinit(context)
