-- Scripts that do what they should not: callbacks that fail, close, nest and yield, coroutines that are
-- not there any more, handles that are none, tables taken apart. The interpreter lives on.

local folder = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path
local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")
local loop = require("rovk_loop")
local unit = require("rovk_unit")

local SELF = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS
local add = rovk.rovktrans_unittest_ffff_add_one
local add_async = rovk.rovktrans_unittest_ffff_add_one_async_lua
local listen = rovk.rovktrans_button_0002_state_change_register_callback_lua
local forget = rovk.rovktrans_button_0002_state_change_unregister_callback_lua

local BUTTON

local function open(options)
  local context = helper.open("sim?clock=virtual" .. (options or ""))
  BUTTON = helper.addresses(context).button_0002
  return context
end

describe("a script", function()
  helper.watch(before_each, after_each)

  it("may fail in a callback in any way", function()
    local context = open()
    local function overflow()
      return 1 + overflow()
    end
    local failures = {
      function() error("text") end, function() error() end, function() error({}) end,
      function() error(setmetatable({}, { __tostring = error })) end, function() error(rovk.rovk_message()) end,
      function() return nil + 1 end, function() return nil .. nil end, overflow,
      function() rovk.rovktrans_common_echo() end, function() coroutine.yield(1) end,
      function() string.rep("x", -1)() end, function() error(io.stdout) end, function() error(print) end,
    }
    for _, failing in ipairs(failures) do
      local after
      assert.are.equal(0, add_async(context, SELF, failing, 1))
      assert.are.equal(0, add_async(context, SELF, function(value) after = value end, 5))
      local handle = listen(context, BUTTON, failing)
      unit.press(context, 0)
      unit.release(context, 0)
      helper.deliver(context, 100)
      assert.are.equal(6, after)
      assert.are.equal(0, forget(context, BUTTON, handle))
    end
  end)

  it("may unsubscribe and subscribe from inside", function()
    local context = open()
    local log, handles = {}, {}
    handles.own = listen(context, BUTTON, function()
      log[#log + 1] = "own"
      log[#log + 1] = forget(context, BUTTON, handles.own)
      collectgarbage()
    end)
    handles.victim = listen(context, BUTTON, function() log[#log + 1] = "victim" end)
    handles.other = listen(context, BUTTON, function()
      log[#log + 1] = "other"
      if handles.victim then
        log[#log + 1] = forget(context, BUTTON, handles.victim)
        handles.victim = nil
        handles.late = listen(context, BUTTON, function() log[#log + 1] = "late" end)
      end
    end)
    unit.press(context, 0)
    helper.deliver(context, 10)
    assert.are.same({ "own", 0 }, { log[1], log[2] })
    helper.refused(forget, context, BUTTON, handles.own)
    log = {}
    unit.release(context, 0)
    helper.deliver(context, 10)
    table.sort(log)
    assert.are.same({ "late", "other" }, log)
    assert.are.equal(0, forget(context, BUTTON, handles.other))
    assert.are.equal(0, forget(context, BUTTON, handles.late))
  end)

  it("may close the context from inside a callback", function()
    for _, from in ipairs { "command", "event", "deinit", "blocking" } do
      local context = open("&latency_ms=10")
      local log = {}
      local handle, again
      local function closing()
        log[#log + 1] = "closing"
        local status = helper.close(context) -- ends the others
        log[#log + 1] = status
        if handle then
          forget(context, BUTTON, handle)
          handle = nil
        end
        again = rovk.rovktrans_deinit(context)
      end
      local function pending(value, errors)
        log[#log + 1] = ("%d %d"):format(value, errors.error_id)
      end
      if from == "event" then
        handle = listen(context, BUTTON, closing)
        unit.press(context, 0)
      else
        assert.are.equal(0, add_async(context, SELF, closing, 1))
      end
      for value = 1, 3 do
        assert.are.equal(0, add_async(context, SELF, pending, value))
      end
      if from == "deinit" then
        helper.close(context)
      elseif from == "blocking" then
        local status = rovk.rovktrans_unittest_ffff_add_two(context, SELF, 1)
        assert.are_not.equal(-1, status)
      else
        loop.dispatch(context, 1000)
      end
      assert.are.equal("closing", log[1])
      local ended = 0
      for _, entry in ipairs(log) do
        ended = ended + (tostring(entry):match("^%d %d$") and 1 or 0)
      end
      assert.are.equal(3, ended, from)
      assert.is_true(again < -1, from) -- not a context any more, or one that is being closed
      assert.are.same({ n = 3, -22, { error_id = 0 }, 0 }, helper.pack(add(context, SELF, 1)))
    end
  end)

  it("may nest blocking commands in callbacks, until there is no room for more", function()
    local context = open("&latency_ms=1")
    local depth, deepest = 0, 0
    local function nest(value, errors)
      assert(errors.error_id == 0)
      depth = depth + 1
      deepest = math.max(deepest, depth)
      if value < 30 then
        assert(add_async(context, SELF, nest, value) == 0)
        assert(add(context, SELF, 1) == 0)
      end
      depth = depth - 1
    end
    assert.are.equal(0, add_async(context, SELF, nest, 0))
    helper.deliver(context, 1000)
    assert.are.equal(30, deepest)
    local calls = 0
    local function endless()
      calls = calls + 1
      if calls < 1000 then
        add_async(context, SELF, endless, 0)
        add(context, SELF, 1)
      end
    end
    assert.are.equal(0, add_async(context, SELF, endless, 0))
    helper.deliver(context, 10000)
    assert.is_true(calls > 30)
    assert.are.same({ 0, 8 }, { (add(context, SELF, 7)), (select(3, add(context, SELF, 7))) })
  end)

  it("may run callbacks on coroutines of every state", function()
    local context = open()
    local got = {}
    local function keep(name)
      return function(...)
        got[name] = helper.pack(...)
      end
    end
    local suspended = coroutine.create(function()
      assert(add_async(context, SELF, keep("suspended"), 1) == 0)
      coroutine.yield()
      return "resumed"
    end)
    assert.is_true(coroutine.resume(suspended))
    local dead = coroutine.create(function() assert(add_async(context, SELF, keep("dead"), 2) == 0) end)
    assert.is_true(coroutine.resume(dead))
    coroutine.wrap(function() assert(add_async(context, SELF, keep("collected"), 3) == 0) end)()
    local failed = coroutine.create(function()
      assert(add_async(context, SELF, keep("failed"), 4) == 0)
      error("over")
    end)
    assert.is_false((coroutine.resume(failed)))
    local running = coroutine.create(function()
      assert(add_async(context, SELF, keep("running"), 5) == 0)
      assert(add_async(context, SELF, function() coroutine.yield("inside") end, 6) == 0)
      helper.deliver(context, 10)
      coroutine.yield("mine")
      return "done"
    end)
    collectgarbage()
    collectgarbage()
    assert.are.same({ true, "mine" }, { coroutine.resume(running) })
    for value, name in ipairs { "suspended", "dead", "collected", "failed", "running" } do
      assert.are.same({ n = 2, value + 1, { error_id = 0 } }, got[name], name)
    end
    assert.are.same({ true, "resumed" }, { coroutine.resume(suspended) })
    assert.are.same({ true, "done" }, { coroutine.resume(running) })
    assert.are.same({ "dead", "dead" }, { coroutine.status(suspended), coroutine.status(running) })

    -- A normal coroutine: it waits for the one that delivers.
    local outer = coroutine.wrap(function()
      assert(add_async(context, SELF, keep("normal"), 7) == 0)
      coroutine.wrap(function() helper.deliver(context, 10) end)()
      return got.normal
    end)
    assert.are.same({ n = 2, 8, { error_id = 0 } }, outer())

    -- A subscription made on a coroutine that is gone, one whose functions yield, and the coroutine's end.
    local weak = setmetatable({}, { __mode = "v" })
    local handle, yields
    do
      local thread = coroutine.create(function()
        handle = listen(context, BUTTON, keep("event"))
        yields = listen(context, BUTTON, function() coroutine.yield() end)
        coroutine.yield()
      end)
      assert.is_true(coroutine.resume(thread))
      weak[1] = thread
    end
    collectgarbage()
    for turn = 1, 3 do
      unit.set(context, "button", 0, turn % 2)
      helper.deliver(context, 10)
      assert.are.same({ n = 2, 0, turn % 2 }, got.event)
    end
    assert.are.equal(0, forget(context, BUTTON, handle))
    assert.are.equal(0, forget(context, BUTTON, yields))
    collectgarbage()
    collectgarbage()
    assert.is_nil(weak[1])
  end)

  it("may resume, yield and wait around blocking commands", function()
    local context = open("&latency_ms=5")
    local results = {}
    local threads = {}
    for index = 1, 4 do
      threads[index] = coroutine.create(function()
        local self = coroutine.running()
        assert(add_async(context, SELF, function(value)
          results[index] = value
          assert(coroutine.resume(self)) -- the coroutine waits, this is not on it
        end, index) == 0)
        coroutine.yield()
        results[index] = results[index] * 10 + (select(3, add(context, SELF, index)))
      end)
      assert.is_true(coroutine.resume(threads[index]))
    end
    helper.deliver(context, 1000)
    assert.are.same({ 22, 33, 44, 55 }, results)
    for index = 1, 4 do
      assert.are.equal("dead", coroutine.status(threads[index]))
    end
  end)

  it("may present anything as a handle", function()
    local context, other = open(), open()
    local handle = listen(context, BUTTON, function() end)
    local of_other_event = rovk.rovktrans_switch_0027_state_change_register_callback_lua(context, 0x127, print)
    local internal = rovk.internal_rovktrans_button_0002_state_change_event_callback
    local command = rovk.internal_rovktrans_common_reset_callback
    for _, wrong in ipairs { context, rovk.rovk_version(), rovk.rovk_message().cre.c.payload, io.stdout, newproxy(),
      newproxy(true), probe.light(), rovk.rovk_protocol_version, rovk.rovktrans_find_peripheral(context, 1),
      of_other_event, 1, "x", {}, true, print } do
      helper.refused(forget, context, BUTTON, wrong)
      helper.refused(internal, context, BUTTON, 0, 1, wrong)
      if wrong ~= of_other_event then
        helper.refused(command, context, BUTTON, nil, wrong)
      end
    end
    helper.refused(forget, other, BUTTON, handle) -- or else the library would keep what is freed
    helper.refused(forget, context, BUTTON + 1, handle)
    assert.are.equal(0, forget(context, BUTTON, handle))
    for _, again in ipairs { handle } do
      helper.refused(forget, context, BUTTON, again)
      helper.refused(internal, context, BUTTON, 0, 1, again)
      helper.refused(command, context, BUTTON, nil, again)
    end
    assert.are.equal(0,
      rovk.rovktrans_switch_0027_state_change_unregister_callback_lua(context, 0x127, of_other_event))
    unit.press(context, 0)
    helper.deliver(context, 10)
  end)

  it("may hand a subscription's function to a command's internal callback once", function()
    local context = open()
    local got = {}
    local handle = listen(context, BUTTON, function(...) got[#got + 1] = helper.pack(...) end)
    local record = rovk.rovk_error_common_error()
    record.id, record.error_peripheral_address = 2, 77
    record.data.fault_exists.fault_id = 99
    rovk.internal_rovktrans_common_get_fault_callback(context, 1, record, 5, handle)
    assert.are.same({ { n = 2, 5, { error_id = 2, peripheral_address = 77, fault_id = 99 } } }, got)
    helper.refused(rovk.internal_rovktrans_common_get_fault_callback, context, 1, nil, 5, handle)
    unit.press(context, 0)
    helper.deliver(context, 10)
    assert.are.equal(1, #got)
    assert.are.equal(0, forget(context, BUTTON, handle))
  end)

  it("may take the module's tables apart", function()
    local registry = debug.getregistry()
    local classes, v = registry.SWIG, rovk.rovk_version()
    local meta = getmetatable(v)
    local saved = {}
    for key, value in pairs(meta) do
      saved[key] = value
    end
    local unclassed = {} -- made while there were no classes: nothing would free their records
    for _, garbage in ipairs { 1, "x", type, {}, io.stdout, false } do
      for _, key in ipairs { ".get", ".set", ".fn", ".type", "__getitem", "__setitem" } do
        meta[key] = garbage or nil
        pcall(function() return v.major end)
        pcall(function() v.major = 1 end)
        pcall(function() return v.nothing end)
        pcall(tostring, v)
        meta[key] = saved[key]
      end
      registry.SWIG = garbage or nil
      unclassed[#unclassed + 1] = rovk.rovk_version()
      pcall(function() return unclassed[#unclassed].major end)
      registry.SWIG = classes
    end
    for _, object in ipairs(unclassed) do
      assert.is_nil(getmetatable(object))
      debug.setmetatable(object, meta)
    end
    -- Members that another module brings: native functions, called in the place of an attribute.
    meta[".get"].odd, meta.__getitem, meta.__setitem = swig_type, type, error
    assert.are.same({ "struct rovk_version *|rovk_version *", "userdata" }, { v.odd, v.absent })
    helper.refused(function() v.absent = 5 end)
    meta[".get"].odd, meta.__getitem, meta.__setitem = nil, nil, nil
    local module_meta = getmetatable(rovk)
    local get = module_meta[".get"]
    module_meta[".get"] = 5
    assert.is_nil(rovk.rovk_protocol_version)
    module_meta[".get"] = get
    debug.setmetatable(v, nil)
    assert.are.equal("struct rovk_version *|rovk_version *", swig_type(v))
    debug.setmetatable(v, getmetatable(rovk.rovk_message()))
    helper.refused(function() return v.route end)
    debug.setmetatable(v, meta)
    v.major = 9
    assert.are.equal(9, v.major)
  end)

  it("may end with commands and subscriptions under way", function()
    for _, ending in ipairs { "", "os.exit(0)", "error('at the end')",
      "coroutine.wrap(function() os.exit(0) end)()" } do
      local output, code = helper.process([[
        local rovk = require("rovk_message")
        for _, options in ipairs { "", "&latency_ms=50" } do
          local _, context = rovk.rovktrans_init("sim?clock=virtual" .. options, nil)
          for value = 1, 20 do
            rovk.rovktrans_unittest_ffff_add_one_async_lua(context, 65535, print, value)
          end
          kept = rovk.rovktrans_button_0002_state_change_register_callback_lua(context, 0x102, print)
          require("rovk_unit").press(context, 0)
        end
        parts = rovk.rovk_message().cre.r.pei.ei.payload
        io.write("end")
      ]] .. ending)
      assert.is_not_nil(output:find("end", 1, true))
      assert.are.equal(ending:match("^error") and 1 or 0, code)
    end
  end)

  it("may fill the stack before it calls", function()
    local context = open()
    local function deep(level)
      if level == 0 then
        return (select(3, add(context, SELF, 1)))
      end
      return (deep(level - 1))
    end
    assert.are.equal(2, deep(5000))
    local wide = {}
    for index = 1, 5000 do
      wide[index] = index
    end
    helper.fails("Error in rovktrans_common_nop expected 3..3 args, got 5000", rovk.rovktrans_common_nop, unpack(wide))
    local function filled(...)
      return (select(3, add(context, SELF, 2))), select("#", ...)
    end
    assert.are.same({ 3, 5000 }, { filled(unpack(wide)) })
  end)
end)
