-- Runs an example as its reader would, on every shipped unit, and looks for what matters in its output. Where the unit
-- has not what the example asks for, one line has to say so, and nothing more.
--   lua5.1 examples_test.lua INTERPRETER MODULE_FOLDER SOURCE_FOLDER NAME
-- Lines are patterns, found in this order; what stands between them does not matter. One that hangs on a service is a
-- pair of both.
local EXPECTED = {
  tour = {
    "address +0 +router_0000",
    "address +%d+ +led_0001 +API 0%.6 +devices 3",
    "^  %d+ peripherals",
    "is led_0001 LED_FRONT_PANEL_RED %(address %d+, index %d%)",
    "set and read back: on 1 %(on%), duty_cycle_on_ms 200 ms, duty_cycle_off_ms 800 ms",
    "processor %-?%d+%.%d degrees",
    { "supply %d+%.%d%d V", "power_monitor_002e" },
    { "moved to pan_millidegrees %d+", "positioning_002a" },
    "tag %d+ written and read back: hello, unit",
    { "contrast .*current_val %d+.* max_val %d+", "imgctrl_0006" },
    "led_0001.get_state on address %d+: invalid payload, input index",
    "status 8, at the byte 0 of the command, index",
    "reads %d+%.%d degrees", "the LED is on", "reads %d+%.%d degrees",
    "command led_0001.set_state to 7: index 1, on 1",
    "written at priority 5",
  },
  ["plain/tour"] = {
    "address +0 +router_0000",
    "address +%d+ +led_0001 +API 0%.6 +devices 3",
    "^  %d+ peripherals",
    "set and read back: on 1, 200 ms lit, 800 ms dark",
    "processor %-?%d+%.%d degrees",
    { "supply %d+%.%d%d V", "power_monitor_002e" },
    { "moved to pan %d+", "positioning_002a" },
    "tag %d+ written and read back: hello, unit",
    { "contrast %d+, from %-?%d+ to %d+", "imgctrl_0006" },
    "LED 99: status 8",
    "payload_index = 0",
    "read back: index 1, on 1, 500 ms, 500 ms",
    "error id 8 from address 7",
    "written at priority 5",
  },
  catalogue = { "led_0001 +2 commands +0 events",
    "272 commands, 21 events, 35 errors and 1221 fields, of which 1549 are" },
  bad_days = { "^2000 commands met with %d+ mishaps: 1[678]%d%d right, 0 wrong", "^  error 6: %d+ times",
    "^each ended once" },
  led = { "GREEN .*on 1 %(on%), duty_cycle_on_ms 0 ms", "RED .*duty_cycle_on_ms 100 ms, duty_cycle_off_ms 900 ms" },
  tasks = { "no answer within 5 ms", "LED on", "degrees", "LED off", "degrees", "LED on",
    "degrees on average", "^done$" },
  many = { "400 of 400 results in their places", "in less than a second" },
  events = { "button 0 pressed", "button 0 released", "^ALARM_GPIO.*state 1 %(closed%)", "was reset, type 3",
    "waited for:.*pan_movement 1", "and silence" },
  errors = {
    "^led_0001.get_state on address %d+, index 99: invalid payload, input index %(payload offset 0%)",
    "fault exists, fault id 17", "no answer in time", "no answer within 50 ms",
    "errors.lua:%d+: led_0001 has no command 'get_stat'; did you mean 'get_state'%?",
    "no input 'duty_cycle_on'; did you mean 'duty_cycle_on_ms'%?",
    "input duty_cycle_off_ms is missing; it takes on %(0 to 65535%)",
    "input duty_cycle_on_ms: got 70000; allowed is a whole number from 0 to 65535 %(ms%)",
    "got true; .*write 1 for true", "led_0001.get_state is called with a colon",
    "no service 'led'; did you mean 'led_0001'", "no device 'FRONT_PANEL_BLUE'", "no event 'state_change'",
    "unit:sleep: ms: got 'a second'", "taken: .*in a timer\ttrue", "^done$", "the unit is closed",
  },
  eeprom = { "^size 16384 bytes", "0020 %x%x", "partition 0: partition_id", "  tag %d+: %d+ bytes",
    "tag 18193 of partition %d+ now reads: written by an example, longer than one command carries" },
  positioning = { "^pan .*max_position_millidegrees %d+", "half a second on pan +22",
    "at the target +pan +90000, tilt +%-10000",
    "velocity now\tpan_millidegrees_per_second %-10000", "stopped +pan +69980", "soft pan limits\tvalid 1",
    "valid after clearing\t0" },
  poll_loop = { "answer: pressed 0", "event:\tindex 0, pressed 1", "done" },
  luv_loop = { "degrees", "degrees", "button pressed: 1", "done" },
  patrol = { "s  at the gate", "s  at the yard", "s  at the street", "s  at the gate" },
  ["plain/led"] = { "GREEN +on 1, 0 ms lit", "RED +on 1, 0 ms lit", "RED +on 1, 100 ms lit, 900 ms dark" },
  ["plain/errors"] = {
    "a good call +status 0; error_id = 0",
    "no such LED +status 8; error_id = 8, payload_index = 0",
    "nobody at this address +status 5",
    "a faulty peripheral +status 2; error_id = 2, fault_id = 17",
    "an answer got lost +status %-110; error_id = 6, peripheral_address = %d+, type = %d+",
    "^Error in rovktrans_led_0001_get_state expected 3%.%.3 args, got 2",
    "^Error in rovktrans_led_0001_get_state %(arg 3%), expected 'uint8_t' got 'string'",
    "^number must not be negative",
    "a closed context +status %-22",
  },
  ["plain/eeprom"] = { "%d+ bytes, beginning with", "0020 %x%x", "partition 0: type", "  tag %d+: %d+ bytes",
    "tag 18193 of partition %d+ now reads: written by an example, longer than one command carries" },
  snapshot = { "day%-1x.png: 3110400 bytes of 1920 x 1080 pixels", "day%-5x.png", "night%-1x.png", "night%-5x.png",
    "a name that leaves the folder: 403" },
  message = {
    "type 1, opcode 33",
    "its fields:\t1\t1\t200\t800",
    "seen as response and event:\t5\t5",
    "status and values\t0\t1\t200\t800",
    "refusal: error id 2 from address 0x0101",
    "has the status\t2",
    "fault\t17",
    "pressed\t0\t1",
    "record:\t3\t0\t1\t0",
  },
  ["plain/positioning"] = {
    "pan +from 0 to %d+",
    "half a second on +pan +225%d%d",
    "at the target +pan +90000, tilt +%-10000 millidegrees, zoom +50 deciX",
    "velocity now\t%-10000\t0\t0",
    "stopped +pan +69%d%d%d",
    "soft pan limits\t1\t60000\t80000\t1000\t20000",
    "valid after clearing\t0",
  },
  logging = { "four lines logged" },
  ["plain/events"] = {
    "button 0 pressed",
    "button 0 released",
    "alarm contact 0 closed",
    "peripheral was reset, type 3",
    "head 0 movement: pan [1-9]",
    "and silence",
  },
  ["plain/many"] = { "400 commands in flight", "400 of 400 results in their places" },
  ["plain/coroutines"] = { "LED on", "degrees", "LED off", "degrees", "LED on", "degrees", "both done" },
  ["plain/poll_loop"] = { "event: button 0, pressed 1", "answer: pressed", "done" },
  ["plain/luv_loop"] = { "^[1-9].*degrees", "degrees", "button pressed: 1", "no reading, error 6", "done" },
}

-- Whatever it misses, it goes on with the rest.
local GOES_ON = { tour = true, ["plain/tour"] = true }

local interpreter, modules, folder, name = ...
local example = ("%s/examples/%s.lua"):format(folder, name)
local expected = assert(EXPECTED[name], "no expectations for " .. name .. ": add them to " .. arg[0])
package.cpath, package.path = modules .. "/?.so;" .. package.cpath, modules .. "/?.lua;" .. package.path
local rovk = require "rovk_message"

-- The services that an example asks for with their devices, in the order of its text.
local function asked_for()
  local file = assert(io.open(example))
  local text, list = file:read("*a"), {}
  file:close()
  local function add(place, service, device)
    list[#list + 1] = { place = place, service = service:lower(), device = device }
  end
  for _, call in ipairs { "need%(", "find%(", "find%(context, " } do
    text:gsub("()" .. call .. '"([%l_]+_%x%x%x%x)", "([%u%d_]+)"', add)
  end
  text:gsub("()ROVK_([%u_]+_%x%x%x%x)_PERIPHERAL_ID,%s*rovk%.ROVK_PERIPHERAL_DEVICE_ID_([%u%d_]+)", add)
  for _, call in ipairs { "need", "find" } do
    text:gsub("()" .. call .. '%("([%l_]+_%x%x%x%x)"%)', function(place, service)
      add(place, service, "NONE")
    end)
  end
  table.sort(list, function(one, other)
    return one.place < other.place
  end)
  return list
end

-- Of these the ones that the unit has not.
local function missing_on(text)
  local status, context = rovk.rovktrans_init(text, nil)
  assert(status == 0)
  local list = {}
  for _, wanted in ipairs(asked_for()) do
    local id = assert(rovk["ROVK_" .. wanted.service:upper() .. "_PERIPHERAL_ID"], wanted.service)
    local device = assert(rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. wanted.device], wanted.device)
    if not rovk.rovktrans_find_device(context, id, device) then
      list[#list + 1], list[wanted.service] = wanted, true
    end
  end
  rovk.rovktrans_deinit(context)
  return list
end

local function run(text)
  local runner = text and ("%s/programs/run.lua --unit '%s'"):format(folder, text) or ""
  local command = "LUA_CPATH='%s/?.so;;' LUA_PATH='%s/?.lua;;' %s %s %s 2>&1; echo exit code $?"
  local pipe, lines = io.popen(command:format(modules, modules, interpreter, runner, example)), {}
  for line in pipe:lines() do
    lines[#lines + 1] = line
  end
  pipe:close()
  return lines
end

local function check(text)
  local missing, lines = missing_on(text), run(text)
  local function stop(message)
    io.stderr:write(message, " on ", text or "sim", "; the output was:\n", table.concat(lines, "\n"), "\n")
    os.exit(1)
  end
  local at = 1
  local function find(pattern, plain)
    while lines[at] and not lines[at]:find(pattern, 1, plain) do
      at = at + 1
    end
    if not lines[at] then
      stop("not found, or not in its place: " .. pattern)
    end
    at = at + 1
  end
  if #missing > 0 and not GOES_ON[name] then
    local line, first = table.remove(lines, #lines - 1) or "", missing[1]
    if not (line:find(first.service, 1, true) and line:find(first.device == "NONE" and "" or first.device, 1, true))
      or table.concat(lines):find("traceback") or lines[#lines] ~= "exit code 1" then
      lines[#lines + 1] = line
      stop(("no line that says %s %s is missing"):format(first.service, first.device))
    end
    return first.service .. " named as missing"
  end
  for _, pattern in ipairs(expected) do
    local service = type(pattern) == "table" and pattern[2]
    if service and missing[service] then
      find(service .. " ", true)
    else
      find(service and pattern[1] or pattern)
    end
  end
  if lines[#lines] ~= "exit code 0" then
    stop("the example failed")
  end
  return #expected .. " lines found"
end

print("by itself: " .. check(nil))
for _, profile in ipairs { "older", "newer", "thermal", "four_imagers" } do
  print(profile .. ": " .. check("sim?profile=" .. profile))
end
