-- Calls of the functions that no service owns, written out by hand, what they give back, and that no
-- library is called when an argument fails.

local helper = require("helper")
local rovk = require("rovk_message")
local recorder = require("recorder")

describe("above recording libraries", function()
  helper.watch(before_each, after_each)

  it("calls the library as these lines say", function()
    local m = rovk.rovk_message()
    m.route.application_address, m.route.peripheral_address = 0xA1B2, 0xC3D4
    m.route.uuid, m.route.type = 0xE5F60718, 0x90
    m.cre.dummy = "body"
    local bytes = "b2a1d4c31807f6e590" .. "626f6479" .. ("00"):rep(19)
    local _, c = rovk.rovktrans_init(nil, nil)
    local v = rovk.rovk_version()
    v.major, v.minor = 1, 255
    local zeros = ("00"):rep(32)
    for _, case in ipairs {
      { "rovktrans_init", { "sim", v }, 'text="sim", pointer=&1, slot=out' },
      { "rovktrans_init", { nil, nil, n = 2 }, "text=null, pointer=null, slot=out" },
      { "rovktrans_deinit", { nil, n = 1 }, "context=null" },
      { "rovktrans_log_message", { c, -1, "50% %s" }, 'context=&1, priority=-1, text="50% %s", behind=null' },
      { "rovktrans_find_peripheral", { c, 65537 }, "context=&1, id=1" },
      { "rovktrans_find_device", { c, 0xFFFF, 0xFFFFFFFF }, "context=&1, id=65535, device_id=4294967295" },
      { "rovk_logging_init", { "me", nil, n = 2 }, 'name="me", slot=null' },
      { "rovk_logging_deinit", { c }, "handle=&1" },
      { "rovk_log", { c, -2.9, nil, n = 3 }, "handle=&1, priority=-2, text=null, behind=null" },
      { "rovk_log_message", { c, 1e10, m }, "handle=&1, priority=2147483647, message=" .. bytes },
      { "rovk_log_error", { c, "3", v }, "handle=&1, priority=3, error=&2" },
      { "rovk_initialize_message_struct", { rovk.rovk_message(), 0x12345, 257, 300 },
        "message=" .. zeros .. ", address=9029, type=1, opcode=44" },
      { "rovk_initialize_message_response_struct", { rovk.rovk_message(), m, 2, 33 },
        "response=" .. zeros .. ", command=" .. bytes .. ", type=2, opcode=33" },
      { "rovk_initialize_message_error_response_struct", { rovk.rovk_message(), m, 5, 65536 },
        "response=" .. zeros .. ", command=" .. bytes .. ", address=5, error_id=0" },
    } do
      recorder.reset()
      rovk[case[1]](unpack(case[2], 1, case[2].n or #case[2]))
      assert.are.equal(("%s(%s)\n"):format(case[1], case[3]), recorder.calls())
    end
  end)

  it("calls no library when an argument fails", function()
    local _, c = rovk.rovktrans_init(nil, nil)
    recorder.reset()
    local echo = rovk.rovktrans_common_echo
    local eleven = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 }
    for _, case in ipairs { { echo, c, -1, {} }, { echo, c, 1, "x" }, { echo, c, 1 }, { echo, c, 1, helper.rep(1, 23) },
      { rovk.rovktrans_common_echo_async_lua, c, 1, print, "x" },
      { rovk.rovk_common_initialize_get_aliases_response, false, false, 11, eleven } } do
      helper.refused(case[1], case[2] or nil, case[3] or nil, unpack(case, 4))
    end
    assert.are.equal("", recorder.calls())
  end)

  it("gives the context that the library made, or nil", function()
    recorder.reset()
    recorder.behave { status = 7 }
    local results = helper.pack(rovk.rovktrans_init(nil, nil))
    assert.are.equal(2, results.n)
    assert.are.equal(7, results[1])
    assert.are.equal("void *", swig_type(results[2]))
    recorder.behave { status = -19, outputs = "untouched" }
    assert.are.same({ n = 2, -19 }, helper.pack(rovk.rovktrans_init(nil, nil)))
    assert.are.same({ n = 1 }, helper.pack(rovk.rovktrans_find_peripheral(nil, 1)))
    assert.are.same({ n = 1 }, helper.pack(rovk.rovktrans_find_device(nil, 1, 1)))
    recorder.behave {}
    assert.is_not_nil(swig_type(rovk.rovktrans_find_peripheral(nil, 1)):find("rovk_address *", 1, true))
    for _ = 1, 3 do -- the record is the library's: a collected object leaves it alone
      assert.are.equal(0x8182, rovk.rovktrans_find_device(nil, 1, 1).address)
      assert.are.equal(0x83, rovk.rovktrans_find_device(nil, 1, 1).index)
      collectgarbage()
    end
  end)
end)
