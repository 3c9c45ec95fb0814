-- rovk_loop: when callbacks run, for scripts with a loop of their own.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")
local loop = require("rovk_loop")
local unit = require("rovk_unit")

local SELF = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS

local function ask(context, action)
  assert.are.equal(0, rovk.rovktrans_unittest_ffff_add_one_async_lua(context, SELF, action, 1))
end

describe("the loop", function()
  helper.watch(before_each, after_each)

  it("runs what is due and says how much that was", function()
    local context = helper.open("sim?clock=virtual&latency_ms=20")
    local calls = 0
    local function count()
      calls = calls + 1
    end
    assert.are.equal(0, loop.dispatch(context, 0))
    assert.are.same({ n = 1, 0 }, helper.pack(loop.dispatch(context)))
    for _ = 1, 3 do
      ask(context, count)
    end
    assert.are.equal(0, loop.dispatch(context, 0))
    local start = unit.now(context)
    assert.are.equal(0, loop.dispatch(context, 19))
    assert.are.equal(start + 19, unit.now(context))
    assert.are.equal(3, loop.dispatch(context, 0.25)) -- rounded up; the first ends the wait, all that is due runs
    assert.are.equal(start + 20, unit.now(context))
    ask(context, count)
    assert.are.equal(1, loop.dispatch(context, -1))
    for _, wait in ipairs { loop.run, function() return loop.dispatch(context, -1) end } do
      local ran, why = wait(context)
      assert.are.equal(0, ran)
      assert.matches("nothing can come any more", why)
    end
    assert.are.equal(4, calls)
    assert.are.same({ n = 1, 0 }, helper.pack(loop.dispatch(context, 1e12))) -- longer than the library waits
  end)

  it("has a descriptor that tells when there is something to do", function()
    local context = helper.open("sim?latency_ms=30")
    local fd, calls = loop.fd(context), 0
    assert.are.equal(fd, loop.fd(context))
    assert.is_false(probe.readable(fd, 0))
    ask(context, function() calls = calls + 1 end)
    while calls == 0 do -- a wake-up may come for what runs no callback
      assert.is_true(probe.readable(fd, 5000))
      assert.are.equal("number", type(loop.dispatch(context, 0)))
    end
    assert.is_false(probe.readable(fd, 0))
  end)

  it("runs until it is stopped or its context is closed", function()
    local context = helper.open("sim?latency_ms=5")
    local calls = 0
    local function again()
      calls = calls + 1
      if calls < 5 then
        ask(context, again)
      else
        loop.stop(context)
      end
    end
    loop.stop(context) -- is no matter of a run to come
    ask(context, again)
    assert.are.equal(5, loop.run(context))
    assert.are.equal(5, calls)
    ask(context, function() loop.stop(context) end)
    assert.are.equal(1, loop.run(context))
    local closed
    ask(context, function()
      closed = helper.close(context)
    end)
    assert.are.equal("number", type(loop.run(context)))
    assert.are.equal(0, closed)
    local results = helper.pack(loop.run(context))
    assert.are.same({ n = 3, nil, results[2], -22 }, results)
    assert.are.equal("the context is closed, or not one that rovktrans_init gave", results[2])
  end)

  it("tells one function of errors in callbacks, whatever that function does", function()
    local context, told = helper.open(), {}
    local function failing()
      error("text", 0)
    end
    for _, handler in ipairs { failing, function(...) told = helper.pack(...) end } do
      loop.on_error(handler)
      ask(context, failing)
      assert.are.equal(1, helper.deliver(context))
    end
    assert.are.same({ 2, "text" }, { told.n, told[1] })
    assert.matches("^stack traceback:\n[^\n]*error[^\n]*\n[^\n]*loop_test.lua", told[2])
    loop.on_error(nil)
    ask(context, failing)
    assert.are.equal(1, helper.deliver(context))
    assert.are.same({}, helper.take_errors())
    assert.are.equal("on_error takes a function or nil, not a string", helper.refused(loop.on_error, "x"))
  end)

  it("lets the program that runs scripts end with what went wrong in them", function()
    local fails = "local rovk = require('rovk_message') local _, c = rovk.rovktrans_init('sim', nil) "
      .. 'rovk.rovktrans_common_nop_async_lua(c, 0, function() error("text") end, 0) rovk.rovktrans_deinit(c)'
    for _, case in ipairs {
      { "print(arg[0] == FILE, arg[1], ...)", 0, "^true\tone\tone\ttwo\n$" },
      { 'error("text")', 1, "^rovk: [^\n]*:1: text\nstack traceback:" },
      { "error(setmetatable({}, { __tostring = function() return 'told' end }))", 1, "^rovk: told\n" },
      { "error({})", 1, "^rovk: %(error object is a table value%)\n" },
      { "require('rovk_loop').on_error(nil) " .. fails, 0, "^[^\n]*ignoring and continuing\n*$" },
      { fails .. " print('on')", 1, "rovk: error in a callback: [^\n]*: text\nstack traceback:.*on\n" },
    } do
      local file = os.tmpname()
      local script = assert(io.open(file, "w"))
      script:write((case[1]:gsub("FILE", ("%q"):format(file))))
      script:close()
      local output, code = helper.process(('arg = { %q, "one", "two" } dofile(%q)'):format(file,
        helper.root .. "/programs/run.lua"))
      os.remove(file)
      assert.are.equal(case[2], code)
      assert.matches(case[3], output)
    end
  end)

  it("lets an interrupt end a wait", function()
    for _, wait in ipairs { "dispatch(c, -1)", "dispatch(c, 60000)", "run(c)" } do
      assert.matches("interrupted!", (helper.process("local _, c = require('rovk_message').rovktrans_init('sim', nil) "
        .. "io.popen('sleep 0.1; kill -INT $PPID') require('rovk_loop')." .. wait, "timeout 10")))
    end
  end)

  it("checks what it is given", function()
    local context = helper.open()
    for _, call in ipairs { { loop.dispatch, context, "x" }, { loop.dispatch, context, 0 / 0 },
      { loop.dispatch, {}, 0 }, { loop.fd, 1 },
      { loop.dispatch, io.stdout, 0 }, { loop.fd, rovk.rovk_version() }, { unit.now, newproxy() },
      { unit.now, probe.light() },
      { unit.set, context, "button", -1, 0 }, { unit.set, context, "button", 0.5, 0 }, { unit.set, context, 1 },
      { unit.advance, context, -1 }, { unit.advance, context, 1e12 }, { unit.reset, context, 65536, 0 },
      { unit.fault, context, 0, -1 },
      { unit.spontaneous_error, context, 0, 1, "x" }, { unit.spontaneous_error, context, 0, 1, { 256 } },
      { unit.spontaneous_error, context, 0, 1, { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19 } },
      { unit.disturb, context, "lose", "x" } } do
      helper.refused(unpack(call))
    end
    for _, case in ipairs {
      { "no input 'weather'; there are temperature, ", unit.set, "weather", 0, 1 },
      { "no input 'weather'; there are temperature, ", unit.get, "weather", 0 },
      { "no button 9; there is 0 alone", unit.press, 9 },
      { "no alarm 7; there are 0 to 1", unit.open, 7 },
      { "light cannot be -5; it is 0 or more millilux", unit.set, "light", 0, -5 },
      { "no peripheral at address 30583; ", unit.reset, 0x7777, 0 },
      { "no peripheral at address 30583; ", unit.fault, 0x7777, 1 },
      { "no peripheral at address 30583; ", unit.spontaneous_error, 0x7777, 1 },
      { "no disturbance 'paint'; there are lose, ", unit.disturb, "paint", 1 },
      { "the clock is real; open with sim?clock=virtual", function() return unit.advance(helper.open("sim"), 1) end },
    } do
      local results = helper.pack(case[2](context, unpack(case, 3)))
      assert.are.same({ n = 3, nil, results[2], results[3] }, results)
      assert.are.equal(case[1], results[2]:sub(1, #case[1]))
      assert.is_true(results[3] < 0)
    end
    for value, hand in pairs { [0] = unit.open, [1] = unit.close, [2] = unit.sabotage } do
      assert.is_true(hand(context, 0))
      assert.are.equal(value, unit.get(context, "alarm", 0))
    end
    local start = unit.now(context)
    assert.is_true(unit.disturb(context, "delay", 1, 70))
    assert.are.equal(0, (rovk.rovktrans_common_nop(context, 0, 0)))
    assert.are.equal(start + 70, unit.now(context))
    assert.is_true(unit.set(context, "temperature", 2, -40000))
    assert.are.equal(-40000, unit.get(context, "temperature", 2))
  end)
end)
