-- Want of memory at every point where a script's call needs some: a Lua error or a status, nothing lost,
-- and all works as before when there is memory again.

local helper = require("helper")
local probe = require("probe")

-- Before and behind each scenario. What is not released shows as a function in the registry.
local FRAME = [[
package.cpath, package.path = %q, %q
local rovk, loop, unit = require("rovk_message"), require("rovk_loop"), require("rovk_unit")
local _, context = rovk.rovktrans_init("sim?clock=virtual", nil)
local SELF, BUTTON = 65535, 0x102
local calls, handles, message = 0, { false, false }, rovk.rovk_message()
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
  while loop.dispatch(context, 60000) > 0 do end
  for index, handle in ipairs(handles) do
    assert(not handle or forget(context, BUTTON, handle) == 0)
    handles[index] = false
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
  opening = [[
    package.loaded.rovk_message = nil
    require("rovk_message")
  ]],
}

describe("without memory", function()
  helper.watch(before_each, after_each)

  for name, text in pairs(SCENARIOS) do
    it("nothing is lost: " .. name, function()
      local turns = probe.starve(FRAME:format(package.cpath, package.path, text), name == "opening" and 97 or 1)
      assert.is_true(turns == nil or turns > 3, turns)
    end)

    if name ~= "opening" then -- which would take seconds
      it("nothing is freed that is in use, with a collection at each allocation: " .. name, function()
        probe.run(([[
          local scenario, check = (function() %s end)()
          collectgarbage("setpause", 0)
          collectgarbage("setstepmul", 1000000)
          for _ = 1, 3 do
            scenario()
            check()
          end
        ]]):format(FRAME:format(package.cpath, package.path, text)))
      end)
    end
  end
end)
