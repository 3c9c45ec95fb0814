-- The module inside libuv's loop, beside its timers: Debian package lua-luv.
local uv = require "luv"
local rovk = require "rovk_message"
local loop = require "rovk_loop"
local unit = require "rovk_unit"

local status, context = rovk.rovktrans_init("sim?latency_ms=20", nil)
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

-- An error in a callback would else leave one line in the log and nothing more.
loop.on_error(function(message, traceback)
  io.stderr:write(tostring(message), "\n", traceback, "\n")
  os.exit(1)
end)
local button = find("button_0002", "BUTTON_RESET")
local sensor = find("temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")

local watcher = uv.new_poll(loop.fd(context))
watcher:start("r", function()
  assert(loop.dispatch(context, 0))
end)

-- A reading every 50 ms, until the button is pressed while one is under way. Looking the devices up
-- took its time, which libuv has not noticed yet.
uv.update_time()
local clock, asked = uv.new_timer(), 0
clock:start(0, 50, function()
  asked = asked + 1
  assert(rovk.rovktrans_temperature_sensor_0009_get_millidegree_celsius_async_lua(context, sensor.address,
    function(temperature, errors)
      -- The one that is under way when the context closes has no value: it ends with an error.
      if errors.error_id == 0 then
        print(("%.1f degrees"):format(temperature / 1000))
      else
        print("no reading, error " .. errors.error_id)
      end
    end, sensor.index) == 0)
  if asked == 4 then
    assert(unit.press(context, button.index))
  end
end)

local handle
handle = rovk.rovktrans_button_0002_state_change_register_callback_lua(context, button.address, function(_, pressed)
  print("button pressed: " .. pressed)
  assert(rovk.rovktrans_button_0002_state_change_unregister_callback_lua(context, button.address, handle) == 0)
  clock:close()
  watcher:close()
end)

uv.run()
assert(rovk.rovktrans_deinit(context) == 0)
print("done")
