-- Hundreds of commands at once, results in the order of the questions: the temperature curve of a
-- calibration, say, or as here the state of every tag and device one can think of.
local rovk = require "rovk_message"
local loop = require "rovk_loop"

-- Ten milliseconds for each answer: one after the other this would take four seconds.
local status, context = rovk.rovktrans_init("sim?latency_ms=10", nil)
assert(status == 0, "no unit")
-- An error in a callback would else leave one line in the log and nothing more.
loop.on_error(function(message, traceback)
  io.stderr:write(tostring(message), "\n", traceback, "\n")
  os.exit(1)
end)
local led = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED)
if not led then
  io.stderr:write("led_0001 has no device LED_FRONT_PANEL_RED on this unit\n")
  os.exit(1)
end

-- Answers come in any order; each callback knows the place of its own.
local count, open, results = 400, 0, {}
for number = 1, count do
  local payload = { number % 256, math.floor(number / 256) }
  local accepted = rovk.rovktrans_common_echo_async_lua(context, led.address, function(bytes, errors)
    open = open - 1
    results[number] = errors.error_id == 0 and bytes[1] + 256 * bytes[2] or "failed"
  end, payload)
  assert(accepted == 0)
  open = open + 1
end
print(open .. " commands in flight")

local rounds = 0
while open > 0 do
  assert(assert(loop.dispatch(context, 1000)) > 0, "the rest of the answers does not come")
  rounds = rounds + 1
end

local right = 0
for number = 1, count do
  right = right + (results[number] == number and 1 or 0)
end
print(right .. " of " .. count .. " results in their places")
assert(rovk.rovktrans_deinit(context) == 0)
