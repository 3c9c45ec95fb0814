-- The texts of failures, to the letter, and which of several failures is reported.

local folder = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path
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
    local cases = {
      -- count first, whatever the arguments
      { info, list(m), count(info, 2, 1) }, { info, list(), count(info, 2, 0) },
      { info, list("x", "y", "z"), count(info, 2, 3) },
      { "rovk_logging_deinit", list(), count("rovk_logging_deinit", 1, 0) },
      { "rovktrans_init", list("x"), count("rovktrans_init", 2, 1) },
      { "rovk_version", list(nil), count("rovk_version::rovk_version", 0, 1) },
      { "rovk_device_address", list(1, 2), count("rovk_device_address::rovk_device_address", 0, 2) },
      -- then types, the lowest argument first, tables last
      { info, list(1, 5), wrong(info, 1, "struct rovk_message *", "number") },
      { info, list(m, nil), wrong(info, 2, "rovk_address", "nil") },
      { info, list(1, nil), wrong(info, 1, "struct rovk_message *", "number") },
      { info, list(v, nil), wrong(info, 2, "rovk_address", "nil") },
      { info, list(v, -1), wrong(info, 1, MESSAGE, VERSION) },
      { info, list(io.stdout, 5), wrong(info, 1, MESSAGE, "userdata (unknown type)") },
      { info, list(probe.light(), 5), wrong(info, 1, MESSAGE, "userdata (unknown type)") },
      { info, list(m, -1), NEGATIVE },
      { echo, list(m, -1, "x"), NEGATIVE }, { echo, list(m, 1, "x"), wrong(echo, 3, "table", "string") },
      { echo, list(m, "x", "x"), wrong(echo, 2, "rovk_address", "string") },
      { echo, list(v, 1, "x"), wrong(echo, 1, MESSAGE, VERSION) },
      { echo, list(m, 1, nil), wrong(echo, 3, "table", "nil") },
      { blocking, list(nil, -1, "x"), NEGATIVE },
      { blocking, list(nil, 1, "x"), wrong(blocking, 3, "table", "string") },
      { blocking, list(5, 1, {}), wrong(blocking, 1, "void *", "number") },
      { "rovktrans_bulk_dump_000c_delete_file", list(nil, 1, "name"),
        wrong("rovktrans_bulk_dump_000c_delete_file", 3, "table", "string") },
      -- functions
      { "rovktrans_common_reset_async_lua", list(nil, 1, 5),
        wrong("rovktrans_common_reset_async_lua", 3, "SWIGLUA_FN", "number") },
      { "rovktrans_common_reset_async_lua", list(nil, 1, nil),
        wrong("rovktrans_common_reset_async_lua", 3, "SWIGLUA_FN", "nil") },
      { "rovktrans_common_echo_async_lua", list(nil, -1, print, 1), NEGATIVE },
      { "rovktrans_common_echo_async_lua", list(nil, 1, print, 1),
        wrong("rovktrans_common_echo_async_lua", 4, "table", "number") },
      { "rovktrans_led_0001_get_state_async_lua", list(nil, 1, print, "x"),
        wrong("rovktrans_led_0001_get_state_async_lua", 4, "uint8_t", "string") },
      { "rovktrans_common_reset_occurred_register_callback_lua", list(nil, 1, {}),
        wrong("rovktrans_common_reset_occurred_register_callback_lua", 3, "SWIGLUA_FN", "table") },
      { "rovktrans_common_reset_occurred_unregister_callback_lua", list(nil, 1, 0),
        wrong("rovktrans_common_reset_occurred_unregister_callback_lua", 3, "void *", "number") },
      { "rovktrans_common_reset_async", list(nil, 1, 0, nil),
        wrong("rovktrans_common_reset_async", 3, "rovktrans_common_reset_callback", "number") },
      { "rovktrans_button_0002_state_change_register_callback", list(nil, 1, "x", nil),
        wrong("rovktrans_button_0002_state_change_register_callback", 3,
          "rovktrans_button_0002_state_change_callback", "string") },
      -- records by value and by pointer
      { callback, list(nil, 0, nil, 1, nil, v, v, 1, 2, 3, 4, nil),
        wrong(callback, 5, "struct rovk_version", "nil") },
      { callback, list(nil, 0, nil, 1, v, m, v, 1, 2, 3, 4, nil), wrong(callback, 6, VERSION, MESSAGE) },
      { callback, list(nil, 0, v, 1, v, v, v, 1, 2, 3, 4, nil),
        wrong(callback, 3, "struct rovk_error_common_error *|rovk_error_common_error *", VERSION) },
      { "rovk_common_initialize_get_peripheral_info_response", list(m, m, 1, nil, v, v, 1, 1, 1, 1),
        wrong("rovk_common_initialize_get_peripheral_info_response", 4, "struct rovk_version", "nil") },
      { "rovk_common_initialize_get_aliases_response", list(m, m, 1, "x"),
        wrong("rovk_common_initialize_get_aliases_response", 4, "rovk_address *", "string") },
      { "internal_rovktrans_common_get_aliases_callback", list(nil, 0, nil, 1, print, nil),
        wrong("internal_rovktrans_common_get_aliases_callback", 5, "rovk_address *", "function") },
      { "rovk_common_retrieve_error", list(m, rovk.rovk_error_led_0001_error()),
        wrong("rovk_common_retrieve_error", 2, "struct rovk_error_common_error *|rovk_error_common_error *",
          swig_type(rovk.rovk_error_led_0001_error())) },
      { "rovk_common_retrieve_error", list(m, 1),
        wrong("rovk_common_retrieve_error", 2, "struct rovk_error_common_error *", "number") },
      -- named scalars keep their names
      { "rovk_initialize_message_struct", list(m, 1, {}, 1),
        wrong("rovk_initialize_message_struct", 3, "rovk_message_type", "table") },
      { "rovk_initialize_message_struct", list(m, 1, 1, nil),
        wrong("rovk_initialize_message_struct", 4, "rovk_cre_command_opcode", "nil") },
      { "rovk_initialize_message_error_response_struct", list(m, m, 1, print),
        wrong("rovk_initialize_message_error_response_struct", 4, "rovk_cre_response_error_id", "function") },
      { "rovk_common_initialize_get_peripheral_info_response", list(m, m, 1, v, v, v, "x", 1, 1, 1),
        wrong("rovk_common_initialize_get_peripheral_info_response", 7, "rovk_capabilities_mask", "string") },
      { "rovk_common_initialize_get_fault_response", list(m, m, true),
        wrong("rovk_common_initialize_get_fault_response", 3, "rovk_fault_id", "boolean") },
      { "rovk_common_initialize_get_aliases_response", list(m, m, nil, 1),
        wrong("rovk_common_initialize_get_aliases_response", 3, "rovk_alias_count", "nil") },
      { "rovk_common_initialize_get_peripheral_device_id_response", list(m, m, "x"),
        wrong("rovk_common_initialize_get_peripheral_device_id_response", 3, "rovk_peripheral_device_id", "string") },
      { "rovktrans_router_0000_get_route", list(nil, 0, "x"),
        wrong("rovktrans_router_0000_get_route", 3, "uint16_t", "string") },
      { "rovktrans_router_0000_add_route", list(nil, 0, 1, "x"),
        wrong("rovktrans_router_0000_add_route", 4, "rovk_address", "string") },
      { "rovktrans_find_peripheral", list(nil, "x"),
        wrong("rovktrans_find_peripheral", 2, "rovk_peripheral_id", "string") },
      { "rovktrans_find_peripheral", list(nil, -1), NEGATIVE },
      { "rovktrans_find_device", list(nil, 1, "x"),
        wrong("rovktrans_find_device", 3, "rovk_peripheral_device_id", "string") },
      -- texts, priorities, pointers
      { "rovk_log", list(nil, 3, {}), wrong("rovk_log", 3, "char const *", "table") },
      { "rovk_log", list(nil, "x", "x"), wrong("rovk_log", 2, "rovk_log_priority", "string") },
      { "rovk_log", list("x", 3, "x"), wrong("rovk_log", 1, "void *", "string") },
      { "rovk_log_message", list(nil, 3, v), wrong("rovk_log_message", 3, MESSAGE, VERSION) },
      { "rovk_logging_init", list("x", "y"), wrong("rovk_logging_init", 2, "void **", "string") },
      { "rovk_logging_init", list("x", v), wrong("rovk_logging_init", 2, "void **", VERSION) },
      { "rovk_logging_init", list(true, nil), wrong("rovk_logging_init", 1, "char const *", "boolean") },
      { "rovktrans_log_message", list(nil, nil, "x"), wrong("rovktrans_log_message", 2, "rovk_log_priority", "nil") },
      { "rovktrans_triangle_overlay_002b_set_triangle_positioning_coordinates", list(nil, 1, 0, 0, 0, -1, 0),
        NEGATIVE },
      { "rovktrans_imgctrl_0006_set_param", list(nil, 1, -1, 0, 0), NEGATIVE },
    }
    for _, case in ipairs(cases) do
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

  it("of version variables name the variable", function()
    local m = rovk.rovk_message()
    for _, name in ipairs { "rovk_protocol_version", "rovk_common_api_version", "rovk_unittest_ffff_api_version" } do
      local function write(value)
        rovk[name] = value
      end
      helper.fails(wrong(name, 1, "struct rovk_version *", "number"), write, 1)
      helper.fails(wrong(name, 1, "struct rovk_version *", "string"), write, "0.19")
      helper.fails(wrong(name .. "_set", 1, VERSION, MESSAGE), write, m)
      helper.fails(wrong(name .. "_set", 1, VERSION, "userdata (unknown type)"), write, io.stdout)
      assert.is_not_nil(helper.refused(write, nil):find("got 'nil'", 1, true))
      local meta = getmetatable(rovk)
      helper.fails(count(name, 0, 1), meta[".get"][name], 1)
      helper.fails(count(name, 1, 0), meta[".set"][name])
      helper.fails(count(name, 1, 2), meta[".set"][name], m, m)
    end
  end)

  it("of accessors are those of their class and field", function()
    local v, m = rovk.rovk_version(), rovk.rovk_message()
    local info = rovk.rovk_response_payload_common_get_peripheral_info()
    local device, data = rovk.rovk_device_address(), rovk.rovk_error_common_error_data()
    local function set(object, field, value)
      object[field] = value
    end
    local led = "rovk_command_payload_led_0001_set_state"
    for _, case in ipairs {
      { v, "major", "x", wrong("rovk_version::major", 2, "rovk_version_major", "string") },
      { v, "minor", nil, wrong("rovk_version::minor", 2, "rovk_version_minor", "nil") },
      { rovk[led](), "on", {}, wrong(led .. "::on", 2, "uint16_t", "table") },
      { info, "api", m, wrong("rovk_response_payload_common_get_peripheral_info_api_set", 2, VERSION, MESSAGE) },
      { info, "api", 1, wrong("rovk_response_payload_common_get_peripheral_info::api", 2, "struct rovk_version *",
        "number") },
      { device, "address", "x", wrong("rovk_device_address::address", 2, "rovk_address", "string") },
      { data, "payload", 1, wrong("rovk_error_common_error_data::payload", 2, "uint8_t [18]", "number") },
      { data, "payload", v, wrong("rovk_error_common_error_data_payload_set", 2, swig_type(data.payload), VERSION) },
      { m, "route", v, wrong("rovk_message_route_set", 2, swig_type(m.route), VERSION) },
      { m.cre.c, "payload", "x", wrong("rovk_message_cre_c::payload", 2, "uint8_t [22]", "string") },
      { rovk.rovk_command_payload_eeprom_partition_table_0013_write(), "data", 1,
        wrong("rovk_command_payload_eeprom_partition_table_0013_write::data", 2,
          "uint8_t [(22-sizeof(uint32_t)-sizeof(uint8_t)-sizeof(uint8_t))]", "number") },
      { rovk.rovk_command_payload_bulk_dump_000c_get_frame(), "filename", 1,
        wrong("rovk_command_payload_bulk_dump_000c_get_frame::filename", 2, "uint8_t [22-sizeof(uint8_t)]", "number") },
      { rovk.rovk_response_payload_common_get_aliases(), "alias", 1,
        wrong("rovk_response_payload_common_get_aliases::alias", 2, "rovk_address [10]", "number") },
      { m.route, "uuid", -1, NEGATIVE },
    } do
      helper.fails(case[4], set, case[1], case[2], case[3])
    end
    local registry = debug.getregistry().SWIG
    helper.fails(wrong("rovk_version::major", 1, "struct rovk_version *", "number"),
      registry.rovk_version[".get"].major, 1)
    helper.fails(wrong("rovk_device_address_index_get", 1, "rovk_device_address *", VERSION),
      registry.rovk_device_address[".get"].index, v)
    helper.fails(wrong("rovk_message_cre_dummy_set", 1, "rovk_message_cre *", VERSION),
      registry.rovk_message_cre[".set"].dummy, v, "x")
    helper.fails(wrong("rovk_error_led_0001_error_data::payload", 1, "rovk_error_led_0001_error_data *", "table"),
      registry.rovk_error_led_0001_error_data[".get"].payload, {})
  end)

  it("carry no position and stay strings", function()
    local ok, message = pcall(rovk.rovk_version, 1, 2, 3)
    assert.is_false(ok)
    assert.are.equal("string", type(message))
    assert.are.equal(count("rovk_version::rovk_version", 0, 3), message)
  end)
end)
