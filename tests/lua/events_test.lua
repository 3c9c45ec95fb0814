-- Events: every one of them from a cause in the unit to a Lua function, and the life of subscriptions.

local helper = require("helper")
local rovk = require("rovk_message")
local unit = require("rovk_unit")

-- Runs a blocking command of a service's own peripheral, which must succeed.
local function order(context, at, name, ...)
  local service
  for known in pairs(at) do
    if name:sub(1, #known + 1) == known .. "_" then
      service = known
    end
  end
  local results = helper.pack(rovk["rovktrans_" .. name](context, at[service], ...))
  assert.are.equal(0, results[1], name)
  return unpack(results, 3, results.n)
end

local function filter_to_night(context, at)
  order(context, at, "day_night_001d_set_manual_mode_enable", 0, 1)
  order(context, at, "day_night_001d_set_manual_filter_position_day", 0, 0)
end

local function move_focus(context, at)
  assert.are.equal(0, rovk.rovktrans_linear_actuator_000d_set_position_async_lua(context, at.linear_actuator_000d,
    function() end, 0, 100))
end

-- Peripheral, event, cause, and the arguments of the function, call by call. ANY stands for a number.
local ANY = "any"
local CAUSES = {
  { "led_0001", "common_reset_occurred", function(c, at) unit.reset(c, at.led_0001, 9) end, { { 9 } } },
  { "led_0001", "common_spontaneous_error",
    function(c, at) unit.spontaneous_error(c, at.led_0001, 0x0B0C, { 1, 2, 255 }) end,
    { { 0x0101, 0x0B0C, { 1, 2, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 } } } },
  { "button_0002", "button_0002_state_change", function(c)
    unit.press(c, 0)
    unit.press(c, 0)
    unit.release(c, 0)
  end, { { 0, 1 }, { 0, 0 } } },
  { "alarm_0004", "alarm_0004_state_change", function(c) unit.set(c, "alarm", 1, 1) end, { { 1, 1 } } },
  { "alarm_0017", "alarm_0017_state_change", function(c)
    unit.close(c, 0)
    unit.advance(c, 20)
    unit.open(c, 0)
  end, { { 0, 1 }, { 0, 0 } } },
  { "relay_0005", "relay_0005_sequence_complete", function(c, at) order(c, at, "relay_0005_trigger", 1) end,
    { { 1 } } },
  { "relay_0019", "relay_0019_trigger_sequence_complete", function(c, at)
    order(c, at, "relay_0019_trigger", 1, 0, 10, 10, 2, 0)
  end, { { 1 } } },
  { "imgctrl_0006", "imgctrl_0006_day_night_movement_change", filter_to_night, { { 0, ANY }, { 0, ANY } } },
  { "imgctrl_0006", "imgctrl_0006_focus_movement_change", move_focus, { { 0, ANY }, { 0, ANY } } },
  { "day_night_001d", "day_night_001d_movement_change", filter_to_night, { { 0, ANY }, { 0, ANY } } },
  { "lens_focus_001f", "lens_focus_001f_movement_change", move_focus, { { 0, ANY }, { 0, ANY } } },
  { "ir_illuminator_0008", "ir_illuminator_0008_state_change", function(c, at)
    for _, state in ipairs { 1, 1, 0 } do
      order(c, at, "ir_illuminator_0008_set_state", 0, state)
    end
  end, { { 1 }, { 0 } } },
  { "heater_000a", "heater_000a_state_change", function(c, at)
    order(c, at, "heater_000a_set_control_loop_enable", 0, 1)
    for _, temperature in ipairs { -5000, 5000, 9000 } do
      unit.set(c, "temperature", 3, temperature)
    end
  end, { { 1 }, { 0 } } },
  { "fan_000b", "fan_000b_state_change", function(c, at)
    order(c, at, "fan_000b_set_speed", 0, 1500)
    order(c, at, "fan_000b_set_state", 0, 1)
    unit.set(c, "fan_blocked", 0, 1)
  end, { { 1, 1500, 0 }, { 0, 0, 1 } } },
  { "power_monitor_000f", "power_monitor_000f_alert", function(c)
    for _, current in ipairs { 2000, 2100, 300 } do
      unit.set(c, "current", 0, current)
    end
  end, { { 0, 1 }, { 0, 0 } } },
  { "power_monitor_002e", "power_monitor_002e_alert", function(c)
    unit.set(c, "current", 0, 2000)
    unit.set(c, "current", 0, -2000)
  end, { { 0, 1, 24000000 }, { 0, 0, -24000000 } } },
  { "eeprom_partition_table_0013", "eeprom_partition_table_0013_lock_time_out", function(c, at)
    order(c, at, "eeprom_partition_table_0013_lock", 200, 0)
  end, { { 0 } } },
  { "power_pwm_0025", "power_pwm_0025_state_change", function(c, at)
    for _, output in ipairs { 1, 1, 0 } do
      order(c, at, "power_pwm_0025_set_enable", 0, output, 0)
    end
  end, { { 0, 1 }, { 0, 0 } } },
  { "speed_pwm_0026", "speed_pwm_0026_state_change", function(c, at)
    order(c, at, "speed_pwm_0026_set_auto_speed", 0, 4500)
    order(c, at, "speed_pwm_0026_set_enable", 0, 1, 1)
    unit.set(c, "fan_blocked", 0, 1)
  end, { { 0, 1, 4500, 0 }, { 0, 0, 0, 1 } } },
  { "switch_0027", "switch_0027_state_change", function(c, at)
    unit.set(c, "switch_contact", 0, 1)
    order(c, at, "switch_0027_set_state", 0, 1)
    order(c, at, "switch_0027_set_state", 0, 0)
  end, { { 0, 1 }, { 0, 0 } } },
  { "positioning_002a", "positioning_002a_movement_change", function(c, at)
    order(c, at, "positioning_002a_set_velocity", 0, 5000, 0, 0)
    order(c, at, "positioning_002a_set_velocity", 0, 0, 0, 0)
  end, { { 0, ANY, ANY, ANY }, { 0, ANY, ANY, ANY } } },
}

local function listen(context, event, address, action)
  local handle = rovk["rovktrans_" .. event .. "_register_callback_lua"](context, address, action)
  assert.are.equal("userdata", type(handle), event)
  return handle
end

local function forget(context, event, address, handle)
  return rovk["rovktrans_" .. event .. "_unregister_callback_lua"](context, address, handle)
end

describe("events", function()
  helper.watch(before_each, after_each)

  it("reach their functions, each of the 21", function()
    assert.are.equal(21, #CAUSES)
    for _, case in ipairs(CAUSES) do
      local service, event, cause, expected = unpack(case)
      local context = helper.open()
      local at = helper.addresses(context)
      local got, elsewhere = {}, 0
      local handle = listen(context, event, at[service], function(...)
        got[#got + 1] = helper.pack(...)
      end)
      local other = listen(context, event, at.router_0000, function() elsewhere = elsewhere + 1 end)
      assert.are.equal("void *", swig_type(handle))
      cause(context, at)
      helper.deliver(context, 60000)
      assert.are.equal(#expected, #got, event)
      for turn, arguments in ipairs(expected) do
        for position, value in ipairs(arguments) do
          if value == ANY then
            assert.are.equal("number", type(got[turn][position]), event)
            arguments[position] = got[turn][position]
          end
        end
        assert.are.same({ n = #arguments, unpack(arguments) }, got[turn], event)
      end
      assert.are.equal(0, elsewhere)
      assert.are.equal(0, forget(context, event, at[service], handle))
      assert.are.equal(0, forget(context, event, at.router_0000, other))
      got = {}
      unit.press(context, 0)
      unit.reset(context, at[service], 1)
      helper.deliver(context, 60000)
      assert.are.same({}, got, event)
      helper.close(context)
    end
  end)

  it("can be refused, and forgotten with nil", function()
    local context = helper.open()
    local status = helper.pack(forget(context, "button_0002_state_change", 0x102, nil))
    assert.are.same({ 1, "number" }, { status.n, type(status[1]) })
    assert.are_not.equal(-1, status[1])
    for _, service in ipairs(helper.model().services) do
      local results = helper.pack(rovk["rovktrans_" .. service.name .. "_register_default_callbacks"](context, 0))
      assert.are.same({ n = 1, 0 }, results, service.name)
    end
  end)
end)
