-- The numbers of the protocol. Those that belong to no service, and those of services that are easily
-- mixed up, stand here by hand; the rest follows from the catalogue by the rule of their names.

local folder = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path
local helper = require("helper")
local rovk = require("rovk_message")

-- A list of names that count up from a first value.
local function run(prefix, first, names)
  local list, value = {}, first
  for name in names:gmatch("%S+") do
    list[prefix .. name] = value
    value = value + 1
  end
  return list
end

local BY_HAND = {
  run("ROVK_PROTOCOL_VERSION_M", 0, "AJOR"), run("ROVK_PROTOCOL_VERSION_M", 19, "INOR"),
  { ROVK_MESSAGE_PAYLOAD_SIZE = 22, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE = 18, ROVK_MAX_ALIASES = 10,
    ROVK_ROUTER_PERIPHERAL_ADDRESS = 0, ROVK_UNITTEST_PERIPHERAL_ADDRESS = 65535, ROVK_GPI_CAPABILITIES_QUEUED = 1,
    ROVK_BULK_DUMP_GET_FRAME_FILENAME_SIZE = 21, ROVK_EPT_WRITE_SIZE = 16 },
  run("ROVK_LOG_PRIORITY_", 0, "EMERG ALERT CRIT ERR WARNING NOTICE INFO DEBUG"),
  run("ROVK_GPI_LOCATION_", 0, "MAIN_PROCESSOR_BOARD IMAGER_BOARD IMAGER_0_BOARD IMAGER_1_BOARD IMAGER_2_BOARD "
    .. "IMAGER_3_BOARD"),
  run("ROVK_ROUTER_TRANSPORT_", 0, "IPC SPI POSIX_MESSAGE_QUEUE"),
  run("ROVK_PERIPHERAL_DEVICE_ID_", 0, "NONE LED_FRONT_PANEL_GREEN LED_FRONT_PANEL_RED BUTTON_RESET ALARM_GPIO "
    .. "ALARM_USB RELAY_GPIO RELAY_USB TEMPERATURE_SENSOR_PROCESSOR TEMPERATURE_SENSOR_SENSOR TEMPERATURE_SENSOR_FPGA "
    .. "TEMPERATURE_SENSOR_IMAGER_BOARD LINEAR_ACTUATOR_FOCUS LINEAR_ACTUATOR_ZOOM IRIS_OPTICAL IRIS_THERMAL "
    .. "EEPROM_RAW_PROCESSOR_BOARD EEPROM_RAW_IMAGER_BOARD EEPROM_PARTITION_TABLE_PROCESSOR_BOARD "
    .. "EEPROM_PARTITION_TABLE_IMAGER_BOARD A_D_CONVERTER_ALARM A_D_CONVERTER_TEMPERATURE POSITIONING_OPTICAL "
    .. "POSITIONING_THERMAL FOCUS_OPTICAL FOCUS_THERMAL SENSOR_OPTICAL SENSOR_THERMAL LED_ETHERNET_ENABLE "
    .. "EEPROM_RAW_IMAGER_0_BOARD EEPROM_RAW_IMAGER_1_BOARD EEPROM_RAW_IMAGER_2_BOARD EEPROM_RAW_IMAGER_3_BOARD "
    .. "EEPROM_PARTITION_TABLE_IMAGER_0_BOARD EEPROM_PARTITION_TABLE_IMAGER_1_BOARD "
    .. "EEPROM_PARTITION_TABLE_IMAGER_2_BOARD EEPROM_PARTITION_TABLE_IMAGER_3_BOARD"),
  run("ROVK_COMMON_ERROR_", 0, "NO_ERROR BUSY FAULT_EXISTS ALREADY_QUEUED RESERVATION_EXISTS UNKNOWN_PERIPHERAL "
    .. "COMMUNICATION_FAILURE UNKNOWN_COMMAND INVALID_PAYLOAD INVALID_SEQUENCE NO_RESOURCES DEBOUNCE_FILTER_GLITCH "
    .. "SELF_TEST_FAILED"),
  run("ROVK_COMMON_COMMAND_", 0, "GET_PERIPHERAL_INFO RESET CLEAR_FAULT GET_FAULT ECHO GET_ALIASES SELF_TEST "
    .. "GET_PERIPHERAL_DEVICE_ID NOP"),
  run("ROVK_COMMON_COMMAND_", 31, "LAST"), run("ROVK_COMMON_EVENT_", 0, "RESET_OCCURRED SPONTANEOUS_ERROR"),
  run("ROVK_EPT_PARTITION_TYPE_", 1, "PFIX PFRU PSKU PQCD PERR P__U P__T"),
  run("ROVK_EPT_PARTITION_TYPE_", 65, "IFIX IFRU ICAL IQCD IERR I__U I__T ICBK"),
  run("", 256, "GENERAL_MODE GENERAL_FLIP_HORZ GENERAL_FLIP_VERT GENERAL_BRIGHTNESS GENERAL_CONTRAST GENERAL_SHARPNESS "
    .. "GENERAL_SATURATION GENERAL_HUE GENERAL_WDR GENERAL_ILLUMINANT"),
  run("WB_", 512, "AUTO_MODE AUTO_OFFSET_R AUTO_OFFSET_G AUTO_OFFSET_B MANUAL_GAIN_RR MANUAL_GAIN_RG MANUAL_GAIN_RB "
    .. "MANUAL_GAIN_GR MANUAL_GAIN_GG MANUAL_GAIN_GB MANUAL_GAIN_BR MANUAL_GAIN_BG MANUAL_GAIN_BB MANUAL_OFFSET_R "
    .. "MANUAL_OFFSET_G MANUAL_OFFSET_B"),
  run("EXP_", 768, "MODE TYPE IRIS_ALG REQ_FRAMERATE"),
  run("EXP_", 800, "MAX_EXPOSURE MIN_EXPOSURE MAX_GAIN MIN_GAIN AVG_TARGET MAX_TARGET EXTEND_GAIN SATURATION_ROLLOFF"),
  run("EXP_", 832, "PRIORITY_TYPE MOTION_COMP LOOP_SPEED LIGHT_CONTROL"), run("EXP_", 864, "FLICKER_CORRECTION"),
  run("EXP_LL_", 896, "MAX_EXPOSURE AVG_TARGET"),
  run("EXP_DN_", 1024, "MODE SENSITIVITY TRANSITION_TIME DAY_TO_NIGHT NIGHT_TO_DAY DETECT_TIME HOLD_TIME "
    .. "FILTER_SETTING DAY_FILTER NIGHT_FILTER"),
  run("BKLIGHT_COMP_", 1280, "MODE GAIN"), run("TONE_", 1536, "GAMMA BLACK_CLIP WHITE_CLIP YCC_ADJ"),
  run("FOCUS_", 1792, "TEMP_REFOCUS D_N_REFOCUS MODE_AUTO DAY_POSITION NIGHT_POSITION RGN_START_X RGN_START_Y "
    .. "RGN_STOP_X RGN_STOP_Y"),
  { ZOOM_POSITION = 2048, WINDOW_BLANKING = 2304 },
  run("LOOP_ENABLE_", 61440, "CTRL WB TONE NOISE_S NOISE_T WDR EXP DESAT BAYER"),
  run("ROVK_ALARM_0004_STATE_", 0, "INACTIVE ACTIVE ACTIVE_TAMPERED"),
  run("ROVK_ALARM_0017_STATE_", 0, "OPEN CLOSED SABOTAGE"), run("ROVK_RELAY_0005_STATE_", 0, "INACTIVE ACTIVE"),
  run("ROVK_RELAY_0019_STATE_", 0, "CLOSED OPEN"),
  run("ROVK_IMGCTRL_0006_MACBETH_SQUARE_", 0, "DARK_SKIN BLUISH_GREEN WHITE BLACK WHITE_ONLY"),
  run("ROVK_EXPOSURE_001C_CONVERGE_RATE_", 0, "SLOW MEDIUM FAST"),
  run("ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_", 0, "LIGHTER DEFAULT DARKER"),
  run("ROVK_LINEAR_ACTUATOR_000D_", 0, "FOCUS_ID ZOOM_ID"),
  -- opcodes that break a habit
  run("ROVK_CALIBRATION_0015_COMMAND_RUN_", 32, "COLOR_CALIBRATION EFFECTIVE_FOCAL_LENGTH_CALIBRATION Z_CALIBRATION"),
  run("ROVK_CALIBRATION_0015_COMMAND_RUN_", 128, "FOCUS_RANGE_HOME_MEASUREMENT ZOOM_RANGE_HOME_MEASUREMENT"),
  run("ROVK_ALARM_0004_COMMAND_", 32, "GET_CONFIGURATION SET_CONFIGURATION GET_DWELL_DS SET_DWELL_DS GET_DEBOUNCE_MS "
    .. "SET_DEBOUNCE_MS GET_COMPARATOR_VALUES GET_STATE"),
  run("ROVK_ALARM_0017_COMMAND_", 32, "GET_STATE GET_CONFIGURATION SET_CONFIGURATION"),
  run("ROVK_DAY_NIGHT_0011_COMMAND_", 32, "SET_STATE GET_STATE"), run("ROVK_IRIS_0010_COMMAND_", 32,
    "SET_POSITION GET_POSITION OPEN_POSITION CLOSED_POSITION"),
  run("ROVK_POWER_POLICY_0014_COMMAND_", 32, "SET_MAX_PERIPHERAL_POWER GET_MAX_PERIPHERAL_POWER"),
  run("ROVK_POWER_POLICY_002C_COMMAND_", 32, "GET_MAX_PERIPHERAL_POWER SET_MAX_PERIPHERAL_POWER"),
  run("ROVK_IMGCTRL_0006_EVENT_", 32, "DAY_NIGHT_MOVEMENT_CHANGE FOCUS_MOVEMENT_CHANGE"),
  -- all errors of services
  run("ROVK_EEPROM_RAW_0012_ERROR_", 32, "PARTITION_OVERFLOW"),
  run("ROVK_EEPROM_PARTITION_TABLE_0013_ERROR_", 32, "PARTITION_ACCESS PARTITION_OVERFLOW TAG_OVERFLOW TAG_NOT_FOUND "
    .. "TAG_CHECKSUM TAG_EXISTS INVALID_PARTITION_TABLE INVALID_PARTITION_HEADER INVALID_TAG_HEADER"),
  run("ROVK_AUTO_BACK_FOCUS_0020_ERROR_", 32, "NOT_CALIBRATED"),
  run("ROVK_CALIBRATION_0015_ERROR_", 32, "FAILED_FIND_HOME FAILED_MOTOR_MOVE EFL_OUT_OF_RANGE Z_CAL_OUT_OF_RANGE "
    .. "FAILED_SAVE_CAL_DATA"),
  run("ROVK_BULK_DUMP_000C_ERROR_", 32, "HTTP_SERVER_START DELETE_FILE GET_FRAME WRITE_FRAME"),
  run("ROVK_UNITTEST_FFFF_ERROR_", 32, "UNIT_TEST UNIT_TEST_WITH_VALUE"),
}

-- Services with the minor half of their API version, in the order of their ids.
local SERVICES = [[
router_0000 7 led_0001 6 button_0002 7 eeprom_0003 18 alarm_0004 7 relay_0005 6 imgctrl_0006 13 light_sensor_0007 3
ir_illuminator_0008 7 temperature_sensor_0009 5 heater_000a 7 fan_000b 12 bulk_dump_000c 3 linear_actuator_000d 6
angular_actuator_000e 1 power_monitor_000f 2 iris_0010 2 day_night_0011 1 eeprom_raw_0012 2
eeprom_partition_table_0013 3 power_policy_0014 3 calibration_0015 6 a_d_converter_0016 3 alarm_0017 4
alarm_diagnostic_0018 1 relay_0019 2 imaging_001a 4 white_balance_001b 8 exposure_001c 5 day_night_001d 6
lens_focus_001f 6 auto_back_focus_0020 2 zoom_0021 1 imaging_control_loops_0022 2 sensor_0023 1
imaging_pipe_statistics_0024 1 power_pwm_0025 3 speed_pwm_0026 3 switch_0027 1 linear_actuator_0028 3
a_d_converter_0029 1 positioning_002a 6 triangle_overlay_002b 7 power_policy_002c 2 power_monitor_002e 1
flicker_correction_002f 2 spatial_noise_filter_0030 1 temporal_noise_filter_0031 1 temperature_control_0032 1
unittest_ffff 9]]

describe("constants", function()
  helper.watch(before_each, after_each)

  it("have the protocol's values", function()
    local total = 0
    for _, list in ipairs(BY_HAND) do
      for name, value in pairs(list) do
        assert.are.equal(value, rawget(rovk, name), name)
        total = total + 1
      end
    end
    assert.are.equal(258, total)
  end)

  it("name every service's id and versions", function()
    local count = 0
    for service, minor in SERVICES:gmatch("(%S+)%s+(%d+)") do
      local prefix = "ROVK_" .. service:upper()
      assert.are.equal(tonumber(service:match("_(%x%x%x%x)$"), 16), rovk[prefix .. "_PERIPHERAL_ID"], service)
      assert.are.equal(0, rovk[prefix .. "_API_VERSION_MAJOR"])
      assert.are.equal(tonumber(minor), rovk[prefix .. "_API_VERSION_MINOR"], service)
      local version = rovk["rovk_" .. service .. "_api_version"]
      assert.are.same({ 0, tonumber(minor) }, { version.major, version.minor }, service)
      count = count + 1
    end
    assert.are.equal(50, count)
    assert.are.same({ 0, 19 }, { rovk.ROVK_COMMON_API_VERSION_MAJOR, rovk.ROVK_COMMON_API_VERSION_MINOR })
    assert.is_nil(rovk.ROVK_COMMON_PERIPHERAL_ID)
    for name in next, rovk do -- 0x001E and 0x002D are not assigned
      assert.is_nil(name:lower():match("_001e_") or name:lower():match("_002d_"))
    end
  end)

  it("count up within a service and stay within their ranges", function()
    local total = 0
    for name, value in next, rovk do
      if type(value) == "number" then
        total = total + 1
        assert.is_true(value >= 0 and value <= 65535 and value % 1 == 0, name)
      end
    end
    assert.are.equal(663, total)
    local numbers = 0
    for _, service in ipairs(helper.model().services) do
      for kind, list in pairs { COMMAND = service.commands, EVENT = service.events, ERROR = service.errors } do
        local next_number = service.name == "common" and 0 or 32
        for _, item in ipairs(list) do
          local name = ("ROVK_%s_%s_%s"):format(service.name:upper(), kind, item.name:upper())
          if name:match("CALIBRATION_0015_COMMAND_RUN_FOCUS") then
            next_number = 128
          elseif name == "ROVK_COMMON_COMMAND_LAST" then
            next_number = 31
          end
          assert.are.equal(next_number, rovk[name], name)
          next_number = next_number + 1
          numbers = numbers + 1
        end
      end
    end
    assert.are.equal(272 + 21 + 35, numbers)
  end)

  it("give versions through records that all readers share", function()
    local first, second = rovk.rovk_led_0001_api_version, rovk.rovk_led_0001_api_version
    assert.is_true(swig_equals(first, second))
    assert.is_false(swig_equals(first, rovk.rovk_common_api_version))
    first.major = 77
    assert.are.equal(77, second.major)
    local mine = rovk.rovk_version()
    mine.major, mine.minor = 1, 2
    rovk.rovk_led_0001_api_version = mine
    mine.major = 99
    assert.are.same({ 1, 2 }, { first.major, first.minor })
    assert.is_nil(rawget(rovk, "rovk_led_0001_api_version"))
    first.major, first.minor = 0, 6
    rovk.rovk_led_0001_api_version = second -- onto itself
    assert.are.same({ 0, 6 }, { first.major, first.minor })
  end)
end)
