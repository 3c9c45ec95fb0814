-- The catalogue at run time, names and printing: what they say must be what the module does.

local helper = require("helper")
local rovk = require("rovk_message")
local catalogue = require("rovk_catalogue")
local dump = require("rovk.dump")
local names = require("rovk.names")

-- Values for fields that show where each came from, and the text that they are printed as.
local function samples(fields)
  local values, texts = {}, {}
  for place, field in ipairs(fields) do
    local value = place + 40
    if field.kind == "number" and field.signed then
      value = -value
    elseif field.kind == "bytes" then
      value = {}
      for i = 1, field.count do
        value[i] = 200 + i
      end
    elseif field.record then
      value = rovk.rovk_version()
      value.major, value.minor = place, 7
    end
    values[place] = value
    local text = type(value) == "table" and dump.hex(value) or field.record and place .. ".7" or tostring(value)
    texts[place] = field.name .. " " .. text
  end
  return values, texts
end

-- That a message that the module has filled is told with its fields in their places.
local function check_message(kind, item, message, values, texts, ...)
  local prefix = ("rovk_%s_initialize_%s_%s"):format(item.service.name, item.name, kind)
  for i = 1, select("#", ...) do
    table.insert(values, i, (select(i, ...)))
  end
  assert.is_nil(rovk[prefix](message, unpack(values)))
  local told = dump.dump(message, { service = item.service.name }):gsub("[,(]", " ") .. " "
  assert.is_truthy(told:find(item.service.name .. "." .. item.name, 1, true), told)
  for _, text in ipairs(texts) do
    assert.is_truthy(told:find(" " .. text .. " ", 1, true), told)
  end
end

local counts = { commands = 0, events = 0, errors = 0, fields = 0, records = 0 }

for _, service in ipairs(catalogue.services) do
  describe("the catalogue of " .. service.name, function()
    it("says what the module does, and describes all of it", function()
      for kind, number in pairs { commands = "opcode", events = "id", errors = "id" } do
        assert.is_nil(service[kind].nothing)
        for _, item in ipairs(service[kind]) do
          counts[kind] = counts[kind] + 1
          assert.are.equal(rovk[item.constant], item[number])
          assert.is_string(item.doc, item.name)
          local name_of = names[kind:sub(1, -2)]
          assert.are.equal(item.name, name_of(service.name, item[number]))
          assert.are.equal(item[number], name_of(service.id or "common", item.name))
        end
      end
      for class, record in pairs(service.records) do
        counts.records = counts.records + 1
        assert.are.equal(record, catalogue.records[class])
        local object = rovk[class]()
        assert.is_truthy(swig_type(object):find(record.text, 1, true))
        assert.are.equal(record.size, #dump.bytes(object))
        for _, field in ipairs(record.fields) do
          counts.fields = counts.fields + 1
          assert.is_string(field.doc, class .. "." .. field.name)
          assert.is_not_nil(object[field.name])
        end
      end
      for _, constant in ipairs(service.constants) do
        assert.are.equal(rovk[constant.name], constant.value)
      end
    end)

    it("reads the messages that the module fills", function()
      local message, command = rovk.rovk_message(), rovk.rovk_message()
      for _, item in ipairs(service.commands) do
        local values, texts = samples(item.inputs)
        check_message("command", item, command, values, texts, 258)
        values, texts = samples(item.values)
        if item.name == "get_aliases" then
          values[2], texts[2] = 0x1234, "alias 4660 0 0"
        end
        check_message("response", item, message, values, texts, command)
      end
      for _, item in ipairs(service.events) do
        local values, texts = samples(item.values)
        check_message("event", item, message, values, texts, 258)
      end
    end)
  end)
end

describe("the whole catalogue", function()
  it("is that of the module", function()
    assert.are.same({ commands = 272, events = 21, errors = 35, records = 539, fields = counts.fields }, counts)
    for _, constant in ipairs(helper.model().all_constants) do
      assert.are.equal(rovk[constant.name], names.constant(constant.name))
    end
  end)

  it("gives a field its unit, its limits and its values", function()
    local records = catalogue.records
    local frame_rate = records.rovk_response_payload_exposure_001c_get_frame_rate.fields
    assert.are.same({ "mHz", "mHz", 0, 65535 }, { frame_rate[1].unit, frame_rate.max.unit, frame_rate[1].low,
      frame_rate[1].high })
    local size = catalogue.services.eeprom_raw_0012.commands.read.inputs.size
    assert.are.same({ "bytes", 22, 1, 0 }, { size.unit, size.max, size.width, size.offset })
    local alarm = catalogue.by_id[0x17]
    assert.are.same({ value = 2, name = "sabotage", constant = "ROVK_ALARM_0017_STATE_SABOTAGE",
      doc = alarm.constants[3].doc }, alarm.events.state_change.values.state.values[3])
    assert.are.same({ "get_state.state", "state_change.state" }, alarm.constants[3].fields)
    assert.is_nil(records.rovk_command_payload_led_0001_nothing)
    assert.is_nil(records.something)
  end)
end)

describe("names", function()
  local CASES = {
    { "service", { 1 }, "led_0001" }, { "service", { "led_0001" }, 1 },
    { "service", { "led_001" }, nil, "there is no service 'led_001', did you mean 'led_0001'?" },
    { "service", { 0x1e }, nil, "there is no service 30" },
    { "service", { "common" }, nil, "service 'common' has no id" },
    { "command", { "led_0001", "echo" }, 4 },
    { "command", { "led_0001", "set_sate" }, nil,
      "there is no command of led_0001 'set_sate', did you mean 'set_state'?" },
    { "error", { "eeprom_raw_0012", 32 }, "partition_overflow" }, { "error", { 0x20, 32 }, "not_calibrated" },
    { "error", { "led_0001", 32 }, nil, "there is no error of led_0001 32" },
    { "device", { "LED_FRONT_PANEL_RED" }, 2 }, { "device", { 2 }, "LED_FRONT_PANEL_RED" },
    { "device", { "ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED" }, 2 },
    { "device", { "FOCUS_OPTICL" }, nil, "there is no device 'FOCUS_OPTICL', did you mean 'FOCUS_OPTICAL'?" },
    { "location", { 2 }, "IMAGER_0_BOARD" },
    { "status", { -110 }, "ETIMEDOUT" }, { "status", { "ETIMEDOUT" }, -110 }, { "status", { 0 }, "SUCCESS" },
    { "status", { 8 }, "invalid_payload" }, { "status", { 34, "calibration_0015" }, "efl_out_of_range" },
    { "status", { -9999 }, nil, "there is no status -9999" },
    { "constant", { 1, "ROVK_RELAY_0019_STATE_" }, "ROVK_RELAY_0019_STATE_OPEN" },
    { "constant", { 9, "ROVK_RELAY_0019_STATE_" }, nil, "there is no constant ROVK_RELAY_0019_STATE_* 9" },
    { "constant", { "ROVK_XYZ" }, nil, "there is no constant 'ROVK_XYZ'" },
  }
  for _, case in ipairs(CASES) do
    it(("%s of %s"):format(case[1], table.concat(case[2], ", ")), function()
      local value, message = names[case[1]](unpack(case[2]))
      assert.are.equal(case[3], value)
      assert.are.equal(case[4], message)
    end)
  end
end)

describe("dump", function()
  local function record(class, values)
    local object = rovk[class]()
    for key, value in pairs(values) do
      object[key] = value
    end
    return object
  end

  local function refusal()
    local command, answer = rovk.rovk_message(), rovk.rovk_message()
    rovk.rovk_led_0001_initialize_set_state_command(command, 257, 1, 1, 200, 800)
    rovk.rovk_common_initialize_invalid_payload_error(answer, command, 257, 2)
    return answer
  end

  local CASES = {
    { function() return record("rovk_command_payload_relay_0005_set_configuration", { delay_ds = 25, enable = 1 }) end,
      "command relay_0005.set_configuration: index 0, enable 1 (on), delay_ds 25 (2.5 s), normally_closed 0 (no), "
        .. "monostable 0 (no), on_time_ds 0 (0 s), off_time_ds 0 (0 s), repeat_cycles 0" },
    { function()
      return record("rovk_response_payload_power_policy_0014_get_max_peripheral_power", { reserved = 3 })
    end, "response power_policy_0014.get_max_peripheral_power: reserved 3, max_power_milliwatts 0 mW" },
    { function() return record("rovk_response_payload_imgctrl_0006_get_param", { echo_param = 256 }) end,
      "response imgctrl_0006.get_param: echo_param 256 (general_mode), current_val 0, default_val 0, min_val 0, "
        .. "max_val 0, q_bits 0" },
    { function() return record("rovk_error_calibration_0015_error", { id = 34, error_peripheral_address = 9 }) end,
      "efl_out_of_range (34) at 9: efl_cal_value 0, min 0, max 0" },
    { refusal, "response to led_0001.set_state from 257: invalid_payload (8) at 257: payload_index 2", "led_0001" },
    { refusal, "response to 33 from 257: invalid_payload (8) at 257: payload_index 2" },
    { function() return refusal().route end,
      "rovk_message_routing: application_address 0, peripheral_address 257, uuid 553648128, type 2 (response)" },
    { function() return rovk.rovk_message() end, "message of unknown type 0: 32 zeros" },
    { function() return rovk.rovk_message().cre.c.payload end, "22 zeros" },
    { function() return rovk.rovk_protocol_version end, "0.19" },
    { function() return { error_id = 34, peripheral_address = 3, efl_cal_value = 7 } end,
      "efl_out_of_range (34) at 3: efl_cal_value 7", 0x15 },
    { function() return { error_id = 34, peripheral_address = 3 } end, "error 34 at 3" },
    { function() return { error_id = 0 } end, "no error" },
    { function() return setmetatable({ on = 1, duty_cycle_on_ms = 3 }, { rovk_fields =
      catalogue.services.led_0001.commands.get_state.values }) end, "on 1 (on), duty_cycle_on_ms 3 ms" },
    { function() return { 2, "x", key = { major = 1 } } end, '{ 2, "x", key { major 1 } }' },
    { function() return nil end, "nil" },
  }
  for _, case in ipairs(CASES) do
    it("tells " .. case[2], function()
      assert.are.equal(case[2], dump.dump(case[1](), { service = case[3] }))
    end)
  end

  it("knows a list that holds itself, and refuses what has no bytes", function()
    local list = {}
    list[1] = list
    assert.are.equal("{ ... }", dump.dump(list))
    assert.are.equal("0a 00 ff", dump.hex("\10\0\255"))
    assert.has_error(function() dump.bytes(5) end, "a record or an array was expected, got number")
    local elements = require("rovk_companion").elements
    for _, value in ipairs { 5, "text", {}, io.stdout, rovk.rovk_message(), rovk.rovk_protocol_version } do
      assert.is_false((pcall(elements, value)))
    end
    assert.is_false((pcall(elements)))
  end)
end)
