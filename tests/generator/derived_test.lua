-- What follows from the whole catalogue: the totals, and names and texts that were written down by
-- hand. Whoever adds a command changes the totals here and in the module.

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = here .. "/?.lua;" .. package.path
local sample = require("sample")
local derive = require("derive")
local lfs = require("lfs")
local reader = require("reader")

describe("the catalogue", function()
  local model

  setup(function()
    local paths = {}
    for name in lfs.dir(sample.root .. "/lualib/catalogue") do
      if name:match("%.lua$") then
        paths[#paths + 1] = sample.root .. "/lualib/catalogue/" .. name
      end
    end
    model = derive.derive(reader.read(sample.root .. "/lualib/protocol.lua", paths))
  end)

  it("has the totals of the protocol", function()
    local attributes, writable, full, reserved = 0, 0, 0, 0
    for _, class in ipairs(model.classes) do
      local payload = class.name:match("_payload_") ~= nil
      full = full + (payload and class.record.size == 22 and 1 or 0)
      for _, field in ipairs(class.record.fields) do
        attributes = attributes + 1
        writable = writable + (field.readonly and 0 or 1)
        reserved = reserved + (field.reserved and 1 or 0)
      end
    end
    local commands, events, errors = 0, 0, 0
    for _, service in ipairs(model.services) do
      commands, events, errors = commands + #service.commands, events + #service.events, errors + #service.errors
    end
    assert.are.same({
      services = 51, commands = 272, events = 21, errors = 35, functions = 2480, classes = 549, attributes = 1246,
      writable = 1190, constants = 663, variables = 52, types = 769, signatures = 159, full = 18, reserved = 92,
    }, {
      services = #model.services, commands = commands, events = events, errors = errors, functions = #model.functions,
      classes = #model.classes, attributes = attributes, writable = writable, constants = #model.all_constants,
      variables = #model.variables, types = #model.types, signatures = model.signature_count, full = full,
      reserved = reserved,
    })
  end)

  it("names its pointer types", function()
    local texts = {
      _p_rovk_version = "struct rovk_version *|rovk_version *",
      _p_rovk_message_cre_r_pei = "rovk_message_cre_r_pei *",
      _p_rovk_error_led_0001_error_data = "rovk_error_led_0001_error_data *",
      _p_rovk_command_payload_led_0001_set_state = "struct rovk_command_payload_led_0001_set_state *"
        .. "|rovk_command_payload_led_0001_set_state *",
      _p_p_rovk_error_common_error = "struct rovk_error_common_error **",
      _p_int = "int *|int32_t *",
      _p_f_p_void_unsigned_short_p_struct_rovk_error_common_error_p_void__void = {
        "rovktrans_common_nop_callback", "rovktrans_common_last_callback",
        "void (*)(void *,unsigned short,struct rovk_error_common_error *,void *)" },
      _p_f_p_void_unsigned_short_unsigned_char_unsigned_char_p_void__void = {
        "rovktrans_button_0002_state_change_callback", "rovktrans_switch_0027_state_change_callback",
        "void (*)(void *,unsigned short,unsigned char,unsigned char,void *)" },
    }
    for name, wanted in pairs(texts) do
      local entry = model.types_by_name[name]
      assert.is_not_nil(entry, name)
      for _, text in ipairs(type(wanted) == "table" and wanted or {}) do
        assert.is_truthy(("|" .. entry.pretty .. "|"):find("|" .. text .. "|", 1, true), text)
      end
      if type(wanted) == "string" then
        assert.are.equal(wanted, entry.pretty)
      end
    end
    -- Two services have no commands, and so no blocking call that gives an error record back.
    assert.is_nil(model.types_by_name._p_p_rovk_error_eeprom_0003_error)
    assert.is_nil(model.types_by_name._p_p_rovk_error_angular_actuator_000e_error)
    for index = 2, #model.types do
      assert.is_true(model.types[index - 1].name < model.types[index].name)
    end
  end)

  it("has numbers that stand where they were written down", function()
    local values = {}
    for _, constant in ipairs(model.all_constants) do
      values[constant.name] = constant.value
    end
    for name, value in pairs {
      ROVK_COMMON_COMMAND_LAST = 31, ROVK_COMMON_ERROR_SELF_TEST_FAILED = 12, ROVK_UNITTEST_FFFF_PERIPHERAL_ID = 65535,
      ROVK_CALIBRATION_0015_COMMAND_RUN_FOCUS_RANGE_HOME_MEASUREMENT = 128,
      ROVK_CALIBRATION_0015_ERROR_Z_CAL_OUT_OF_RANGE = 35, ROVK_EEPROM_0003_API_VERSION_MINOR = 18,
      ROVK_EPT_PARTITION_TYPE_ICBK = 72, ROVK_BULK_DUMP_GET_FRAME_FILENAME_SIZE = 21,
      ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY = 4, ROVK_ALARM_0017_STATE_OPEN = 0, ROVK_RELAY_0019_STATE_OPEN = 1,
      ROVK_PERIPHERAL_DEVICE_ID_LED_ETHERNET_ENABLE = 28, EXP_LL_AVG_TARGET = 897, LOOP_ENABLE_BAYER = 61448,
      ROVK_DAY_NIGHT_0011_COMMAND_SET_STATE = 32, ROVK_DAY_NIGHT_0011_COMMAND_GET_STATE = 33,
      ROVK_BUTTON_0002_EVENT_STATE_CHANGE = 32, ROVK_PROTOCOL_VERSION_MINOR = 19,
    } do
      assert.are.equal(value, values[name], name)
    end
    assert.is_nil(values.ROVK_COMMON_PERIPHERAL_ID)
  end)
end)
