-- A tour of a unit by rovk_message alone: ./rovk run examples/plain/tour.lua
--
-- Every command takes the context, the peripheral's address and its inputs, and returns a status, an
-- error table and its values. Status 0 is success.
local rovk = require "rovk_message"

local function check(status, errors, ...)
  if status ~= 0 then
    error(("status %d, error id %d"):format(status, errors.error_id), 2)
  end
  return ...
end

local function chapter(title)
  print("\n" .. title)
end

local function line(...)
  print("  " .. string.format(...))
end

-- A device is known by two numbers, its service's and its own; the unit says where it is. Without it a chapter ends.
local function find(context, service, device)
  local found = rovk.rovktrans_find_device(context, rovk["ROVK_" .. service:upper() .. "_PERIPHERAL_ID"],
    rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. device])
  if not found then
    line("this unit has no %s %s", service, device ~= "NONE" and device or "peripheral")
  end
  return found
end

-- Service names by peripheral id, from the module's own constants.
local function services_by_id()
  local names = {}
  for name, value in pairs(rovk) do
    local service = name:match("^ROVK_(.*)_PERIPHERAL_ID$")
    if service then
      names[value] = service:lower()
    end
  end
  return names
end

-- Prints the unit's peripherals.
local function peripherals(context)
  chapter("What the unit is made of, as its router tells")
  local names = services_by_id()
  local router = rovk.ROVK_ROUTER_PERIPHERAL_ADDRESS
  local count = check(rovk.rovktrans_router_0000_get_count(context, router))
  for route = 0, count - 1 do
    local address = check(rovk.rovktrans_router_0000_get_route(context, router, route))
    local id, api, _, _, _, _, devices, board = check(rovk.rovktrans_common_get_peripheral_info(context, address))
    line("address %5d  %-28s API %d.%-3d devices %d, board %d", address, names[id] or tostring(id), api.major,
      api.minor, devices, board)
  end
  line("%d peripherals", count)
end

local function lights(context)
  chapter("The red LED of the front panel")
  local led = find(context, "led_0001", "LED_FRONT_PANEL_RED")
  if not led then
    return
  end
  line("is device %d of the peripheral at address %d", led.index, led.address)
  check(rovk.rovktrans_led_0001_set_state(context, led.address, led.index, 1, 200, 800))
  local on, on_ms, off_ms = check(rovk.rovktrans_led_0001_get_state(context, led.address, led.index))
  line("set and read back: on %d, %d ms lit, %d ms dark", on, on_ms, off_ms)
end

-- Units stand in the names: millidegrees, millilux, millivolts, microwatts.
local function readings(context)
  chapter("What the sensors read")
  local sensor = find(context, "temperature_sensor_0009", "TEMPERATURE_SENSOR_PROCESSOR")
  if sensor then
    local temperature =
      check(rovk.rovktrans_temperature_sensor_0009_get_millidegree_celsius(context, sensor.address, sensor.index))
    line("processor %.1f degrees Celsius", temperature / 1000)
  end
  local eye = find(context, "light_sensor_0007", "NONE")
  if eye then
    local light = check(rovk.rovktrans_light_sensor_0007_get_millilux(context, eye.address, eye.index))
    line("surroundings %.1f lux", light / 1000)
  end
  local monitor = find(context, "power_monitor_002e", "NONE")
  if monitor then
    local _, bus = check(rovk.rovktrans_power_monitor_002e_get_voltages(context, monitor.address, monitor.index))
    local power = check(rovk.rovktrans_power_monitor_002e_get_power(context, monitor.address, monitor.index))
    line("supply %.2f V, %.2f W", bus / 1000, power / 1000000)
  end
end

local function movement(context)
  chapter("Pan, tilt and zoom")
  local head = find(context, "positioning_002a", "POSITIONING_OPTICAL")
  if not head then
    return
  end
  local function position()
    return check(rovk.rovktrans_positioning_002a_get_position(context, head.address, head.index))
  end
  local pan, tilt, zoom = position()
  line("now at pan %d, tilt %d millidegrees, zoom %d deciX", pan, tilt, zoom)
  local target_pan, target_tilt, target_zoom = pan + 3000, tilt - 1500, zoom + 2
  check(rovk.rovktrans_positioning_002a_set_position(context, head.address, head.index, target_pan, target_tilt,
    30000, 30000, target_zoom, 20))
  repeat
    pan, tilt, zoom = position()
  until pan == target_pan and tilt == target_tilt and zoom == target_zoom
  line("moved to pan %d, tilt %d millidegrees, zoom %d deciX", pan, tilt, zoom)
end

local function memory(context)
  chapter("An EEPROM partition, tag by tag")
  local eeprom = find(context, "eeprom_partition_table_0013", "EEPROM_PARTITION_TABLE_PROCESSOR_BOARD")
  if not eeprom then
    return
  end
  local address, partition = eeprom.address, 1
  local id, size, free, _, used =
    check(rovk.rovktrans_eeprom_partition_table_0013_get_partition_info(context, address, partition))
  line("partition %d, type %d: %d bytes, %d free for tags", partition, id, size, free)
  local new_tag = 1
  for number = 0, used - 1 do
    local tag_size, offset, _, tag =
      check(rovk.rovktrans_eeprom_partition_table_0013_get_tag_info_num(context, address, number, partition))
    line("tag %d: %d bytes at %d", tag, tag_size, offset)
    new_tag = math.max(new_tag, tag + 1)
  end
  local text = "hello, unit"
  check(rovk.rovktrans_eeprom_partition_table_0013_append_tag(context, address, new_tag, #text, partition))
  check(rovk.rovktrans_eeprom_partition_table_0013_write_tag(context, address, new_tag, partition, #text, 0,
    { text:byte(1, -1) }))
  local data =
    check(rovk.rovktrans_eeprom_partition_table_0013_read_tag(context, address, new_tag, partition, #text, 0))
  line("tag %d written and read back: %s", new_tag, string.char(unpack(data, 1, #text)))
end

local function picture(context)
  chapter("A parameter of the picture, with its limits")
  local control = find(context, "imgctrl_0006", "NONE")
  if not control then
    return
  end
  local _, value, default, low, high, q_bits =
    check(rovk.rovktrans_imgctrl_0006_get_param(context, control.address, rovk.GENERAL_CONTRAST, control.index))
  line("contrast %d, from %d to %d, normally %d, %d bits behind the point", value, low, high, default, q_bits)
end

-- A refusal is no Lua error: the status says so and the table says why.
local function refusal(context)
  chapter("A command that is refused")
  local led = find(context, "led_0001", "LED_FRONT_PANEL_RED")
  if not led then
    return
  end
  local status, errors = rovk.rovktrans_led_0001_get_state(context, led.address, 99)
  line("LED 99: status %d", status)
  for _, key in ipairs { "error_id", "peripheral_address", "payload_index" } do
    line("%s = %s", key, tostring(errors[key]))
  end
  line("which is %s", status == rovk.ROVK_COMMON_ERROR_INVALID_PAYLOAD and "an input out of range" or "something else")
end

-- The module also composes and reads messages by itself, without sending them.
local function message()
  chapter("A message, composed and read")
  local command, answer = rovk.rovk_message(), rovk.rovk_message()
  rovk.rovk_led_0001_initialize_set_state_command(command, 7, 1, 1, 500, 500)
  line("to address %d, opcode %d", command.route.peripheral_address, command.cre.c.opcode)
  local index, on, on_ms, off_ms = rovk.rovk_led_0001_retrieve_set_state_command(command)
  line("read back: index %d, on %d, %d ms, %d ms", index, on, on_ms, off_ms)
  rovk.rovk_common_initialize_invalid_payload_error(answer, command, 7, 0)
  local info = answer.cre.r.pei.ei
  line("an answer that refuses it: error id %d from address %d", info.id, info.peripheral_address)
end

local status, context = rovk.rovktrans_init(nil, nil)
assert(status == 0, "no unit")
peripherals(context)
lights(context)
readings(context)
movement(context)
memory(context)
picture(context)
refusal(context)
message()
chapter("A line in the log")
rovk.rovktrans_log_message(context, rovk.ROVK_LOG_PRIORITY_NOTICE, "the tour ends here")
line("written at priority %d", rovk.ROVK_LOG_PRIORITY_NOTICE)
assert(rovk.rovktrans_deinit(context) == 0)
