-- The ways in which a call can go wrong, and how a script sees each.
local rovk = require "rovk"
local hand = require "rovk_unit"

-- Half a second for an answer, and a clock that a wait moves forward at once.
local unit = rovk.open "sim?timeout_ms=500&clock=virtual"
local led = unit:need("led_0001", "LED_FRONT_PANEL_RED")

-- The peripheral refuses: an error object tells what, and try_ gives it instead of raising it.
local _, err = unit:device_at("led_0001", led.address, 99):try_get_state()
print(err)
assert(err.error == "invalid_payload" and err.status == 8 and err.detail.input == "index")

-- A peripheral with a fault refuses everything until the fault is cleared.
assert(hand.fault(unit.context, led.address, 17))
print(select(2, led:try_get_state()))
led:clear_fault()

-- No answer within half a second, and none within the call's own limit.
assert(hand.disturb(unit.context, "lose", 2, 0))
print(select(2, led:try_get_state()))
print(select(2, led:with({ timeout_ms = 50 }):try_get_state()))

-- A mistake of the caller is a text with the caller's line, and nothing was sent.
for _, mistake in ipairs {
  function() led:get_stat() end,
  function() led:set_state { on = 1, duty_cycle_on = 200, duty_cycle_off_ms = 800 } end,
  function() led:set_state { on = 1, duty_cycle_on_ms = 200 } end,
  function() led:set_state(1, 70000, 800) end,
  function() led:set_state(true, 200, 800) end,
  function() led.get_state() end,
  function() unit:device("led", "LED_FRONT_PANEL_RED") end,
  function() unit:device("led_0001", "FRONT_PANEL_BLUE") end,
  function() led:on("state_change", print) end,
  function() unit:sleep("a second") end,
} do
  print(select(2, pcall(mistake)))
end

-- An error in a task or a callback ends run, unless on_error takes it.
unit:on_error(function(value, traceback)
  print("taken: " .. tostring(value), #traceback > 0)
end)
unit:after(10, function()
  error("in a timer")
end)
print(unit:run())
unit:close()
print(select(2, pcall(led.get_state, led)))
