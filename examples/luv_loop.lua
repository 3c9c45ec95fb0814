-- A unit inside libuv's loop, beside its timers: Debian package lua-luv.
local uv = require "luv"
local rovk = require "rovk"
local hand = require "rovk_unit"

local unit = rovk.open "sim?latency_ms=20"
local button = unit:need("button_0002", "BUTTON_RESET")
local sensor = unit:need("temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")

-- All it takes: a step when the descriptor is readable, or when the unit's next timer is due.
local watcher, timer = uv.new_poll(unit:fd()), uv.new_timer()
local function step()
  local wait = unit:step()
  if not unit:busy() then
    watcher:close()
    timer:close()
  elseif wait then
    timer:start(math.ceil(wait), 0, step)
  else
    timer:stop()
  end
end
watcher:start("r", step)

-- Looking the devices up took its time, which libuv has not noticed yet.
uv.update_time()

-- A reading every 50 ms, until the button is pressed.
local readings = unit:every(50, function()
  print(("%.1f degrees"):format(sensor:get_millidegree_celsius().millidegree_celsius / 1000))
end)
local presses
presses = button:on("state_change", function(event)
  print("button pressed: " .. event.pressed)
  presses:cancel()
  readings:cancel()
end)

local finger = uv.new_timer()
finger:start(180, 0, function()
  assert(hand.press(unit.context, button.index))
  finger:close()
end)

step()
uv.run()
unit:close()
print("done")
