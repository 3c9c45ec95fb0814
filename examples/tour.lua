-- A tour of a unit: ./rovk run examples/tour.lua
--
-- What a unit is made of, some of what it can do, and what stands below: messages and a log. The same by rovk_message
-- alone: examples/plain/tour.lua.
local rovk = require "rovk"
local plain = require "rovk_message"

local function chapter(title)
  print("\n" .. title)
end

local function line(...)
  print("  " .. string.format(...))
end

local unit = rovk.open()

-- Units differ: where one has not what a chapter is about, the chapter ends.
local function find(service, name)
  local found = name and unit:try_device(service, name) or not name and unit:try_peripheral(service)
  if not found then
    line("no %s on this unit", name and service .. " " .. name or service)
  end
  return found
end

chapter("What the unit is made of, as its router tells")
local peripherals = unit:peripherals()
for _, peripheral in ipairs(peripherals) do
  local api = peripheral:get_peripheral_info().api
  line("address %5d  %-28s API %d.%-3d devices %d, board %s", peripheral.address, peripheral.service, api.major,
    api.minor, peripheral.device_count, peripheral.location or "unknown")
end
line("%d peripherals", #peripherals)

chapter("The red LED of the front panel")
local led = find("led_0001", "LED_FRONT_PANEL_RED")
if led then
  line("is %s", tostring(led))
  led:set_state { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 }
  line("set and read back: %s", tostring(led:get_state()))
end

-- Units stand in the names: millidegrees, millilux, millivolts, microwatts.
chapter("What the sensors read")
local sensor = find("temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")
if sensor then
  line("processor %.1f degrees Celsius", sensor:get_millidegree_celsius().millidegree_celsius / 1000)
end
for _, light in ipairs(unit:devices "light_sensor_0007") do
  line("surroundings %.1f lux", light:get_millilux().millilux / 1000)
end
local monitor = find("power_monitor_002e")
if monitor then
  line("supply %.2f V, %.2f W", monitor:get_voltages(0).bus_voltage_millivolts / 1000,
    monitor:get_power(0).calculated_power_microwatts / 1e6)
end

chapter("Pan, tilt and zoom")
local head = find("positioning_002a", "POSITIONING_OPTICAL")
if head then
  local at = head:get_position()
  line("now at %s", tostring(at))
  local moves = head:on "movement_change"
  head:set_position { pan_millidegrees = at.pan_millidegrees + 3000, tilt_millidegrees = at.tilt_millidegrees - 1500,
    zoom_deciX = at.zoom_deciX + 2, pan_millidegrees_per_second = 30000, tilt_millidegrees_per_second = 30000,
    zoom_deciX_per_second = 20 }
  repeat
    local event = assert(moves:wait(20000))
  until event.pan_movement + event.tilt_movement + event.zoom_movement == 0
  line("moved to %s", tostring(head:get_position()))
end

chapter("An EEPROM partition, tag by tag")
local partition = 1
local eeprom = find("eeprom_partition_table_0013", "EEPROM_PARTITION_TABLE_PROCESSOR_BOARD")
if eeprom then
  local info = eeprom:get_partition_info(partition)
  line("partition %d: %s", partition, tostring(info))
  local new_tag = 1
  for number = 0, info.used_tags - 1 do
    local tag = eeprom:get_tag_info_num(number, partition)
    line("tag %d: %d bytes at %d", tag.tag_id, tag.size, tag.offset)
    new_tag = math.max(new_tag, tag.tag_id + 1)
  end
  local text = "hello, unit"
  eeprom:append_tag { tag_id = new_tag, size = #text, partition_index = partition }
  eeprom:write_tag(new_tag, partition, #text, 0, text)
  local data = eeprom:read_tag(new_tag, partition, #text, 0).data
  line("tag %d written and read back: %s", new_tag, string.char(unpack(data, 1, #text)))
end

chapter("A parameter of the picture, with its limits")
local picture = find("imgctrl_0006")
if picture then
  line("contrast %s", tostring(picture:get_param(plain.GENERAL_CONTRAST, 0)))
end

-- A refusal is an error object; the form with try_ gives it.
chapter("A command that is refused")
local lights = find("led_0001")
if lights then
  local _, err = lights:try_get_state { index = 99 }
  line("%s", tostring(err))
  line("status %d, at the byte %d of the command, %s", err.status, err.detail.payload_index, err.detail.input)
end

-- Side by side, in the unit's time.
chapter("Two tasks")
if sensor and led then
  unit:spawn(function()
    for _ = 1, 3 do
      line("reads %.1f degrees", sensor:get_millidegree_celsius().millidegree_celsius / 1000)
      unit:sleep(30)
    end
  end)
  unit:spawn(function()
    for on = 0, 1 do
      led:set_state(on, 0, 0)
      line("the LED is %s", on == 1 and "on" or "off")
      unit:sleep(40)
    end
  end)
  unit:run()
end

-- The module below composes and reads messages by itself, without sending them.
chapter("A message, composed and read")
local command = plain.rovk_message()
plain.rovk_led_0001_initialize_set_state_command(command, 7, 1, 1, 500, 500)
line("%s", rovk.dump(command, { service = "led_0001" }))

chapter("A line in the log")
io.stdout:flush() -- the log has a way of its own to the screen
plain.rovktrans_log_message(unit.context, plain.ROVK_LOG_PRIORITY_NOTICE, "the tour ends here")
line("written at priority %d", plain.ROVK_LOG_PRIORITY_NOTICE)
unit:close()
