-- The module inside a poll loop of one's own: wait for its descriptor beside any others, dispatch when
-- it is readable. poll comes from the Debian package lua-posix.
local poll = require "posix.poll"
local rovk = require "rovk_message"
local loop = require "rovk_loop"
local unit = require "rovk_unit"

local status, context = rovk.rovktrans_init("sim?latency_ms=20", nil)
assert(status == 0, "no unit")
-- An error in a callback would else leave one line in the log and nothing more.
loop.on_error(function(message, traceback)
  io.stderr:write(tostring(message), "\n", traceback, "\n")
  os.exit(1)
end)
local button = rovk.rovktrans_find_device(context, rovk.ROVK_BUTTON_0002_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_BUTTON_RESET)
if not button then
  io.stderr:write("button_0002 has no device BUTTON_RESET on this unit\n")
  os.exit(1)
end

local left = 2
local handle = rovk.rovktrans_button_0002_state_change_register_callback_lua(context, button.address,
  function(index, pressed)
    print(("event: button %d, pressed %d"):format(index, pressed))
    left = left - 1
  end)
assert(rovk.rovktrans_button_0002_get_state_async_lua(context, button.address, function(pressed, errors)
  print(errors.error_id == 0 and "answer: pressed " .. pressed or "no answer, error " .. errors.error_id)
  left = left - 1
end, button.index) == 0)
assert(unit.press(context, button.index))

local descriptors = { [loop.fd(context)] = { events = { IN = true } } }
while left > 0 do
  assert(poll.poll(descriptors, 1000) > 0, "nothing in a second")
  assert(loop.dispatch(context, 0))
end
assert(rovk.rovktrans_button_0002_state_change_unregister_callback_lua(context, button.address, handle) == 0)
assert(rovk.rovktrans_deinit(context) == 0)
print("done")
