-- The log of librovk-message as a script has it. What is written goes to syslog; here it is about
-- arguments, results and survival.

local helper = require("helper")
local rovk = require("rovk_message")

describe("logging", function()
  helper.watch(before_each, after_each)

  it("opens and closes the default log", function()
    for _, name in ipairs { "rovk test", 42, false } do
      assert.are.same({ n = 1, 0 }, helper.pack(rovk.rovk_logging_init(name or nil, nil)))
      assert.are.same({ n = 1, 0 }, helper.pack(rovk.rovk_logging_deinit(nil)))
    end
    for _, wrong in ipairs { rovk.rovk_version(), rovk.rovk_message(), helper.open() } do
      assert.are.same({ n = 1, -22 }, helper.pack(rovk.rovk_logging_deinit(wrong)))
    end
    for _, foreign in ipairs { io.stdout, newproxy() } do
      helper.refused(rovk.rovk_logging_deinit, foreign)
      helper.refused(rovk.rovk_log, foreign, 7, "x")
      helper.refused(rovk.rovk_log_error, nil, 7, foreign)
    end
  end)

  it("takes any priority and any text, and gives nothing back", function()
    local v, m, e = rovk.rovk_version(), rovk.rovk_message(), rovk.rovk_error_common_error()
    rovk.rovk_led_0001_initialize_get_state_command(m, 1, 2)
    for _, handle in ipairs { false, v, helper.open() } do -- nil, and two that are no logs
      for _, priority in ipairs { rovk.ROVK_LOG_PRIORITY_DEBUG, 100, "7", 1e10 } do
        for name, subjects in pairs {
          log = { "a line", "%s %n %d %999999s 100%", 42, "", ("x"):rep(10000), "line\nfeed", false },
          log_message = { m, rovk.rovk_message(), false }, log_error = { e, false },
        } do
          for _, subject in ipairs(subjects) do
            assert.are.equal(0, helper.pack(rovk["rovk_" .. name](handle or nil, priority, subject or nil)).n)
          end
        end
      end
    end
  end)

  it("reads an untyped error only as far as the object reaches", function()
    -- A record of 22 bytes is what an error is; of a shorter object the rest is not its own. Whether it
    -- is logged or refused, a checked run must stay silent.
    for _, short in ipairs { rovk.rovk_version(), rovk.rovk_device_address(), rovk.rovk_message().route } do
      pcall(rovk.rovk_log_error, nil, 7, short)
    end
  end)

  it("shows lines to who asks for it, whatever the context, and failed callbacks as they always were", function()
    local failed = "rovk test err: Lua swig bindings failed on a pcall. ignoring and continuing\n"
    assert.are.equal("rovk test debug: a line\nrovk test info: another\n" .. failed .. failed, helper.process([[
      local rovk = require("rovk_message")
      rovk.rovk_logging_init("rovk test", nil)
      rovk.rovk_log(nil, 7, "a line")
      rovk.rovktrans_log_message(nil, 6, "another")
      -- One that closes its context before it fails, and one that is called with none.
      local _, context = rovk.rovktrans_init("sim?clock=virtual", nil)
      local unittest = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS
      rovk.rovktrans_unittest_ffff_add_one_async_lua(context, unittest, function()
        rovk.rovktrans_deinit(context)
        error("after that")
      end, 1)
      rovk.rovktrans_unittest_ffff_add_two(context, unittest, 1)
      local _, other = rovk.rovktrans_init("sim?clock=virtual", nil)
      local handle = rovk.rovktrans_common_reset_occurred_register_callback_lua(other, unittest, error)
      rovk.internal_rovktrans_common_reset_occurred_event_callback(nil, unittest, 1, handle)
    ]], "ROVK_LOG=stderr"))
  end)
end)
