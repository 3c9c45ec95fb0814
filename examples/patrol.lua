-- A head that patrols: it drives from place to place, rests at each, and stays where it is while the alarm is closed.
-- The work is in a function that takes the unit, so that a test runs it on a virtual clock: patrol_test.lua.
local rovk = require "rovk"

local patrol = {}

local SPEED = { pan_millidegrees_per_second = 30000, tilt_millidegrees_per_second = 20000, zoom_deciX_per_second = 20 }

-- Drives there and waits until all axes stand still.
local function drive(head, place, limit_ms)
  local moves = head:on "movement_change"
  local target = { pan_millidegrees = place.pan, tilt_millidegrees = place.tilt, zoom_deciX = place.zoom }
  for name, speed in pairs(SPEED) do
    target[name] = speed
  end
  head:set_position(target)
  local event, late
  repeat
    event, late = moves:wait(limit_ms)
  until not event or event.pan_movement + event.tilt_movement + event.zoom_movement == 0
  moves:cancel()
  return event ~= nil, late
end

--- Visits the places in turn, so many rounds. `visited(place, when)` is called at each.
function patrol.run(unit, places, rounds, rest_ms, visited)
  local head = unit:device("positioning_002a", "POSITIONING_OPTICAL")
  local alarm = unit:device("alarm_0017", "ALARM_GPIO")
  for _ = 1, rounds do
    for _, place in ipairs(places) do
      while alarm:get_state().state == 1 do
        unit:sleep(500)
      end
      assert(drive(head, place, 30000))
      visited(place, unit:now())
      unit:sleep(rest_ms)
    end
  end
end

-- Run as a script, not required by the test.
if not ... then
  local unit = rovk.open "sim?clock=virtual"
  unit:need("positioning_002a", "POSITIONING_OPTICAL")
  unit:need("alarm_0017", "ALARM_GPIO")
  local places = {
    { name = "gate", pan = 10000, tilt = -5000, zoom = 20 },
    { name = "yard", pan = 90000, tilt = -20000, zoom = 10 },
    { name = "street", pan = 200000, tilt = 0, zoom = 60 },
  }
  unit:spawn(patrol.run, unit, places, 2, 2000, function(place, when)
    print(("%6.1f s  at the %s"):format(when / 1000, place.name))
  end)
  unit:run()
  unit:close()
end

return patrol
