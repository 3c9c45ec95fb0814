-- The companion: what a script can do with it, what it refuses, and what tasks do when things go wrong.

local helper = require("helper")
local plain = require("rovk_message")
local hand = require("rovk_unit")
local rovk = require("rovk")

local RED = "LED_FRONT_PANEL_RED"

-- A table without its metatable, which refuses unknown names.
local function bare(record)
  local copy = {}
  for key, value in pairs(record) do
    copy[key] = value
  end
  return copy
end

describe("the companion", function()
  local unit, led, opened

  local function open(text, options)
    local another = rovk.open(text or "sim?clock=virtual", options)
    opened[#opened + 1] = another
    return another
  end

  before_each(function()
    opened = {}
    unit = open()
    led = unit:device("led_0001", RED)
  end)
  after_each(function()
    for _, each in ipairs(opened) do
      each:close()
    end
  end)
  helper.watch(before_each, after_each)

  -- `action` raised a text that begins with this file and line, and contains the words.
  local function check_mistake(words, action, ok, message)
    assert.is_false(ok)
    assert.is_string(message)
    local line = debug.getinfo(action, "S").linedefined
    assert.is_truthy(message:find(("rovk_test.lua:%d: "):format(line), 1, true), message)
    assert.is_truthy(message:find(words, 1, true), message)
  end

  local function mistake(words, action)
    check_mistake(words, action, pcall(action))
  end

  -- In a task, where commands take another way, as well.
  local function refused(words, action)
    mistake(words, action)
    unit:spawn(action)
    check_mistake(words, action, pcall(unit.run, unit))
  end

  it("finds devices and peripherals by name, number and place", function()
    assert.are.equal("led_0001 LED_FRONT_PANEL_RED (address 257, index 1)", tostring(led))
    assert.are.equal(RED, unit:device(1, "ROVK_PERIPHERAL_DEVICE_ID_" .. RED).name)
    assert.are.equal(led.index, unit:device("led_0001", 2).index)
    local names = {}
    for place, device in ipairs(unit:devices "led_0001") do
      names[place] = device.name
    end
    assert.are.same({ "LED_FRONT_PANEL_GREEN", RED, "LED_ETHERNET_ENABLE" }, names)
    assert.are.equal(0, unit:peripheral("router_0000").address)
    local peripherals, count = unit:peripherals(), 0
    for _, peripheral in ipairs(peripherals) do
      count = count + peripheral.device_count
    end
    assert.are.same({ 55, count }, { #peripherals, #unit:devices() })
    local boards = unit:peripherals "eeprom_partition_table_0013"
    assert.is_true(#boards > 1 and boards[1].address ~= boards[2].address)
    assert.are.equal(boards[2].address, unit:peripheral("eeprom_partition_table_0013", boards[2].location).address)
    -- On a peripheral the index is an input like any other.
    assert.are.equal(0, unit:peripheral("led_0001"):get_state({ index = 1 }).on)
    assert.are.same({ nil, true }, { unit:try_device("led_0001", "BUTTON_RESET"),
      rovk.is_error(select(2, unit:try_device("led_0001", "BUTTON_RESET")), "missing") })
  end)

  it("takes inputs by name and by position, gives values by name and by position", function()
    local function take()
      assert.is_true(led:set_state { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 })
      local values = { on = 1, duty_cycle_on_ms = 200, duty_cycle_off_ms = 800 }
      assert.are.same(values, bare(led:get_state()))
      assert.are.same(values, bare(led:try_get_state {}))
      assert.is_true(led:set_state("on", 500, 0)) -- a value by the name that the catalogue has for it
      assert.are.same({ n = 3, 1, 500, 0 }, helper.pack(led:with({ positional = true }):get_state()))
      local bytes = led:echo("abc").payload_out
      assert.are.same({ 22, 97, 99, 0 }, { #bytes, bytes[1], bytes[3], bytes[4] })
      assert.are.equal(255, led:echo({ 255, 0 }).payload_out[1])
      assert.are.equal(7, led:echo({ payload_in = { 7 } }).payload_out[1])
      assert.are.equal("on 1 (on), duty_cycle_on_ms 500 ms, duty_cycle_off_ms 0 ms", tostring(led:get_state()))
    end
    take()
    unit:spawn(take)
    assert.are.equal("done", unit:run())
  end)

  it("refuses every mistake at the caller's line and sends nothing", function()
    led:set_state(1, 2, 3)
    local moved = 0
    local red = unit:peripheral "led_0001"
    refused("no command 'set_stat'; did you mean 'set_state'?", function() led:set_stat() end)
    refused("no input 'on_ms'; did you mean 'duty_cycle_on_ms'?", function() led:set_state { on = 0, on_ms = 1 } end)
    local all = { on = 0, duty_cycle_on_ms = 0, duty_cycle_off_ms = 0, more = 1 }
    refused("no input 'more'", function() led:set_state(all) end)
    refused("input index: a device brings its own", function() led:get_state { index = 1 } end)
    refused("input on is missing", function() led:set_state { duty_cycle_on_ms = 0, duty_cycle_off_ms = 0 } end)
    refused("input index: got 256; allowed is a whole number from 0 to 255", function() red:get_state(256) end)
    for _, value in ipairs { -1, 65536, 0.5, 0 / 0, 1 / 0, "7", true, {} } do
      refused("set_state: input duty_cycle_on_ms: got ", function() led:set_state(0, value, 0) end)
    end
    refused("input on: got 'onn' (a string); allowed is a whole number from 0 to 65535, or one of off, on",
      function() led:set_state("onn", 0, 0) end)
    refused("got 2 inputs; it takes on (0 to 65535), ", function() led:set_state(0, 0) end)
    refused("got 1 input; it takes no inputs", function() led:get_state(1) end)
    refused("is called with a colon", function() led.get_state() end)
    refused("is called with a colon", function() led.get_state(unit:device("button_0002", "BUTTON_RESET")) end)
    refused("got 256 at place 2; allowed is a text or a list of at most 22 bytes", function() led:echo { 1, 256 } end)
    refused("got 23 bytes", function() led:echo(("x"):rep(23)) end)
    refused("no service 'led_01'; did you mean 'led_0001'?", function() unit:device("led_01", RED) end)
    refused("no device 'LED_RED'", function() unit:device("led_0001", "LED_RED") end)
    refused("unit:device: led_0001 has 3 devices; name one of LED_", function() unit:device "led_0001" end)
    assert.are.equal("heater_000a", unit:device("heater_000a").service)
    refused("led_0001 has no device BUTTON_RESET on this unit; it has LED_FRONT_PANEL_GREEN, ",
      function() unit:device("led_0001", "BUTTON_RESET") end)
    refused("no board 'IMAGER_9_BOARD'; did you mean", function() unit:peripheral("led_0001", "IMAGER_9_BOARD") end)
    refused("address: got 65536", function() unit:device_at("led_0001", 65536, 0) end)
    refused("no event 'reset'; did you mean 'reset_occurred'?", function() led:on("reset", print) end)
    refused("there is no event 'nothing'", function() unit:wait("nothing") end)
    refused("write button_0002.state_change", function() unit:wait("state_change") end)
    refused("gives no value 'duty'; did you mean", function() moved = led:get_state().duty end)
    refused("has no option 'timeout'; did you mean 'timeout_ms'?", function() led:with { timeout = 1 } end)
    refused("ms: got -1; allowed is a number of milliseconds", function() unit:sleep(-1) end)
    refused("unit:every: ms: got 0", function() unit:every(0, print) end)
    refused("unit:spawn: got 1; allowed is a function", function() unit:spawn(1) end)
    refused("unit:all: got 'x' (a string) under 1", function() unit:all { "x" } end)
    refused("rovk has no 'opn'; did you mean 'open'?", function() moved = rovk.opn end)
    refused("rovk.open: got a table", function() rovk.open {} end)
    refused("rovk.attach: got 5", function() rovk.attach(5) end)
    assert.are.same({ 0, 1 }, { moved, led:get_state().on })
  end)

  it("says what failed in an error object", function()
    local ok, err = pcall(led.get_state, unit:device_at("led_0001", 257, 9))
    assert.are.equal(false, ok)
    assert.are.equal("led_0001.get_state on address 257, index 9: invalid payload, input index (payload offset 0)",
      tostring(err))
    assert.are.same({ 8, 8, "invalid_payload", "index", "led_0001", "get_state", 257, 9 }, { err.status, err.error_id,
      err.error, err.detail.input, err.service, err.command, err.address, err.index })
    assert.is_truthy(err.where == "" or err.where:match("rovk_test.lua:%d+: "))
    hand.fault(unit.context, led.address, 17)
    assert.are.equal("led_0001.get_state on LED_FRONT_PANEL_RED (address 257, index 1): fault exists, fault id 17",
      tostring(select(2, led:try_get_state())))
    led:clear_fault()
    hand.disturb(unit.context, "lose", 1)
    local _, late = led:try_get_state()
    assert.are.same({ -110, "communication_failure" }, { late.status, late.error })
    -- The numbers of a service's own errors begin at 32 in each of them.
    local _, none = unit:peripheral("eeprom_partition_table_0013"):try_get_partition_info(200)
    assert.are.equal(plain["ROVK_EEPROM_PARTITION_TABLE_0013_ERROR_" .. none.error:upper()]
      or plain["ROVK_COMMON_ERROR_" .. none.error:upper()], none.status)
    local nowhere, why = rovk.try_open "nowhere"
    assert.are.same({ nil, true }, { nowhere, rovk.is_error(why, "failed") })
  end)

  it("lets tasks wait side by side, on the unit's clock", function()
    local slow = open "sim?clock=virtual&latency_ms=20&processing_ms=0"
    local light = slow:device("led_0001", RED)
    local order, start = {}, slow:now()
    for number = 1, 50 do
      slow:spawn(function(given)
        light:set_state(number % 2, 0, number)
        slow:sleep(10 * (number % 3))
        order[#order + 1] = given
      end, number)
    end
    assert.are.equal("done", slow:run())
    assert.are.equal(50, #order)
    assert.are.same({ 3, 1, 2 }, { order[1], order[17], order[34] })
    assert.is_true(slow:now() - start < 60)
    local results = slow:all({ state = function() return light:get_state() end,
      nap = slow:spawn(function() slow:sleep(5) return "slept" end) }, 1000)
    assert.are.same({ 50, "slept" }, { results.state.duty_cycle_off_ms, results.nap })
    local task = slow:spawn(function() return 1, nil, nil end)
    assert.are.same({ n = 3, 1 }, helper.pack(task:wait()))
    assert.are.equal("done", task:status())
    assert.is_true(rovk.is_error(select(2, slow:spawn(slow.sleep, slow, 500):wait(10)), "timeout"))
  end)

  it("keeps the beat of timers", function()
    local beats, once = {}, 0
    local timer
    timer = unit:every(100, function()
      beats[#beats + 1] = unit:now()
      unit:sleep(#beats == 2 and 250 or 0) -- the beats meanwhile are left out
      if #beats == 4 then
        timer:cancel()
      end
    end)
    local start = unit:now()
    unit:after(50, function() once = unit:now() - start end)
    local never = unit:after(60, function() once = "never" end)
    assert.is_true(never:cancel())
    assert.is_false(never:cancel())
    assert.are.equal("done", unit:run())
    assert.are.equal(50, once)
    for place, due in ipairs { 100, 200, 500, 600 } do
      assert.are.equal(start + due, beats[place])
    end
  end)

  it("limits commands, waits and groups in time, and cancels tasks", function()
    local slow = open "sim?clock=virtual&latency_ms=20&processing_ms=0"
    local light = slow:device("led_0001", RED)
    local quick = light:with { timeout_ms = 5 }
    local function check()
      local start = slow:now()
      local _, err = quick:try_set_state(1, 0, 0)
      assert.are.same({ -110, 5 }, { err.status, slow:now() - start })
      assert.is_truthy(tostring(err):find("no answer within 5 ms", 1, true))
      start = slow:now()
      light:set_state(1, 0, 0)
      assert.are.equal(20, slow:now() - start) -- the late answer is not taken for this one
      assert.are.equal(1, light:get_state().on)
    end
    check()
    slow:spawn(check):wait()
    local ok, err = pcall(slow.all, slow, { function() slow:sleep(1e6) end }, 50)
    assert.is_true(not ok and rovk.is_error(err, "timeout"))
    local failed
    ok, err = pcall(slow.all, slow, { function() slow:sleep(5) error("first", 0) end,
      function() failed = rovk.pcall(slow.sleep, slow, 1e6) end })
    assert.are.same({ false, "first" }, { ok, err })
    local kind
    local endless = slow:spawn(function()
      local _, value = rovk.pcall(function() while true do light:get_state() end end)
      kind = value.kind
      light:set_state(0, 0, 7) -- what is to be done at the end can be done
    end)
    slow:after(90, function() endless:cancel() end)
    assert.are.equal("done", slow:run())
    local own
    own = slow:spawn(function()
      own:cancel()
      light:set_state(0, 0, 9)
    end)
    assert.are.equal("done", slow:run())
    assert.are.same({ "cancelled", "cancelled", 7, false }, { kind, own:status(), light:get_state().duty_cycle_off_ms,
      failed })
    assert.is_false(endless:cancel())
    local unborn = slow:spawn(function() kind = "born" end)
    unborn:cancel()
    slow:run()
    assert.are.same({ "cancelled", "cancelled" }, { kind, unborn:status() })
  end)

  it("hears events, keeps them, and waits for one", function()
    local button = unit:device("button_0002", "BUTTON_RESET")
    local heard, kept = {}, button:on "state_change"
    local presses = button:on("state_change", function(event, device)
      led:set_state(event.pressed, 0, 0) -- a function of an event is a task
      heard[#heard + 1] = device.name .. event.pressed
    end)
    unit:after(50, function() hand.press(unit.context, button.index) end)
    unit:after(90, function() hand.release(unit.context, button.index) unit:after(50, function() unit:stop() end) end)
    assert.are.equal("stopped", unit:run())
    assert.are.same({ "BUTTON_RESET1", "BUTTON_RESET0" }, heard)
    assert.are.same({ 1, 0 }, { kept:wait(0).pressed, kept:wait(0).pressed })
    assert.is_true(rovk.is_error(select(2, kept:wait(30)), "timeout"))
    mistake("leave the function out", function() presses:wait() end)
    assert.is_true(presses:cancel())
    assert.is_false(presses:cancel())
    unit:after(50, function() hand.press(unit.context, button.index) end)
    assert.are.equal(1, button:wait("state_change", 1000).pressed)
    unit:after(500, function() hand.reset(unit.context, led.address, 3) end)
    local event, from = unit:wait("common.reset_occurred", 5000)
    assert.are.same({ 3, "led_0001" }, { event.type, from.service })
    assert.are.equal(2, #heard)
    -- On a virtual clock a wait for what cannot come ends and says so.
    unit:spawn(function() button:wait("state_change") end)
    assert.are.equal("stalled", unit:run())
  end)

  it("ends run with an error and its traceback, unless on_error takes it", function()
    local function fail()
      return led.missing.field
    end
    for _, start in ipairs { function(action) unit:spawn(action) end, function(action) unit:after(1, action) end,
      function(action)
        led:on("reset_occurred", action)
        hand.reset(unit.context, led.address, 1)
      end } do
      start(function() local result = fail() return result end)
      local ok, message = pcall(unit.run, unit)
      assert.is_false(ok)
      assert.is_truthy(message:match("led_0001 has no command 'missing'.*\nstack traceback:.*rovk_test.lua"), message)
    end
    unit:spawn(function() unit:device_at("led_0001", 257, 9):get_state() end)
    local ok, err = pcall(unit.run, unit)
    assert.is_true(not ok and err.error == "invalid_payload" and err.traceback:find("rovk_test.lua", 1, true) ~= nil)
    local taken = {}
    unit:on_error(function(value, traceback) taken[#taken + 1] = { value, traceback } end)
    unit:spawn(error, "mine", 0)
    unit:after(10, function() unit:stop() end)
    assert.are.equal("stopped", unit:run())
    assert.are.equal("mine", taken[1][1])
    unit:on_error(nil)
    mistake("unit:run inside a task", function() unit:spawn(function() unit:run() end):wait() end)
  end)

  it("waits inside rovk.pcall, and says where it cannot wait", function()
    local results
    unit:spawn(function()
      results = { rovk.pcall(function(...)
        return rovk.pcall(function(...)
          unit:sleep(5)
          led:get_state()
          return ...
        end, ...)
      end, 1, nil, 3) }
      -- Plain Lua 5.1 cannot leave pcall: a command blocks there, and any other wait is refused.
      assert(pcall(led.get_state, led))
      local ok, message = pcall(unit.sleep, unit, 1)
      assert(ok == helper.luajit and (ok or message:find("use rovk.pcall", 1, true)))
      local inner = coroutine.wrap(function() return led:get_state(), pcall(unit.sleep, unit, 1) end)
      local state, slept = inner()
      assert(state and not slept)
    end)
    assert.are.equal("done", unit:run())
    assert.are.same({ true, true, 1, nil, 3 }, results)
    local refusal
    plain.rovktrans_common_nop_async_lua(unit.context, led.address, function()
      refusal = { pcall(unit.sleep, unit, 1) }
    end, 0)
    unit:sleep(50)
    assert.is_truthy(not refusal[1] and refusal[2]:find("inside a callback of rovk_message", 1, true))
  end)

  it("closes in any state, and more than once", function()
    for _, how in ipairs { "main", "task", "event", "callback" } do
      local one = open "sim?clock=virtual&latency_ms=20"
      local light = one:device("led_0001", RED)
      local ended, went_on = {}, {}
      for _, wait in ipairs { function() while true do light:get_state() end end,
        function() one:sleep(1e6) end, function() light:wait("spontaneous_error") end } do
        one:spawn(function()
          local _, err = rovk.pcall(wait)
          ended[#ended + 1] = err.kind
          light:get_state() -- a task that goes on regardless is dropped here
          went_on[1] = true
        end)
      end
      one:step()
      if how == "main" then
        one:close()
      elseif how == "task" then
        one:spawn(function() one:close() one:close() ended.closer = select(2, pcall(led.get_state, light)).kind end)
      elseif how == "event" then
        light:on("reset_occurred", function() one:close() end)
        hand.reset(one.context, light.address, 1)
      else
        plain.rovktrans_common_nop_async_lua(one.context, light.address, function() one:close() end, 0)
      end
      if how ~= "main" then
        assert.are.equal("closed", one:run())
      end
      one:close()
      assert.are.same({ "closed", "closed", "closed" }, { ended[1], ended[2], ended[3] }, how)
      assert.are.same({ nil, how == "task" and "closed" or nil }, { went_on[1], ended.closer })
      assert.is_truthy(select(2, pcall(light.get_state, light)).kind == "closed")
    end
    local context = helper.open()
    rovk.attach(context):close()
    assert.are.equal(0, (plain.rovktrans_common_nop(context, led.address, 0)))
  end)

  it("fits loops of one's own and runs beside other units", function()
    local real = open "sim?latency_ms=5"
    local light, steps, done = real:device("led_0001", RED), 0, false
    real:spawn(function()
      light:get_state()
      real:sleep(20)
      done = true
    end)
    local probe = require("probe")
    while real:busy() do
      local wait = real:step()
      steps = steps + 1
      if real:busy() then
        probe.readable(real:fd(), wait and math.ceil(wait) or 1000)
      end
    end
    assert.is_true(done and steps < 50)
    unit:spawn(function()
      light:set_state(1, 2, 3)
    end):wait()
    assert.are.same({ 2, 0 }, { light:get_state().duty_cycle_on_ms, led:get_state().duty_cycle_on_ms })
    local counts = { 0, 0 }
    for place, one in ipairs { unit, real } do
      local timer
      timer = one:every(10, function()
        counts[place] = counts[place] + 1
        if counts[place] == 3 then timer:cancel() end
      end)
    end
    rovk.run(unit, real)
    assert.are.same({ 3, 3 }, counts)
  end)

  it("works without rovk_loop and rovk_unit, as on a unit with libraries of its own", function()
    local text = [[
      package.preload.rovk_loop = function() error("none") end
      package.preload.rovk_unit = package.preload.rovk_loop
      package.preload.rovk_companion = package.preload.rovk_loop
      local rovk = require "rovk"
      local now = 0
      local unit = rovk.open("sim", { clock = function() now = now + 1 return now end, sleep = function() end })
      local led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
      local order = {}
      unit:spawn(function()
        led:set_state(1, 0, 5)
        unit:sleep(40)
        order[#order + 1] = led:get_state().duty_cycle_off_ms
      end)
      unit:spawn(function() unit:sleep(20) order[#order + 1] = #unit:devices "led_0001" end)
      print(unit:run(), order[1], order[2])
      print(pcall(unit.fd, unit))
      local quick = led:with { timeout_ms = 5 }
      print(pcall(quick.get_state, quick))
      unit:close()
    ]]
    local output = helper.process(text)
    assert.is_truthy(output:match("^done\t3\t5\n"), output)
    assert.is_truthy(output:find("no descriptor.*timeout_ms cannot work"), output)
  end)
end)
