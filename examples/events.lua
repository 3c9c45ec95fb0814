-- Events as they come: a button, an alarm contact, a movement, a reset. A script on a desk has no finger on the
-- button, so rovk_unit causes what we wait for.
local rovk = require "rovk"
local hand = require "rovk_unit"

local unit = rovk.open "sim?clock=virtual"
local button = unit:need("button_0002", "BUTTON_RESET")
local alarm = unit:need("alarm_0017", "ALARM_GPIO")
local head = unit:need("positioning_002a", "POSITIONING_OPTICAL")

local presses = button:on("state_change", function(event)
  print(("button %d %s"):format(event.index, event.pressed == 1 and "pressed" or "released"))
end)
alarm:on("state_change", function(event, device)
  print(device.name, event)
end)
head:on("movement_change", function(event)
  print("head", event)
end)
button:on("reset_occurred", function(event)
  print(("the button's peripheral was reset, type %d"):format(event.type))
end)

-- What happens to the unit, in the order of time.
unit:spawn(function()
  assert(hand.press(unit.context, button.index))
  unit:sleep(1000)
  assert(hand.release(unit.context, button.index))
  unit:sleep(1000)
  assert(hand.close(unit.context, alarm.index))
  assert(hand.reset(unit.context, button.address, 3))
  unit:sleep(1000)
  -- What an event's function does not take can be waited for; it is kept from the subscription on.
  local moves = head:on "movement_change"
  head:set_velocity { pan_millidegrees_per_second = 1000, tilt_millidegrees_per_second = 0, zoom_deciX_per_second = 0 }
  print("and one that is waited for:", moves:wait(1000))
  presses:cancel()
  assert(hand.press(unit.context, button.index))
  unit:sleep(1000)
  print("and silence after the subscription ended")
  unit:stop()
end)
unit:run()
unit:close()
