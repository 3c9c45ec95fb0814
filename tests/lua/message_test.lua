-- Builders and readers of messages, from a script to the bytes. That every one of them passes its values
-- is shown by tests/recorder, that the library lays them out by tests/message.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

local EINVAL, ENODATA, EPROTO, EBADMSG = -22, -61, -71, -74

local function bytes(message)
  return probe.bytes(message, 32)
end

describe("messages", function()
  helper.watch(before_each, after_each)

  it("have the bytes of these examples", function()
    local function command(name, ...)
      local m = rovk.rovk_message()
      assert.are.equal(0, helper.pack(rovk["rovk_" .. name](m, ...)).n)
      return helper.hex(bytes(m))
    end
    local zero = "00"
    for expected, made in pairs {
      ["0000020100000021012101004400aa0aba0b" .. zero:rep(14)] =
        command("led_0001_initialize_set_state_command", 0x0102, 1, 0x44, 0x0AAA, 0x0BBA),
      ["0000ffff00000004010401022c0000" .. zero:rep(17)] =
        command("common_initialize_echo_command", 65535, { 1, 2, 300 }),
      ["00000100000000240124100278563412" .. "0102030405060708090a0b0c0d0e0f10"] =
        command("eeprom_partition_table_0013_initialize_write_command", 1, 16, 2, 0x12345678,
          { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22 }),
      ["00000100000000000301" .. "0500" .. "0900" .. "ff" .. zero:rep(17)] =
        command("common_initialize_spontaneous_error_event", 1, 5, 9, { 255 }),
      ["0000010000000027012780ff0080ffff00000080ffffffff" .. zero:rep(8)] =
        command("unittest_ffff_initialize_add_one_to_types_command", 1, -128, 255, -32768, 65535, -2147483648,
          4294967295),
    } do
      assert.are.equal(expected, made)
    end
    local c, r = rovk.rovk_message(), rovk.rovk_message()
    rovk.rovk_led_0001_initialize_get_state_command(c, 0x0102, 9)
    c.route.application_address, c.route.uuid = 0x8001, 0x20000007
    rovk.rovk_led_0001_initialize_get_state_response(r, c, 1, 2, 0xFFFF)
    assert.are.equal("0180020107000020020001000200ffff" .. zero:rep(16), helper.hex(bytes(r)))
    rovk.rovk_calibration_0015_initialize_efl_out_of_range_error(r, c, 0x0304, 1, 2, 3)
    assert.are.equal("01800201070000200201" .. "0403" .. "2200" .. "010002000300" .. zero:rep(12), helper.hex(bytes(r)))
  end)

  it("are stamped by the header functions", function()
    local c, r = rovk.rovk_message(), rovk.rovk_message()
    local zero = "00"
    c.cre.dummy, r.cre.dummy = ("x"):rep(22), ("x"):rep(22)
    rovk.rovk_initialize_message_struct(c, 0x1234, 1, 0x21)
    assert.are.equal("0000341200000021" .. "0121" .. zero:rep(22), helper.hex(bytes(c)))
    c.route.application_address, c.route.uuid = 0x5678, 0x21000009
    rovk.rovk_initialize_message_response_struct(r, c, 2, 0x21)
    assert.are.equal("7856341209000021" .. "0200" .. zero:rep(22), helper.hex(bytes(r)))
    rovk.rovk_initialize_message_error_response_struct(r, c, 0x4321, 9)
    assert.are.equal("7856341209000021" .. "0201" .. "21430900" .. zero:rep(18), helper.hex(bytes(r)))
  end)

  it("of the wrong kind give a status and zeros", function()
    local c, r, e = rovk.rovk_message(), rovk.rovk_message(), rovk.rovk_message()
    local record = rovk.rovk_error_common_error()
    rovk.rovk_led_0001_initialize_get_state_command(c, 1, 2)
    rovk.rovk_led_0001_initialize_get_state_response(r, c, 1, 2, 3)
    rovk.rovk_common_initialize_fault_exists_error(e, c, 5, 0xABCD)
    local retrieve = rovk.rovk_led_0001_retrieve_get_state_response
    for _, case in ipairs {
      { r, 0, 1, 2, 3 }, { c, EPROTO, 0, 0, 0 }, { rovk.rovk_message(), EPROTO, 0, 0, 0 }, { e, 2, 0, 0, 0 },
      { nil, EINVAL, 0, 0, 0 },
    } do
      assert.are.same({ n = 4, unpack(case, 2, 5) }, helper.pack(retrieve(case[1])))
    end
    assert.are.same({ n = 1, EBADMSG }, helper.pack(rovk.rovk_led_0001_retrieve_set_state_response(r)))
    rovk.rovk_common_initialize_no_error_error(e, c, 5)
    assert.are.same({ n = 4, ENODATA, 0, 0, 0 }, helper.pack(retrieve(e)))
    assert.are.same({ n = 1, EPROTO }, helper.pack(rovk.rovk_common_retrieve_error(r, record)))
    assert.are.equal(("\0"):rep(22), probe.bytes(record, 22))
    assert.are.same({ n = 1, EINVAL }, helper.pack(rovk.rovk_common_retrieve_error(e, nil)))
    assert.are.same({ n = 2, 0, 0 }, helper.pack(rovk.rovk_button_0002_retrieve_state_change_event(nil)))
    assert.are.same({ n = 4, 0, 0, 0, 0 }, helper.pack(rovk.rovk_led_0001_retrieve_set_state_command(r)))
    local none = helper.pack(rovk.rovk_common_retrieve_get_peripheral_info_response(c))
    local v = { major = 0, minor = 0 }
    assert.are.same({ n = 9, EPROTO, 0, v, v, v, 0, 0, 0, 0 }, none)
    assert.are.equal(22, #select(2, rovk.rovk_common_retrieve_echo_response(nil)))
    assert.are.equal(0, helper.pack(rovk.rovk_led_0001_initialize_get_state_response(nil, nil, 1, 2, 3)).n)
    assert.are.equal(0, helper.pack(rovk.rovk_initialize_message_struct(nil, 1, 2, 3)).n)
  end)

  it("carry byte tables of up to 22 entries", function()
    local m = rovk.rovk_message()
    local echo, read = rovk.rovk_common_initialize_echo_command, rovk.rovk_common_retrieve_echo_command
    local full, long = {}, {}
    for index = 1, 23 do
      full[index] = index <= 22 and index or nil
      long[index] = index
    end
    echo(m, 1, full)
    assert.are.same(full, read(m))
    assert.is_not_nil(helper.refused(echo, m, 1, long):find("22", 1, true))
    assert.are.same(full, read(m))
    echo(m, 1, setmetatable({}, { __index = function() return 7 end, __len = function() return 5 end }))
    assert.are.equal(("\0"):rep(22), bytes(m):sub(11))
    echo(m, 1, { n = 4, x = 5, [30] = 1 })
    assert.are.equal(("\0"):rep(22), bytes(m):sub(11))
  end)
end)
