-- Several things at a time: in a task a command waits for its answer while the other tasks go on.
local rovk = require "rovk"

local unit = rovk.open "sim?latency_ms=60"
local led = unit:need("led_0001", "LED_FRONT_PANEL_RED")
local sensor = unit:need("temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")

unit:spawn(function()
  for round = 1, 3 do
    led:set_state { on = round % 2, duty_cycle_on_ms = 0, duty_cycle_off_ms = 0 }
    print("LED " .. (round % 2 == 1 and "on" or "off"))
  end
end)
local readings = unit:spawn(function()
  local sum = 0
  for _ = 1, 3 do
    local temperature = sensor:get_millidegree_celsius().millidegree_celsius
    sum = sum + temperature
    print(("%.1f degrees"):format(temperature / 1000))
    unit:sleep(5)
  end
  return sum / 3
end)
unit:spawn(function()
  print(("%.1f degrees on average"):format(readings:wait() / 1000))
end)

-- What takes too long is given up, and an endless task is cancelled.
local beat = unit:spawn(function()
  while true do
    local state, err = led:with({ timeout_ms = 5 }):try_get_state()
    print(state or err)
    unit:sleep(30)
  end
end)
unit:after(50, function()
  beat:cancel()
end)

print(unit:run())
unit:close()
