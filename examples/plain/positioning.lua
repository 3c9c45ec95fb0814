-- Pan, tilt and zoom: limits, a move to a position, a move at a velocity, and soft limits.
local rovk = require "rovk_message"
local unit = require "rovk_unit"

local function check(status, errors, ...)
  assert(status == 0, ("status %d, error id %d"):format(status, errors.error_id))
  return ...
end

-- The clock is one that we move, so that nobody waits for the motors.
local status, context = rovk.rovktrans_init("sim?clock=virtual", nil)
assert(status == 0, "no unit")
local head = rovk.rovktrans_find_device(context, rovk.ROVK_POSITIONING_002A_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_POSITIONING_OPTICAL)
if not head then
  io.stderr:write("positioning_002a has no device POSITIONING_OPTICAL on this unit\n")
  os.exit(1)
end

-- Calls one of the service's commands: position "get_position", then its inputs behind the index.
local function positioning(command, ...)
  return check(rovk["rovktrans_positioning_002a_" .. command](context, head.address, head.index, ...))
end

local function show(when)
  print(("%-16s pan %7d, tilt %6d millidegrees, zoom %3d deciX"):format(when, positioning("get_position")))
end

for _, axis in ipairs { "pan", "tilt", "zoom" } do
  local low, high, _, slowest, fastest = positioning("get_implementation_" .. axis .. "_limits")
  print(("%-4s from %d to %d, by %d to %d a second"):format(axis, low, high, slowest, fastest))
end

show("at the start")
positioning("set_position", 90000, -10000, 45000, 20000, 50, 20)
assert(unit.advance(context, 500))
show("half a second on")
assert(unit.advance(context, 10000))
show("at the target")

-- At a velocity the head moves until it is told otherwise or meets a limit.
positioning("set_velocity", -10000, 0, 0)
assert(unit.advance(context, 2000))
print("velocity now", positioning("get_velocity"))
positioning("set_velocity", 0, 0, 0)
show("stopped")

-- Soft limits lie within those of the implementation.
positioning("set_soft_pan_limits", 60000, 80000, 1000, 20000)
print("soft pan limits", positioning("get_soft_pan_limits"))
positioning("clear_soft_limits", 1, 1, 1)
print("valid after clearing", (positioning("get_soft_pan_limits")))
print("angle of view now, widest, narrowest", positioning("get_angle_of_view"))
assert(rovk.rovktrans_deinit(context) == 0)
