-- Contexts: opening, closing, looking peripherals up, and what is no context.

local helper = require("helper")
local lfs = require("lfs")
local probe = require("probe")
local rovk = require("rovk_message")
local unit = require("rovk_unit")
local loop = require("rovk_loop")

local EINVAL = -22

describe("contexts", function()
  helper.watch(before_each, after_each)

  it("open on a simulated unit by default, and close once", function()
    for _, text in ipairs { false, "", "sim?clock=virtual&latency_ms=5&timeout_ms=100" } do
      local results = helper.pack(rovk.rovktrans_init(text or nil, nil))
      assert.are.equal(2, results.n)
      assert.are.equal(0, results[1], tostring(text))
      assert.are.equal("void *", swig_type(results[2]))
      assert.are.equal(0, (rovk.rovktrans_common_nop(results[2], 0, 0)))
      assert.are.same({ n = 1, 0 }, helper.pack(rovk.rovktrans_deinit(results[2])))
      assert.are.same({ n = 1, EINVAL }, helper.pack(rovk.rovktrans_deinit(results[2])))
    end
    for _, text in ipairs { "unknown", "sim?x=1", 42 } do
      assert.are.same({ n = 2, EINVAL }, helper.pack(rovk.rovktrans_init(text, nil)), tostring(text))
    end
    local status, context = rovk.rovktrans_init(nil, rovk.rovk_version()) -- the pointer is not used
    assert.are.equal(0, status)
    assert.are.equal(0, rovk.rovktrans_deinit(context))
  end)

  it("that are none are answered with a status or a Lua error, never used", function()
    local spent = helper.open()
    assert.are.equal(0, helper.close(spent))
    local message = rovk.rovk_message()
    local function nothing() end
    for _, wrong in ipairs { spent, rovk.rovk_version(), message, message.cre.c.payload, rovk.rovk_protocol_version,
      false } do
      wrong = wrong or nil
      assert.are.equal(EINVAL, (rovk.rovktrans_deinit(wrong)))
      assert.are.same({ n = 3, EINVAL, { error_id = 0 }, 0 },
        helper.pack(rovk.rovktrans_unittest_ffff_add_one(wrong, 65535, 1)))
      assert.are.equal(EINVAL, rovk.rovktrans_unittest_ffff_add_one_async_lua(wrong, 65535, nothing, 1))
      assert.is_nil(rovk.rovktrans_button_0002_state_change_register_callback_lua(wrong, 1, nothing))
      assert.are.equal(EINVAL, rovk.rovktrans_button_0002_state_change_unregister_callback_lua(wrong, 1, nil))
      assert.are.equal(EINVAL, rovk.rovktrans_button_0002_register_default_callbacks(wrong, 1))
      assert.is_nil(rovk.rovktrans_find_peripheral(wrong, 1))
      assert.is_nil(rovk.rovktrans_find_device(wrong, 1, 1))
      assert.are.equal(0, select("#", rovk.rovktrans_log_message(wrong, 7, "a line without a context")))
      for _, result in ipairs { helper.pack(pcall(loop.dispatch, wrong, 0)), helper.pack(pcall(loop.fd, wrong)),
        helper.pack(pcall(unit.now, wrong)), helper.pack(pcall(unit.advance, wrong, 1)) } do
        assert.is_true(result[1] == false or result[2] == nil)
      end
    end
    for _, foreign in ipairs { io.stdout, newproxy(), probe.light() } do
      helper.refused(rovk.rovktrans_deinit, foreign)
      helper.refused(rovk.rovktrans_unittest_ffff_add_one, foreign, 65535, 1)
      helper.refused(rovk.rovktrans_find_device, foreign, 1, 1)
      helper.refused(rovk.rovktrans_log_message, foreign, 3, "x")
      helper.refused(rovk.rovktrans_button_0002_state_change_register_callback_lua, foreign, 1, nothing)
      helper.refused(rovk.rovktrans_button_0002_state_change_unregister_callback_lua, nil, 1, foreign)
    end
  end)

  it("find peripherals and devices", function()
    local context = helper.open()
    local at = helper.addresses(context)
    local found = 0
    for _, service in ipairs(helper.model().services) do
      if service.id then
        local address = rovk.rovktrans_find_peripheral(context, service.id)
        assert.is_not_nil(address, service.name)
        assert.is_not_nil(("|" .. swig_type(address) .. "|"):find("|rovk_address *|", 1, true))
        assert.is_nil(getmetatable(address))
        assert.are.equal(probe.native(at[service.name], 2), probe.bytes(address, 2), service.name)
        found = found + 1
      end
    end
    assert.are.equal(50, found)
    assert.is_nil(rovk.rovktrans_find_peripheral(context, 0x1E))
    assert.is_nil(rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID, 9999))
    for name, index in pairs { LED_FRONT_PANEL_GREEN = 0, LED_FRONT_PANEL_RED = 1 } do
      local id = rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. name]
      local device = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID, id)
      assert.are.same({ at.led_0001, index }, { device.address, device.index })
      assert.is_false((select(2, probe.object(device))))
      assert.are.equal(id, (select(3, rovk.rovktrans_common_get_peripheral_device_id(context, device.address,
        device.index))))
    end
    -- What was found stays readable when the object and the context are gone.
    local address = rovk.rovktrans_find_peripheral(context, 1)
    collectgarbage()
    helper.close(context)
    assert.are.equal(2, #probe.bytes(address, 2))
  end)

  it("may be closed by a finalizer while the interpreter ends", function()
    local output, code = helper.process([[
      local rovk = require "rovk_message"
      local _, context = rovk.rovktrans_init("sim?clock=virtual", nil)
      local last = newproxy(true)
      getmetatable(last).__gc = function() print("closed", rovk.rovktrans_deinit(context)) end
      local function ended(_, errors)
        collectgarbage()
        print("ended", errors.error_id)
      end
      rovk.rovktrans_unittest_ffff_add_one_async_lua(context, rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS, ended, 1)
    ]])
    assert.are.same({ "ended\t6\nclosed\t0\n", 0 }, { output, code })
  end)

  it("leave no folder behind, whether they are closed or not", function()
    local folder = os.tmpname()
    os.remove(folder)
    assert(lfs.mkdir(folder))
    for _, ending in ipairs { "", "os.exit(0)", "unit:close()" } do
      local output = helper.process([[
        local unit = require("rovk").open "sim?clock=virtual"
        unit:device("bulk_dump_000c"):get_frame { bayer = 0, filename = "frame" }
        local function first(folder)
          for name in require("lfs").dir(folder) do
            if name ~= "." and name ~= ".." then
              return folder .. "/" .. name, name
            end
          end
        end
        print(select(2, first((first(os.getenv "TMPDIR")))))
      ]] .. ending, "TMPDIR=" .. folder)
      assert.are.equal("frame\n", output)
      -- Only an empty folder can be removed like this.
      assert.is_true(lfs.rmdir(folder))
      assert(lfs.mkdir(folder))
    end
    lfs.rmdir(folder)
  end)

  it("on the real clock are not advanced", function()
    local real = helper.open("sim")
    local ok, _, status = unit.advance(real, 1)
    assert.are.same({ "nil", -1 }, { type(ok), status }) -- EPERM
  end)
end)
