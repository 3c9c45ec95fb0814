-- What works in a new state when there is memory again, whatever became of another state before.
local build = ...
package.path, package.cpath = build .. "/lualib/?.lua;" .. package.path, build .. "/lualib/?.so;" .. package.cpath
local rovk, loop, unit = require("rovk_message"), require("rovk_loop"), require("rovk_unit")

local status, context = rovk.rovktrans_init("sim?clock=virtual", nil)
assert(status == 0, "no context")
local answers, events = 0, 0
local handle = rovk.rovktrans_button_0002_state_change_register_callback_lua(context, 0x102, function()
  events = events + 1
end)
assert(handle, "no subscription")
assert(rovk.rovktrans_common_echo_async_lua(context, 0, function() answers = answers + 1 end, { 7 }) == 0, "refused")
assert(unit.press(context, 0))
for _ = 1, 10 do
  assert(loop.dispatch(context, 10))
end
assert(answers == 1 and events == 1, ("%d answers, %d events"):format(answers, events))
assert(rovk.rovktrans_button_0002_state_change_unregister_callback_lua(context, 0x102, handle) == 0)
assert(rovk.rovktrans_deinit(context) == 0)
