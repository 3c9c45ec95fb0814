-- The ways in which a call can go wrong, and how a script sees each.
local rovk = require "rovk_message"
local unit = require "rovk_unit"

-- Half a second for an answer, and a clock that a wait moves forward at once.
local status, context = rovk.rovktrans_init("sim?timeout_ms=500&clock=virtual", nil)
assert(status == 0, "no unit")
local led = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED)
if not led then
  io.stderr:write("led_0001 has no device LED_FRONT_PANEL_RED on this unit\n")
  os.exit(1)
end

local function tell(what, result, errors)
  local keys = {}
  for key, value in pairs(errors) do
    keys[#keys + 1] = key .. " = " .. value
  end
  table.sort(keys)
  print(("%-32s status %d; %s"):format(what, result, table.concat(keys, ", ")))
  return result, errors
end

tell("a good call", rovk.rovktrans_led_0001_get_state(context, led.address, led.index))

-- The peripheral refuses: the status is the error id, and the table has what came with it.
local refused = tell("no such LED", rovk.rovktrans_led_0001_get_state(context, led.address, 99))
assert(refused == rovk.ROVK_COMMON_ERROR_INVALID_PAYLOAD)
tell("nobody at this address", rovk.rovktrans_led_0001_get_state(context, 4711, 0))

-- A peripheral with a fault refuses everything until the fault is cleared.
assert(unit.fault(context, led.address, 17))
local _, errors = tell("a faulty peripheral", rovk.rovktrans_led_0001_get_state(context, led.address, led.index))
assert(errors.fault_id == 17)
tell("clear the fault", rovk.rovktrans_common_clear_fault(context, led.address))

-- Below the protocol the status is a negative errno.
assert(unit.disturb(context, "lose", 1, 0))
tell("an answer got lost", rovk.rovktrans_led_0001_get_state(context, led.address, led.index))

-- A wrong call is a Lua error, and nothing was sent.
print(select(2, pcall(rovk.rovktrans_led_0001_get_state, context, led.address)))
print(select(2, pcall(rovk.rovktrans_led_0001_get_state, context, led.address, "front")))
print(select(2, pcall(rovk.rovktrans_led_0001_get_state, context, led.address, -1)))

assert(rovk.rovktrans_deinit(context) == 0)
tell("a closed context", rovk.rovktrans_led_0001_get_state(context, led.address, led.index))
