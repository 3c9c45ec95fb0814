-- The texts of failures, to the letter, and which of several failures is reported.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

local COUNT = "Error in %s expected %d..%d args, got %d"
local ARGUMENT = "Error in %s (arg %d), expected '%s' got '%s'"
local NEGATIVE = "number must not be negative"
local VERSION = "struct rovk_version *|rovk_version *"
local MESSAGE = "struct rovk_message *|rovk_message *"

local function count(name, wanted, got)
  return COUNT:format(name, wanted, wanted, got)
end

local function wrong(...)
  return ARGUMENT:format(...)
end

local function list(...)
  return { n = select("#", ...), ... }
end

describe("failure texts", function()
  helper.watch(before_each, after_each)

  it("of functions come in the order of the checks", function()
    local v, m = rovk.rovk_version(), rovk.rovk_message()
    local info, echo = "rovk_common_initialize_get_peripheral_info_command", "rovk_common_initialize_echo_command"
    local blocking, callback = "rovktrans_common_echo", "internal_rovktrans_common_get_peripheral_info_callback"
    local aliases, later = "rovk_common_initialize_get_aliases_response", "rovktrans_common_echo_async_lua"
    for _, case in ipairs {
      -- count first, whatever the arguments
      { info, list(m), count(info, 2, 1) }, { info, list("x", "y", "z"), count(info, 2, 3) },
      { "rovk_version", list(nil), count("rovk_version::rovk_version", 0, 1) },
      { "rovk_device_address", list(1, 2), count("rovk_device_address::rovk_device_address", 0, 2) },
      -- then types, the lowest argument first, tables last
      { info, list(1, nil), wrong(info, 1, "struct rovk_message *", "number") },
      { info, list(v, nil), wrong(info, 2, "rovk_address", "nil") },
      { info, list(v, -1), wrong(info, 1, MESSAGE, VERSION) },
      { info, list(io.stdout, 5), wrong(info, 1, MESSAGE, "userdata (unknown type)") },
      { info, list(probe.light(), 5), wrong(info, 1, MESSAGE, "userdata (unknown type)") },
      { info, list(m, -1), NEGATIVE },
      { echo, list(m, -1, "x"), NEGATIVE }, { echo, list(m, "x", "x"), wrong(echo, 2, "rovk_address", "string") },
      { echo, list(v, 1, "x"), wrong(echo, 1, MESSAGE, VERSION) },
      { blocking, list(nil, -1, "x"), NEGATIVE }, { blocking, list(5, 1, {}), wrong(blocking, 1, "void *", "number") },
      { blocking, list(nil, 1, "x"), wrong(blocking, 3, "table", "string") },
      { later, list(nil, -1, print, 1), NEGATIVE },
      { later, list(nil, 1, print, 1), wrong(later, 4, "table", "number") },
      { later, list(nil, 1, nil, {}), wrong(later, 3, "SWIGLUA_FN", "nil") },
      -- records by value and by pointer
      { callback, list(nil, 0, nil, 1, nil, v, v, 1, 2, 3, 4, nil), wrong(callback, 5, "struct rovk_version", "nil") },
      { callback, list(nil, 0, nil, 1, v, m, v, 1, 2, 3, 4, nil), wrong(callback, 6, VERSION, MESSAGE) },
      { callback, list(nil, 0, v, 1, v, v, v, 1, 2, 3, 4, nil),
        wrong(callback, 3, "struct rovk_error_common_error *|rovk_error_common_error *", VERSION) },
      { aliases, list(m, m, 1, "x"), wrong(aliases, 4, "rovk_address *", "string") },
      { aliases, list(m, m, nil, 1), wrong(aliases, 3, "rovk_alias_count", "nil") },
      { "rovk_log_message", list(nil, 3, v), wrong("rovk_log_message", 3, MESSAGE, VERSION) },
      { "rovk_log", list(nil, 3, {}), wrong("rovk_log", 3, "char const *", "table") },
      { "rovk_logging_init", list("x", v), wrong("rovk_logging_init", 2, "void **", VERSION) },
      { "rovktrans_imgctrl_0006_set_param", list(nil, 1, -1, 0, 0), NEGATIVE },
    } do
      helper.fails(case[3], rovk[case[1]], unpack(case[2], 1, case[2].n))
    end
  end)

  it("of a message argument name every function's own argument", function()
    local function zero() return 0 end
    local sound = { number = zero, aliases = zero, table = function() return {} end, fn = function() return print end,
      text = function() return "x" end, version = rovk.rovk_version }
    for _, item in ipairs(helper.model().functions) do
      local call = rovk[item.name]
      local total = #item.arguments
      helper.fails(count(item.name, total, total + 1), call, unpack({}, 1, total + 1))
      if total > 0 then
        helper.fails(count(item.name, total, total - 1), call, unpack({}, 1, total - 1))
        -- Every argument in turn gets a value that no class but one takes; those before it are fine.
        local values, refused_as = { n = total }, {}
        for position, argument_of in ipairs(item.arguments) do
          local kind = argument_of.kind
          values[position] = sound[kind] and sound[kind]()
          refused_as[position] = kind == "table" and "table" or argument_of.text
        end
        for position = 1, total do
          local kept = values[position]
          values[position] = false
          helper.fails(wrong(item.name, position, refused_as[position], "boolean"), call, unpack(values, 1, total))
          values[position] = kept
        end
      end
    end
  end)

  it("of fields that are set name their class and field", function()
    local m, v = rovk.rovk_message(), rovk.rovk_version()
    local data = rovk.rovk_error_common_error_data()
    local info = rovk.rovk_response_payload_common_get_peripheral_info()
    local eeprom = "rovk_command_payload_eeprom_partition_table_0013_write"
    for _, case in ipairs {
      { v, "minor", nil, wrong("rovk_version::minor", 2, "rovk_version_minor", "nil") },
      { info, "api", m, wrong("rovk_response_payload_common_get_peripheral_info_api_set", 2, VERSION, MESSAGE) },
      { data, "payload", v, wrong("rovk_error_common_error_data_payload_set", 2, swig_type(data.payload), VERSION) },
      { m, "route", v, wrong("rovk_message_route_set", 2, swig_type(m.route), VERSION) },
      { m.cre.c, "payload", "x", wrong("rovk_message_cre_c::payload", 2, "uint8_t [22]", "string") },
      { rovk[eeprom](), "data", 1,
        wrong(eeprom .. "::data", 2, "uint8_t [(22-sizeof(uint32_t)-sizeof(uint8_t)-sizeof(uint8_t))]", "number") },
      { rovk.rovk_response_payload_common_get_aliases(), "alias", 1,
        wrong("rovk_response_payload_common_get_aliases::alias", 2, "rovk_address [10]", "number") },
      { m.cre, "dummy", {}, wrong("rovk_message_cre::dummy", 2, "char [22+sizeof(rovk_cre_command_opcode)]", "table") },
      { m.route, "uuid", -1, NEGATIVE },
    } do
      helper.fails(case[4], function() case[1][case[2]] = case[3] end)
    end
  end)
end)
