-- Lights the LEDs of the front panel in turn and lets the last one blink.
local rovk = require "rovk"

local unit = rovk.open()
local red = unit:need("led_0001", "LED_FRONT_PANEL_RED")
for _, led in ipairs { unit:need("led_0001", "LED_FRONT_PANEL_GREEN"), red } do
  led:set_state { on = 1, duty_cycle_on_ms = 0, duty_cycle_off_ms = 0 }
  print(led, led:get_state())
end

-- A tenth of a second lit, nine dark.
red:set_state { on = 1, duty_cycle_on_ms = 100, duty_cycle_off_ms = 900 }
print(red, red:get_state())
unit:close()
