-- Records: every class has its bytes where the protocol puts them. The layouts that are easiest to get
-- wrong stand here by hand, all others are walked by the catalogue.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

-- field:kind@offset ... =size; u and i with the width in bits, b with the count of bytes.
local BY_HAND = {
  response_payload_common_get_peripheral_info = "id:u16@0 api:b2@2 implementation:b2@4 protocol:b2@6 "
    .. "capabilities_mask:u16@8 queue_depth:u8@10 device_count:u8@11 location:u8@12 =13",
  response_payload_common_get_aliases = "count:u16@0 alias:b20@2 =22",
  event_payload_common_spontaneous_error = "peripheral_address:u16@0 id:u16@2 payload:b18@4 =22",
  error_unittest_ffff_error_data = "payload:b18@0 unit_test_with_value:b1@0 =18",
  command_payload_router_0000_enable_transport = "enabled:u16@0 transport:u32@2 =6",
  response_payload_relay_0005_get_configuration = "enable:u8@0 normally_closed:u8@1 delay_ds:u32@2 monostable:u8@6 "
    .. "repeat_cycles:u8@7 on_time_ds:u16@8 off_time_ds:u16@10 =12",
  command_payload_relay_0005_set_configuration = "index:u8@0 enable:u8@1 delay_ds:u32@2 normally_closed:u8@6 "
    .. "monostable:u8@7 on_time_ds:u16@8 off_time_ds:u16@10 repeat_cycles:u8@12 =13",
  command_payload_eeprom_partition_table_0013_write = "size:u8@0 partition_index:u8@1 offset:u32@2 data:b16@6 =22",
  response_payload_imgctrl_0006_get_param = "echo_param:u16@0 current_val:i32@2 default_val:i32@6 min_val:i32@10 "
    .. "max_val:i32@14 q_bits:u8@18 =19",
  command_payload_triangle_overlay_002b_set_triangle_positioning_coordinates = "reserved:u8@0 index:u8@1 "
    .. "triangle_index:u16@2 reserved2:u16@4 pan_millidegrees:u32@6 tilt_millidegrees:u32@10 zoom_deciX:u16@14 =16",
  command_payload_positioning_002a_set_position = "index:u8@0 reserved:u8@1 pan_millidegrees:u32@2 "
    .. "tilt_millidegrees:i32@6 pan_millidegrees_per_second:u32@10 tilt_millidegrees_per_second:u32@14 "
    .. "zoom_deciX:u16@18 zoom_deciX_per_second:u16@20 =22",
  response_payload_heater_000a_get_pwm = "reserved:u16@0 frequency_hz:u32@2 min_frequency_hz:u32@6 "
    .. "max_frequency_hz:u32@10 duty_cycle_percent:u16@14 min_duty_cycle_percent:u16@16 "
    .. "max_duty_cycle_percent:u16@18 =20",
  command_payload_bulk_dump_000c_get_frame = "bayer:u8@0 filename:b21@1 =22",
  command_payload_unittest_ffff_add_one_to_types = "i1:i8@0 i2:u8@1 i3:i16@2 i4:u16@4 i5:i32@6 i6:u32@10 =14",
  message = "route:b9@0 cre:b23@9 =32",
  message_routing = "application_address:u16@0 peripheral_address:u16@2 uuid:u32@4 type:u8@8 =9",
  message_cre_r = "error:u8@0 pei:b22@1 =23",
  error_info = "peripheral_address:u16@0 id:u16@2 payload:b18@4 =22",
}

local function address(object)
  return (select(3, probe.object(object)))
end

-- A number whose bytes differ from each other and from those of other fields.
local function sample(position, width, signed)
  local value = 0
  for byte = width, 1, -1 do
    value = value * 256 + (200 + position * 37 + byte * 11) % 256
  end
  return helper.to_width(value, width, signed)
end

describe("records", function()
  helper.watch(before_each, after_each)

  it("lie as the protocol has them", function()
    local found = {}
    for _, class in ipairs(helper.model().classes) do
      local name, parts = class.name:gsub("^rovk_", ""), {}
      for position, field in ipairs(class.record.fields) do
        local number = field.kind == "number"
        parts[position] = ("%s:%s%d@%d"):format(field.name, number and (field.signed and "i" or "u") or "b",
          number and field.width * 8 or field.size, field.offset)
      end
      found[name] = BY_HAND[name] and ("%s =%d"):format(table.concat(parts, " "), class.record.size)
    end
    assert.are.same(BY_HAND, found)
  end)

  it("of all classes hold each field at its place and nowhere else", function()
    local classes, attributes, writable, full = 0, 0, 0, 0
    for _, class in ipairs(helper.model().classes) do
      local object, record = rovk[class.name](), class.record
      local size = record.size
      classes = classes + 1
      full = full + (size == 22 and class.name:match("_payload_") and 1 or 0)
      assert.is_true(size <= 32)
      assert.are.same({ class.type, true }, { (probe.object(object)), (select(2, probe.object(object))) })
      assert.are.equal(("\0"):rep(size), probe.bytes(object, size), class.name)
      local bytes = ("\0"):rep(size)
      local base = address(object)
      for position, field in ipairs(record.fields) do
        attributes = attributes + 1
        writable = writable + (field.readonly and 0 or 1)
        local where = class.name .. "." .. field.name
        local offset = field.offset
        if field.kind == "number" then
          assert.are.equal(0, object[field.name], where)
          local value = sample(position, field.width, field.signed)
          object[field.name] = value
          assert.are.equal(value, object[field.name], where)
          bytes = bytes:sub(1, offset) .. helper.little(value, field.width) .. bytes:sub(offset + field.width + 1)
        elseif field.kind ~= "text" then
          local part = object[field.name]
          local _, own, place = probe.object(part)
          assert.are.same({ false, base + offset }, { own, place }, where)
          assert.is_true(swig_equals(part, object[field.name]), where)
          if not field.readonly then
            object[field.name] = rovk[class.name]()[field.name] -- zeros from another record
            bytes = bytes:sub(1, offset) .. ("\0"):rep(field.size) .. bytes:sub(offset + field.size + 1)
          end
        end
        assert.are.equal(bytes, probe.bytes(object, size), where)
      end
    end
    assert.are.same({ 549, 1246, 1190, 18 }, { classes, attributes, writable, full })
  end)

  it("show one overlay in several ways", function()
    local e = rovk.rovk_error_common_error()
    e.data.fault_exists.fault_id = 0x1234
    assert.are.equal("\52\18", probe.bytes(e, 6):sub(5))
    assert.is_true(swig_equals(e.data.payload, e.data.fault_exists))
    e.data.invalid_payload.payload_index = 0xABCD
    for member, field in pairs { fault_exists = "fault_id", reservation_exists = "application_address",
      communication_failure = "type", invalid_payload = "payload_index" } do
      assert.are.equal(0xABCD, e.data[member][field])
    end
    assert.are.same({ 0xCD, 0xCD }, { e.data.invalid_sequence.opcode, e.data.debounce_filter_glitch.index })
    local m = rovk.rovk_message()
    m.cre.r.pei.ei.payload = e.data.payload
    assert.are.equal("\205\171", probe.bytes(m, 16):sub(15))
    local calibration = rovk.rovk_error_calibration_0015_error()
    assert.is_nil(calibration.data.fault_exists)
    local detail = rovk.rovk_error_payload_calibration_0015_efl_out_of_range()
    detail.efl_cal_value, detail.min, detail.max = 1, 2, 3
    calibration.data.efl_out_of_range = detail
    assert.are.same({ 1, 2, 3 }, { calibration.data.z_cal_out_of_range.z_cal_value,
      calibration.data.z_cal_out_of_range.min, calibration.data.z_cal_out_of_range.max })
  end)
end)
