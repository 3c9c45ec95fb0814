-- The numbers of the protocol. Those that belong to no service, and those of services that are easily
-- mixed up, stand here by hand; the rest follows from the catalogue by the rule of their names.

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
  { ROVK_PROTOCOL_VERSION_MAJOR = 0, ROVK_PROTOCOL_VERSION_MINOR = 19,
    ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_3_BOARD = 36, GENERAL_ILLUMINANT = 265,
    WB_MANUAL_OFFSET_B = 527, EXP_DN_NIGHT_FILTER = 1033, TONE_YCC_ADJ = 1539, FOCUS_RGN_STOP_Y = 1800,
    ZOOM_POSITION = 2048, WINDOW_BLANKING = 2304, LOOP_ENABLE_BAYER = 61448, EXP_LL_AVG_TARGET = 897,
    ROVK_LOG_PRIORITY_DEBUG = 7, ROVK_CALIBRATION_0015_ERROR_FAILED_SAVE_CAL_DATA = 36,
    ROVK_MESSAGE_PAYLOAD_SIZE = 22, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE = 18, ROVK_MAX_ALIASES = 10,
    ROVK_ROUTER_PERIPHERAL_ADDRESS = 0, ROVK_UNITTEST_PERIPHERAL_ADDRESS = 65535, ROVK_GPI_CAPABILITIES_QUEUED = 1,
    ROVK_BULK_DUMP_GET_FRAME_FILENAME_SIZE = 21, ROVK_EPT_WRITE_SIZE = 16 },
  run("ROVK_COMMON_ERROR_", 0, "NO_ERROR BUSY FAULT_EXISTS ALREADY_QUEUED RESERVATION_EXISTS UNKNOWN_PERIPHERAL "
    .. "COMMUNICATION_FAILURE UNKNOWN_COMMAND INVALID_PAYLOAD INVALID_SEQUENCE NO_RESOURCES DEBOUNCE_FILTER_GLITCH "
    .. "SELF_TEST_FAILED"),
  run("ROVK_COMMON_COMMAND_", 0, "GET_PERIPHERAL_INFO RESET CLEAR_FAULT GET_FAULT ECHO GET_ALIASES SELF_TEST "
    .. "GET_PERIPHERAL_DEVICE_ID NOP"),
  run("ROVK_COMMON_COMMAND_", 31, "LAST"), run("ROVK_COMMON_EVENT_", 0, "RESET_OCCURRED SPONTANEOUS_ERROR"),
  run("ROVK_EPT_PARTITION_TYPE_", 1, "PFIX PFRU PSKU PQCD PERR P__U P__T"),
  run("ROVK_EPT_PARTITION_TYPE_", 65, "IFIX IFRU ICAL IQCD IERR I__U I__T ICBK"),
  run("EXP_", 768, "MODE TYPE IRIS_ALG REQ_FRAMERATE"),
  run("EXP_", 800, "MAX_EXPOSURE MIN_EXPOSURE MAX_GAIN MIN_GAIN AVG_TARGET MAX_TARGET EXTEND_GAIN SATURATION_ROLLOFF"),
  run("EXP_", 832, "PRIORITY_TYPE MOTION_COMP LOOP_SPEED LIGHT_CONTROL"), run("EXP_", 864, "FLICKER_CORRECTION"),
  run("ROVK_ALARM_0004_STATE_", 0, "INACTIVE ACTIVE ACTIVE_TAMPERED"),
  run("ROVK_ALARM_0017_STATE_", 0, "OPEN CLOSED SABOTAGE"), run("ROVK_RELAY_0005_STATE_", 0, "INACTIVE ACTIVE"),
  run("ROVK_RELAY_0019_STATE_", 0, "CLOSED OPEN"),
  -- opcodes that break a habit
  run("ROVK_CALIBRATION_0015_COMMAND_RUN_", 32, "COLOR_CALIBRATION EFFECTIVE_FOCAL_LENGTH_CALIBRATION Z_CALIBRATION"),
  run("ROVK_CALIBRATION_0015_COMMAND_RUN_", 128, "FOCUS_RANGE_HOME_MEASUREMENT ZOOM_RANGE_HOME_MEASUREMENT"),
  run("ROVK_POWER_POLICY_0014_COMMAND_", 32, "SET_MAX_PERIPHERAL_POWER GET_MAX_PERIPHERAL_POWER"),
  run("ROVK_POWER_POLICY_002C_COMMAND_", 32, "GET_MAX_PERIPHERAL_POWER SET_MAX_PERIPHERAL_POWER"),
}

describe("constants", function()
  helper.watch(before_each, after_each)

  it("have the protocol's values", function()
    for _, list in ipairs(BY_HAND) do
      for name, value in pairs(list) do
        assert.are.equal(value, rawget(rovk, name), name)
      end
    end
    for _, constant in ipairs(helper.model().all_constants) do
      assert.are.equal(constant.value, rawget(rovk, constant.name), constant.name)
      assert.is_true(constant.value >= 0 and constant.value <= 65535 and constant.value % 1 == 0, constant.name)
    end
  end)

  it("name every service's id and versions, and count up within a service", function()
    local services, numbers = 0, 0
    for _, service in ipairs(helper.model().services) do
      local prefix = "ROVK_" .. service.name:upper()
      local version = rovk["rovk_" .. service.name .. "_api_version"]
      services = services + 1
      assert.are.equal(tonumber(service.name:match("_(%x%x%x%x)$") or "none", 16), rovk[prefix .. "_PERIPHERAL_ID"])
      assert.are.same({ service.api, service.api }, { { major = version.major, minor = version.minor },
        { major = rovk[prefix .. "_API_VERSION_MAJOR"], minor = rovk[prefix .. "_API_VERSION_MINOR"] } }, service.name)
      for kind, list in pairs { COMMAND = service.commands, EVENT = service.events, ERROR = service.errors } do
        local next_number = service.name == "common" and 0 or 32
        for _, item in ipairs(list) do
          local name = ("%s_%s_%s"):format(prefix, kind, item.name:upper())
          next_number = name:match("CALIBRATION_0015_COMMAND_RUN_FOCUS") and 128
            or name == "ROVK_COMMON_COMMAND_LAST" and 31 or next_number
          assert.are.equal(next_number, rovk[name], name)
          next_number = next_number + 1
          numbers = numbers + 1
        end
      end
    end
    assert.are.same({ 51, 272 + 21 + 35 }, { services, numbers })
    assert.are.same({ 19, 7 }, { rovk.ROVK_COMMON_API_VERSION_MINOR, rovk.rovk_router_0000_api_version.minor })
    for name in next, rovk do -- 0x001E and 0x002D are not assigned
      assert.is_nil(name:lower():match("_001e_") or name:lower():match("_002d_"))
    end
  end)
end)
