-- A unit inside a poll loop of one's own: wait for its descriptor beside any others, as long as its timers allow.
-- poll comes from the Debian package lua-posix.
local poll = require "posix.poll"
local rovk = require "rovk"
local hand = require "rovk_unit"

local unit = rovk.open "sim?latency_ms=20"
local button = unit:need("button_0002", "BUTTON_RESET")

local presses = button:on "state_change"
unit:spawn(function()
  print("answer: pressed " .. button:get_state().pressed)
  print("event:", presses:wait())
end)
unit:after(50, function()
  assert(hand.press(unit.context, button.index))
end)

local descriptors = { [unit:fd()] = { events = { IN = true } } }
while unit:busy() do
  local wait = unit:step()
  if unit:busy() then
    assert(poll.poll(descriptors, wait and math.ceil(wait) or 1000))
  end
end
unit:close()
print("done")
