-- Records: every class has its bytes where the catalogue puts them.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

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
      local bytes, spelled = ("\0"):rep(size), class.native and probe.native or helper.little
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
          bytes = bytes:sub(1, offset) .. spelled(value, field.width) .. bytes:sub(offset + field.width + 1)
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
