-- Builders and readers of messages: the bytes they make and what comes back from them.

local folder = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path
local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

local EINVAL, ENODATA, EPROTO, EBADMSG = -22, -61, -71, -74

local function little(value, width)
  local text = ""
  value = value % 2 ^ (8 * width)
  for _ = 1, width do
    text = text .. string.char(value % 256)
    value = math.floor(value / 256)
  end
  return text
end

local function hex(text)
  return (text:gsub(".", function(char) return ("%02x"):format(char:byte()) end))
end

local function bytes(message)
  return probe.bytes(message, 32)
end

local function version(major, minor)
  local v = rovk.rovk_version()
  v.major, v.minor = major, minor
  return v
end

-- Lua values for the fields of a record, the payload they make, and what a reader gives for them.
local function sample_record(record)
  local inputs, outputs, payload = {}, {}, ("\0"):rep(22)
  for position, field in ipairs(record and record.fields or {}) do
    local text
    if field.reserved then
      text = ("\0"):rep(field.size)
    elseif field.kind == "number" then
      local value = helper.to_width(2 ^ (8 * field.width) - 3 - 17 * position, field.width, field.signed)
      inputs[#inputs + 1], outputs[#outputs + 1] = value, value
      text = little(value, field.width)
    elseif field.kind == "array" then
      local list = {}
      text = ""
      for index = 1, field.count do
        list[index] = field.width == 2 and 65536 - index or 256 - index
        text = text .. little(list[index], field.width)
      end
      inputs[#inputs + 1], outputs[#outputs + 1] = list, list
    else
      inputs[#inputs + 1], outputs[#outputs + 1] = version(200 + position, position),
        { major = 200 + position, minor = position }
      text = string.char(200 + position, position)
    end
    payload = payload:sub(1, field.offset) .. text .. payload:sub(field.offset + field.size + 1)
  end
  return inputs, outputs, payload
end

local function header(application, address, uuid, kind, first)
  return little(application, 2) .. little(address, 2) .. little(uuid, 4) .. string.char(kind, first)
end

describe("messages", function()
  helper.watch(before_each, after_each)

  it("have the bytes of these examples", function()
    local function command(name, ...)
      local m = rovk.rovk_message()
      assert.are.equal(0, helper.pack(rovk["rovk_" .. name](m, ...)).n)
      return hex(bytes(m))
    end
    local zero = "00"
    for expected, made in pairs {
      ["0000020100000021012101004400aa0aba0b" .. zero:rep(14)] =
        command("led_0001_initialize_set_state_command", 0x0102, 1, 0x44, 0x0AAA, 0x0BBA),
      ["0000ffff00000004010401022c0000" .. zero:rep(17)] =
        command("common_initialize_echo_command", 65535, { 1, 2, 300 }),
      ["000007000000002401240541424300" .. zero:rep(17)] =
        command("bulk_dump_000c_initialize_get_frame_command", 7, 5, { 0x41, 0x42, 0x43 }),
      ["00000100000000240124100278563412" .. "0102030405060708090a0b0c0d0e0f10"] =
        command("eeprom_partition_table_0013_initialize_write_command", 1, 16, 2, 0x12345678,
          { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22 }),
      ["00000100000000000301" .. "0500" .. "0900" .. "ff" .. zero:rep(17)] =
        command("common_initialize_spontaneous_error_event", 1, 5, 9, { 255 }),
      ["000001000000000003200200" .. zero:rep(20)] =
        command("button_0002_initialize_state_change_event", 1, 2, 0),
      ["0000010000000027012780ff0080ffff00000080ffffffff" .. zero:rep(8)] =
        command("unittest_ffff_initialize_add_one_to_types_command", 1, -128, 255, -32768, 65535, -2147483648,
          4294967295),
      ["000001000000008101810100020003" .. zero:rep(17)] =
        command("calibration_0015_initialize_run_zoom_range_home_measurement_command", 1, 1, 2, 3),
    } do
      assert.are.equal(expected, made)
    end
    local c, r = rovk.rovk_message(), rovk.rovk_message()
    rovk.rovk_led_0001_initialize_get_state_command(c, 0x0102, 9)
    c.route.application_address, c.route.uuid = 0x8001, 0x20000007
    rovk.rovk_led_0001_initialize_get_state_response(r, c, 1, 2, 0xFFFF)
    assert.are.equal("0180020107000020020001000200ffff" .. zero:rep(16), hex(bytes(r)))
    rovk.rovk_calibration_0015_initialize_efl_out_of_range_error(r, c, 0x0304, 1, 2, 3)
    assert.are.equal("01800201070000200201" .. "0403" .. "2200" .. "010002000300" .. zero:rep(12), hex(bytes(r)))
    rovk.rovk_common_initialize_no_error_error(r, c, 0xFFFE)
    assert.are.equal("01800201070000200201" .. "feff" .. zero:rep(20), hex(bytes(r)))
  end)

  it("are stamped by the header functions", function()
    local c, r = rovk.rovk_message(), rovk.rovk_message()
    c.cre.dummy = ("x"):rep(22)
    rovk.rovk_initialize_message_struct(c, 0x1234, 1, 0x21)
    assert.are.equal(hex(header(0, 0x1234, 0x21000000, 1, 0x21) .. ("\0"):rep(22)), hex(bytes(c)))
    c.route.application_address, c.route.uuid = 0x5678, 0x21000009
    r.cre.dummy = ("x"):rep(22)
    rovk.rovk_initialize_message_response_struct(r, c, 2, 0x21)
    assert.are.equal(hex(header(0x5678, 0x1234, 0x21000009, 2, 0) .. ("\0"):rep(22)), hex(bytes(r)))
    rovk.rovk_initialize_message_error_response_struct(r, c, 0x4321, 9)
    assert.are.equal(hex(header(0x5678, 0x1234, 0x21000009, 2, 1) .. "\33\67\9\0" .. ("\0"):rep(18)), hex(bytes(r)))
    assert.are.same({ 0x4321, 9 }, { r.cre.r.pei.ei.peripheral_address, r.cre.r.pei.ei.id })
  end)

  it("of every command, event and error carry the fields there and back", function()
    local totals = { command = 0, response = 0, event = 0, error = 0 }
    for _, service in ipairs(helper.model().services) do
      local base = "rovk_" .. service.name
      for _, command in ipairs(service.commands) do
        local m, r = rovk.rovk_message(), rovk.rovk_message()
        local where = base .. "_" .. command.name
        local uuid = command.number * 2 ^ 24
        m.cre.dummy = ("x"):rep(22)
        local inputs, outputs, payload = sample_record(command.command)
        rovk[base .. "_initialize_" .. command.name .. "_command"](m, 0xA1B2, unpack(inputs))
        assert.are.equal(hex(header(0, 0xA1B2, uuid, 1, command.number) .. payload), hex(bytes(m)), where)
        local read = rovk[base .. "_retrieve_" .. command.name .. "_command"]
        if command.command then
          assert.are.same(outputs, { read(m) }, where)
          totals.command = totals.command + 1
        else
          assert.is_nil(read)
        end
        m.route.application_address = 0xC3D4
        inputs, outputs, payload = sample_record(command.response)
        rovk[base .. "_initialize_" .. command.name .. "_response"](r, m, unpack(inputs))
        assert.are.equal(hex(header(0xC3D4, 0xA1B2, uuid, 2, 0) .. payload), hex(bytes(r)), where)
        table.insert(outputs, 1, 0)
        outputs.n = #outputs
        assert.are.same(outputs, helper.pack(rovk[base .. "_retrieve_" .. command.name .. "_response"](r)), where)
        totals.response = totals.response + 1
      end
      for _, event in ipairs(service.events) do
        local m = rovk.rovk_message()
        local inputs, outputs, payload = sample_record(event.event)
        rovk[base .. "_initialize_" .. event.name .. "_event"](m, 0xA1B2, unpack(inputs))
        assert.are.equal(hex(payload), hex(bytes(m):sub(11)), event.name)
        assert.are.same({ 0xA1B2, 3, event.number }, { m.route.peripheral_address, m.route.type, m.cre.e.id })
        outputs.n = #outputs
        assert.are.same(outputs, helper.pack(rovk[base .. "_retrieve_" .. event.name .. "_event"](m)), event.name)
        totals.event = totals.event + 1
      end
      for _, item in ipairs(service.errors) do
        local c, r, record = rovk.rovk_message(), rovk.rovk_message(), rovk["rovk_error_" .. service.name .. "_error"]()
        rovk.rovk_initialize_message_struct(c, 0xA1B2, 1, 77)
        local inputs, _, payload = sample_record(item.detail)
        rovk[base .. "_initialize_" .. item.name .. "_error"](r, c, 0x0102, unpack(inputs))
        local info = "\2\1" .. little(item.number, 2) .. payload:sub(1, 18)
        assert.are.equal(hex(header(0, 0xA1B2, 77 * 2 ^ 24, 2, 1) .. info), hex(bytes(r)), item.name)
        assert.are.same({ n = 1, 0 }, helper.pack(rovk[base .. "_retrieve_error"](r, record)), item.name)
        assert.are.equal(info, probe.bytes(record, 22), item.name)
        totals.error = totals.error + 1
      end
    end
    assert.are.same({ command = 258, response = 272, event = 21, error = 35 }, totals)
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
    assert.are.same({ n = 1, 0 }, helper.pack(rovk.rovk_common_retrieve_reset_occurred_event(r)))
    assert.are.same({ n = 2, 0, 0 }, helper.pack(rovk.rovk_button_0002_retrieve_state_change_event(nil)))
    assert.are.same({ n = 4, 0, 0, 0, 0 }, helper.pack(rovk.rovk_led_0001_retrieve_set_state_command(r)))
    local none = helper.pack(rovk.rovk_common_retrieve_get_peripheral_info_response(c))
    local v = { major = 0, minor = 0 }
    assert.are.same({ n = 9, EPROTO, 0, v, v, v, 0, 0, 0, 0 }, none)
    assert.are.equal(22, #select(2, rovk.rovk_common_retrieve_echo_response(nil)))
    for _, name in ipairs { "rovk_led_0001_initialize_get_state_command" } do
      assert.are.equal(0, helper.pack(rovk[name](nil, 1, 2)).n)
    end
    assert.are.equal(0, helper.pack(rovk.rovk_led_0001_initialize_get_state_response(nil, nil, 1, 2, 3)).n)
    assert.are.equal(0, helper.pack(rovk.rovk_initialize_message_struct(nil, 1, 2, 3)).n)
  end)

  it("carry byte tables of up to 22 entries", function()
    local m = rovk.rovk_message()
    local echo = rovk.rovk_common_initialize_echo_command
    local read = rovk.rovk_common_retrieve_echo_command
    local full, long = {}, {}
    for index = 1, 23 do
      full[index] = index <= 22 and index or nil
      long[index] = index
    end
    echo(m, 1, full)
    assert.are.same(full, read(m))
    local message = helper.refused(echo, m, 1, long)
    assert.is_not_nil(message:find("22", 1, true), message)
    assert.are.same(full, read(m))
    echo(m, 1, setmetatable({}, { __index = function() return 7 end, __len = function() return 5 end }))
    assert.are.equal(("\0"):rep(22), bytes(m):sub(11))
    echo(m, 1, { n = 4, x = 5, [30] = 1 })
    assert.are.equal(("\0"):rep(22), bytes(m):sub(11))
  end)

  it("carry up to ten aliases, from a number or a table", function()
    local c, r = rovk.rovk_message(), rovk.rovk_message()
    rovk.rovk_common_initialize_get_aliases_command(c, 1)
    local build, read = rovk.rovk_common_initialize_get_aliases_response, rovk.rovk_common_retrieve_get_aliases_response
    local ten = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 65535 }
    for _, case in ipairs {
      { 1, 0x1234, { 0x1234, 0, 0, 0, 0, 0, 0, 0, 0, 0 } }, { 10, ten, ten },
      { 0, {}, { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 } },
      { 3, { "7", 65536, -4 }, { 7, 0, 0, 0, 0, 0, 0, 0, 0, 0 } }, { 65535, 9, { 9, 0, 0, 0, 0, 0, 0, 0, 0, 0 } },
    } do
      assert.are.equal(0, helper.pack(build(r, c, case[1], case[2])).n)
      assert.are.same({ n = 3, 0, case[1], case[3] }, helper.pack(read(r)))
    end
    helper.refused(build, r, c, 1, { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 })
    helper.refused(build, r, c, 1, nil)
    helper.refused(build, r, c, 1, "x")
  end)

  it("stand a collection at each allocation", function()
    helper.collecting(function()
      local c, r = rovk.rovk_message(), rovk.rovk_message()
      rovk.rovk_common_initialize_get_peripheral_info_command(c, 1)
      rovk.rovk_common_initialize_get_peripheral_info_response(r, c, 1, version(1, 2), version(3, 4), version(5, 6), 1,
        2, 3, 4)
      local results = { rovk.rovk_common_retrieve_get_peripheral_info_response(r) }
      assert.are.same({ 0, 1, { major = 1, minor = 2 }, { major = 3, minor = 4 }, { major = 5, minor = 6 }, 1, 2, 3,
        4 }, results)
      rovk.rovk_common_initialize_echo_response(r, r, { 1, 2, 3 })
    end)
  end)
end)
