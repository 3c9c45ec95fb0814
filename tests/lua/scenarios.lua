-- Scenarios of scripts that need memory, for the tests that let it run out: memory_test.lua from Lua, and
-- tests/runtime/scarcity_test.cpp from a host.

-- Around each scenario. What is not released shows as a function in the registry.
local FRAME = [[
-- LuaJIT itself does not bear it when memory ends while it compiles.
if jit then jit.off() end
package.cpath, package.path = %q, %q
local rovk, loop, unit = require("rovk_message"), require("rovk_loop"), require("rovk_unit")
local _, context = rovk.rovktrans_init("sim?clock=virtual", nil)
local SELF, BUTTON = 65535, 0x102
local calls, handles, message, other = 0, { false, false }, rovk.rovk_message(), nil
local function count() calls = calls + 1 end
local bytes = { 1, 2, 3 }
local add = rovk.rovktrans_unittest_ffff_add_one_async_lua
local listen = rovk.rovktrans_button_0002_state_change_register_callback_lua
local forget = rovk.rovktrans_button_0002_state_change_unregister_callback_lua
local function scenario()
  %s
end
local function check()
  if type(package.loaded.rovk_message) ~= "table" then
    package.loaded.rovk_message = nil -- what a failed opening left there
    require("rovk_message")
  end
  while assert(loop.dispatch(context, 60000)) > 0 do end
  for index, handle in ipairs(handles) do
    assert(not handle or forget(context, BUTTON, handle) == 0)
    handles[index] = false
  end
  if other then
    assert(rovk.rovktrans_deinit(other) == 0)
    other = nil
  end
  for key, value in pairs(debug.getregistry()) do
    assert(not (type(key) == "number" and type(value) == "function"), "a reference is left")
  end
  collectgarbage()
  local status, errors, echoed = rovk.rovktrans_common_echo(context, SELF, bytes)
  assert(status == 0 and errors.error_id == 0 and #echoed == 22 and echoed[3] == 3)
  local parts = rovk.rovk_message()
  parts.route.uuid = 7
  assert(parts.route.uuid == 7)
end
return scenario, check
]]

local SCENARIOS = {
  objects = [[
    local m = rovk.rovk_message()
    local part = m.cre.r.pei.ei.payload
    m.cre.c.payload = rovk.rovk_message().cre.c.payload
    m.cre.dummy = 12345
    m.route = rovk.rovk_message().route
    local _ = tostring(m), rovk.rovk_protocol_version, swig_type(part)
  ]],
  messages = [[
    rovk.rovk_common_initialize_echo_command(message, 1, bytes)
    local _ = rovk.rovk_common_retrieve_echo_command(message)
    pcall(rovk.rovk_common_initialize_echo_command, message, 1, 5)
    rovk.rovk_common_initialize_get_peripheral_info_command(message, 1)
    local answer, v = rovk.rovk_message(), rovk.rovk_version()
    v.major = 9
    rovk.rovk_common_initialize_get_peripheral_info_response(answer, message, 1, v, v, v, 1, 2, 3, 4)
    local _, _, api, _, protocol = rovk.rovk_common_retrieve_get_peripheral_info_response(answer)
    assert(api.major == 9 and protocol.major == 9)
  ]],
  blocking = [[
    rovk.rovktrans_common_echo(context, SELF, bytes)
    rovk.rovktrans_common_get_peripheral_info(context, SELF)
    rovk.rovktrans_unittest_ffff_fail(context, SELF, 2)
    rovk.rovktrans_find_device(context, 1, 1)
  ]],
  commands = [[
    calls = 0
    local status = add(context, SELF, count, 1)
    assert(status == 0 or status == -1)
    loop.dispatch(context, 1000)
    rovk.rovktrans_common_echo_async_lua(context, SELF, function() count() end, bytes)
    rovk.rovktrans_unittest_ffff_fail_async_lua(context, SELF, function() error({}) end, 2)
    loop.dispatch(context, 1000)
  ]],
  coroutines = [[
    coroutine.wrap(function() add(context, SELF, count, 1) end)()
    loop.dispatch(context, 1000)
  ]],
  events = [[
    handles[1] = listen(context, BUTTON, count) or false
    handles[2] = listen(context, BUTTON, function() count() end) or false
    unit.press(context, 0)
    unit.release(context, 0)
    loop.dispatch(context, 1000)
    local one = handles[1]
    handles[1] = false
    if one then forget(context, BUTTON, one) end
  ]],
  contexts = [[
    local _
    _, other = rovk.rovktrans_init("sim?clock=virtual&unit=scarce&latency_ms=1", nil)
    if other then
      add(other, SELF, count, 1)
      rovk.rovktrans_find_device(other, 1, 1)
      rovk.rovktrans_find_peripheral(other, 2)
      rovk.rovktrans_log_message(other, 7, "a line")
    end
  ]],
  unit = [[
    unit.set(context, "temperature", 0, 30000)
    unit.probe(context, "focus", 0)
    unit.plan(context, { { on = "answer", service = "led_0001", probability = 0.1, ["do"] = "drop" } })
    unit.at(context, unit.now(context) + 5, count)
    unit.advance(context, 10)
    -- LuaJIT crashes by itself where a table of names grows and memory ends, so the report is for the other.
    if not jit then unit.report(context) end
    unit.disturb(context, "delay", 1, 3)
    unit.plan(context, {})
    loop.fd(context)
    loop.on_error(count)
    loop.on_error(nil)
  ]],
  records = [[
    rovk.rovktrans_common_get_aliases(context, SELF)
    rovk.rovktrans_common_get_peripheral_device_id(context, 0x101, 0)
    rovk.rovktrans_led_0001_set_state(context, 0x101, 0, 1, 100, 100)
    rovk.rovktrans_led_0001_get_state(context, 0x101, 0)
    rovk.rovktrans_power_monitor_000f_get_current_async_lua(context, 0x10f, count, 0)
    rovk.rovktrans_common_register_default_callbacks(context, SELF)
    rovk.rovk_log_message(nil, 7, message)
    rovk.rovk_log_error(nil, 7, rovk.rovk_error_common_error())
    unit.spontaneous_error(context, SELF, 3, { 1, 2 })
    loop.dispatch(context, 1000)
  ]],
  opening = [[
    package.loaded.rovk_message = nil
    require("rovk_message")
  ]],
}

return { frame = FRAME, texts = SCENARIOS }
