-- Pan, tilt and zoom: limits, a move to a position, a move at a velocity, and soft limits.
local rovk = require "rovk"

-- The clock is one that our waiting moves, so that nobody waits for the motors.
local unit = rovk.open "sim?clock=virtual"
local head = unit:need("positioning_002a", "POSITIONING_OPTICAL")

local function show(when)
  local at = head:get_position()
  print(("%-16s pan %7d, tilt %6d millidegrees, zoom %3d deciX"):format(when, at.pan_millidegrees,
    at.tilt_millidegrees, at.zoom_deciX))
end

print("pan ", head:get_implementation_pan_limits())
print("tilt", head:get_implementation_tilt_limits())
print("zoom", head:get_implementation_zoom_limits())

show("at the start")
local moves = head:on "movement_change"
head:set_position { pan_millidegrees = 90000, tilt_millidegrees = -10000, zoom_deciX = 50,
  pan_millidegrees_per_second = 45000, tilt_millidegrees_per_second = 20000, zoom_deciX_per_second = 20 }
unit:sleep(500)
show("half a second on")
repeat
  local event = assert(moves:wait(20000))
until event.pan_movement + event.tilt_movement + event.zoom_movement == 0
show("at the target")

-- At a velocity the head moves until it is told otherwise or meets a limit.
head:set_velocity { pan_millidegrees_per_second = -10000, tilt_millidegrees_per_second = 0, zoom_deciX_per_second = 0 }
unit:sleep(2000)
print("velocity now", head:get_velocity())
head:set_velocity(0, 0, 0)
show("stopped")

-- Soft limits lie within those of the implementation.
head:set_soft_pan_limits(60000, 80000, 1000, 20000)
print("soft pan limits", head:get_soft_pan_limits())
head:clear_soft_limits { clear_pan_soft_limits = 1, clear_tilt_soft_limits = 1, clear_zoom_soft_limits = 1 }
print("valid after clearing", head:get_soft_pan_limits().valid)
unit:close()
