-- Lights the LEDs of the front panel in turn and lets the last one blink.
local rovk = require "rovk_message"

local function check(status, errors, ...)
  assert(status == 0, ("status %d, error id %d"):format(status, errors.error_id))
  return ...
end

local status, context = rovk.rovktrans_init(nil, nil)
assert(status == 0, "no unit")

local function find(service, device)
  local found = rovk.rovktrans_find_device(context, rovk["ROVK_" .. service:upper() .. "_PERIPHERAL_ID"],
    rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. device])
  if not found then
    io.stderr:write(("%s has no device %s on this unit\n"):format(service, device))
    os.exit(1)
  end
  return found
end


local function show(name, led)
  local on, on_ms, off_ms = check(rovk.rovktrans_led_0001_get_state(context, led.address, led.index))
  print(("%-6s on %d, %d ms lit, %d ms dark"):format(name, on, on_ms, off_ms))
end

local leds = { GREEN = find("led_0001", "LED_FRONT_PANEL_GREEN"), RED = find("led_0001", "LED_FRONT_PANEL_RED") }
for _, name in ipairs { "GREEN", "RED" } do
  check(rovk.rovktrans_led_0001_set_state(context, leds[name].address, leds[name].index, 1, 0, 0))
  show(name, leds[name])
end

-- A tenth of a second lit, nine dark.
check(rovk.rovktrans_led_0001_set_state(context, leds.RED.address, leds.RED.index, 1, 100, 900))
show("RED", leds.RED)
assert(rovk.rovktrans_deinit(context) == 0)
