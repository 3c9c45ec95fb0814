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

  -- Field names with their offsets, where siblings differ: who takes one record for the other puts good
  -- values into the wrong fields, and no size tells. A minus sign marks a signed field.
  it("keeps the order of fields that are easily mistaken", function()
    local orders = {
      rovk_command_payload_led_0001_set_state = "index:0 reserved:1 on:2 duty_cycle_on_ms:4 duty_cycle_off_ms:6",
      rovk_response_payload_relay_0005_get_configuration = "enable:0 normally_closed:1 delay_ds:2 monostable:6"
        .. " repeat_cycles:7 on_time_ds:8 off_time_ds:10",
      rovk_command_payload_relay_0005_set_configuration = "index:0 enable:1 delay_ds:2 normally_closed:6 monostable:7"
        .. " on_time_ds:8 off_time_ds:10 repeat_cycles:12",
      rovk_command_payload_relay_0019_trigger = "index:0 initial_state_open:1 open_time_ms:2 close_time_ms:6"
        .. " num_cycles:10 final_state_open:11",
      rovk_response_payload_alarm_0004_get_configuration = "enable:0 normally_closed:1 supervised:2",
      rovk_response_payload_alarm_0017_get_configuration = "idle_state_open:0 enable:1 supervised:2 reserved:3"
        .. " debounce_time_ms:4 min_debounce_time_ms:6 max_debounce_time_ms:8",
      rovk_command_payload_alarm_0004_set_dwell_ds = "dwell_ds:0 index:2",
      rovk_command_payload_eeprom_raw_0012_read = "size:0 index:1 read_address:2",
      rovk_command_payload_eeprom_partition_table_0013_write = "size:0 partition_index:1 offset:2 data:6",
      rovk_command_payload_eeprom_partition_table_0013_write_tag = "tag_id:0 partition_index:2 size:3 offset:4 data:6",
      rovk_response_payload_eeprom_partition_table_0013_get_tag_info_num = "size:0 offset:2 checksum:6 tag_id:10",
      rovk_command_payload_imgctrl_0006_get_param = "param:0 index:2",
      rovk_command_payload_imgctrl_0006_set_param = "param:0 -value:2 index:6",
      rovk_response_payload_imgctrl_0006_get_sensor_dimensions = "height:0 width:2",
      rovk_command_payload_triangle_overlay_002b_set_triangle_positioning_coordinates = "reserved:0 index:1"
        .. " triangle_index:2 reserved2:4 pan_millidegrees:6 tilt_millidegrees:10 zoom_deciX:14",
      rovk_response_payload_triangle_overlay_002b_get_triangle_positioning_coordinates = "reserved:0"
        .. " pan_millidegrees:2 tilt_millidegrees:6 zoom_deciX:10",
      rovk_command_payload_iris_0010_set_position = "reserved:0 index:1 position:2",
      rovk_command_payload_linear_actuator_0028_set_position = "index:0 reserved:1 position:2 speed:6",
      rovk_response_payload_linear_actuator_0028_get_position = "reserved:0 position:2 speed:6 min:10 max:14 home:18",
      rovk_response_payload_lens_focus_001f_get_auto_focus_region = "start_x_percent:0 start_y_percent:1"
        .. " stop_x_percent:2 stop_y_percent:3 min_start_x_percent:4 max_start_x_percent:5 min_start_y_percent:6"
        .. " max_start_y_percent:7 min_stop_x_percent:8 max_stop_x_percent:9 min_stop_y_percent:10"
        .. " max_stop_y_percent:11",
      rovk_command_payload_positioning_002a_set_position = "index:0 reserved:1 pan_millidegrees:2 -tilt_millidegrees:6"
        .. " pan_millidegrees_per_second:10 tilt_millidegrees_per_second:14 zoom_deciX:18 zoom_deciX_per_second:20",
      rovk_response_payload_positioning_002a_get_position = "reserved:0 pan_millidegrees:2 -tilt_millidegrees:6"
        .. " zoom_deciX:10",
      rovk_command_payload_positioning_002a_set_velocity = "index:0 reserved:1 -pan_millidegrees_per_second:2"
        .. " -tilt_millidegrees_per_second:6 -zoom_deciX_per_second:10",
      rovk_response_payload_positioning_002a_get_velocity = "reserved:0 -pan_millidegrees_per_second:2"
        .. " -tilt_millidegrees_per_second:6 -zoom_deciX_per_second:10",
      rovk_response_payload_positioning_002a_get_implementation_tilt_limits = "reserved:0"
        .. " -min_position_millidegrees:2 -max_position_millidegrees:6 min_position_separation_millidegrees:10"
        .. " min_velocity_millidegrees_per_second:14 max_velocity_millidegrees_per_second:18",
      rovk_command_payload_positioning_002a_set_soft_pan_limits = "index:0 reserved:1 min_position_millidegrees:2"
        .. " max_position_millidegrees:6 min_velocity_millidegrees_per_second:10"
        .. " max_velocity_millidegrees_per_second:14",
      rovk_response_payload_temperature_sensor_0009_get_millidegree_celsius = "reserved:0 -millidegree_celsius:2",
      rovk_command_payload_white_balance_001b_set_manual_red_gain_and_offset = "index:0 reserved:1 -red:2 -green:4"
        .. " -blue:6 -offset:8",
      rovk_response_payload_unittest_ffff_add_one_to_types = "-o1:0 o2:1 -o3:2 o4:4 -o5:6 o6:10",
      rovk_event_payload_fan_000b_state_change = "reserved:0 state:1 rpm:2 stall:4",
      rovk_event_payload_speed_pwm_0026_state_change = "index:0 on:1 on_speed_rpm:2 off_stall_detected:6",
      rovk_response_payload_power_pwm_0025_get_control_loop_parameters = "reserved:0 duty_cycle_percent:1"
        .. " frequency_hz:2 min_frequency_hz:6 max_frequency_hz:10 min_duty_cycle_percent:14 max_duty_cycle_percent:15",
      rovk_command_payload_calibration_0015_run_focus_range_home_measurement = "steps_near:0 steps_far:2 index:4",
      rovk_response_payload_unittest_ffff_mixed_groups_in_both = "not_int_group:0 rone:1 rtwo:2 rthree:3 rfour:4"
        .. " rfive:5 rsix:6",
      rovk_error_payload_calibration_0015_efl_out_of_range = "efl_cal_value:0 min:2 max:4",
      rovk_error_common_error_data = "payload:0 fault_exists:0 reservation_exists:0 communication_failure:0"
        .. " invalid_payload:0 invalid_sequence:0 debounce_filter_glitch:0",
    }
    for _, class in ipairs(model.classes) do
      if orders[class.name] then
        local order = {}
        for position, field in ipairs(class.record.fields) do
          order[position] = ("%s%s:%d"):format(field.signed and "-" or "", field.name, field.offset)
        end
        assert.are.equal(orders[class.name], table.concat(order, " "), class.name)
        orders[class.name] = nil
      end
    end
    assert.are.same({}, orders)
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
