-- Commands that look blocking, several at a time: a coroutine sleeps until its answer is there, and
-- the others go on meanwhile. All that it takes is `command` below.
local rovk = require "rovk_message"
local loop = require "rovk_loop"

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

-- Runs rovktrans_<name> from inside a coroutine and gives the values; a refusal is an error there.
local function command(name, address, ...)
  local this = coroutine.running()
  local function resume(...)
    assert(coroutine.resume(this, ...))
  end
  assert(rovk["rovktrans_" .. name .. "_async_lua"](context, address, resume, ...) == 0)
  local results = { coroutine.yield() }
  local errors = table.remove(results) -- behind the values
  if errors.error_id ~= 0 then
    error(("%s: error id %d"):format(name, errors.error_id), 2)
  end
  return unpack(results)
end

local running = 0
local function start(task, ...)
  running = running + 1
  assert(coroutine.resume(coroutine.create(function(...)
    task(...)
    running = running - 1
  end), ...))
end

local led = find("led_0001", "LED_FRONT_PANEL_RED")
local sensor = find("temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")

start(function()
  for round = 1, 3 do
    command("led_0001_set_state", led.address, led.index, round % 2, 0, 0)
    print("LED " .. (round % 2 == 1 and "on" or "off"))
  end
end)
start(function()
  for _ = 1, 3 do
    local temperature = command("temperature_sensor_0009_get_millidegree_celsius", sensor.address, sensor.index)
    print(("%.1f degrees"):format(temperature / 1000))
  end
end)

while running > 0 do
  assert(loop.dispatch(context, 1000))
end
print("both done")
assert(rovk.rovktrans_deinit(context) == 0)
