-- Scripts that do what they should not: callbacks that fail, close, nest and yield, coroutines that are
-- not there any more, handles that are none, tables taken apart. The interpreter lives on.

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
      function() rovk.rovktrans_common_echo() end, function() coroutine.yield(1) end, function() error(print) end,
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
    -- Each has failed three times and was told of with its place, but for the one whose text fails as well.
    local errors = helper.take_errors()
    assert.are.equal(3 * (#failures - 1), #errors)
    assert.matches("^[^\n]*hostile_test.lua:%d+: text\nstack traceback:.*hostile_test.lua", errors[1])
  end)

  it("may unsubscribe and subscribe from inside", function()
    local context = open()
    local log, handles = {}, {}
    local function keep(name)
      return function() log[#log + 1] = name end
    end
    handles.own = listen(context, BUTTON, function()
      log[#log + 1] = "own"
      log[#log + 1] = forget(context, BUTTON, handles.own)
      collectgarbage()
    end)
    handles.victim = listen(context, BUTTON, keep("victim"))
    handles.other = listen(context, BUTTON, function()
      log[#log + 1] = "other"
      if not handles.late then
        log[#log + 1] = forget(context, BUTTON, handles.victim)
        handles.late = listen(context, BUTTON, keep("late"))
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
        assert.are_not.equal(-1, (rovk.rovktrans_unittest_ffff_add_two(context, SELF, 1)))
      else
        loop.dispatch(context, 1000)
      end
      assert.are.equal("closing", log[1])
      assert.are.equal(3, select(2, table.concat(log, "\n"):gsub("%d %d", "")), from)
      assert.is_true(again < -1, from) -- not a context any more, or one that is being closed
      assert.are.same({ n = 3, -22, { error_id = 0 }, 0 }, helper.pack(add(context, SELF, 1)))
    end
  end)

  it("may issue a blocking command in each of many callbacks, which run one by one, in order", function()
    local context = open("&latency_ms=1&timeout_ms=100000")
    local total, ran, inside = helper.aggressive and 200 or 20000, 0, false
    local function ask(value, errors)
      assert(not inside and errors.error_id == 0 and value == (ran + 1) % 256)
      inside, ran = true, ran + 1
      local status, _, answer = add(context, SELF, 7)
      assert(status == 0 and answer == 8)
      local count, why, refusal = loop.dispatch(context, 0)
      assert(not count and why:match("a callback is running") and refusal == -16)
      inside = false
    end
    for value = 0, total - 1 do
      assert.are.equal(0, add_async(context, SELF, ask, value))
    end
    assert.are.equal(0, (add(context, SELF, 7))) -- runs those that come before its own answer
    repeat until loop.dispatch(context, 1000) == 0
    assert.are.equal(total, ran)
  end)

  it("may run callbacks on coroutines of every state", function()
    local context = open()
    local got, threads = {}, {}
    local function keep(name)
      return function(...)
        got[name] = helper.pack(...)
      end
    end
    for value, case in ipairs {
      { "suspended", function() coroutine.yield() return "resumed" end }, { "dead", function() end },
      { "failed", function() error("over") end },
      { "running", function()
        assert(add_async(context, SELF, function() coroutine.yield("inside") end, 6) == 0)
        helper.deliver(context, 10)
        coroutine.yield("mine")
        return "done"
      end },
    } do
      threads[case[1]] = coroutine.create(function()
        assert(add_async(context, SELF, keep(case[1]), value) == 0)
        return case[2]()
      end)
      if case[1] == "running" then
        coroutine.wrap(function() assert(add_async(context, SELF, keep("collected"), value + 1) == 0) end)()
        collectgarbage()
        collectgarbage()
      end
      local ok, result = coroutine.resume(threads[case[1]])
      assert.are.same({ case[1] ~= "failed", case[1] == "running" and "mine" or nil }, { ok, ok and result or nil })
    end
    for value, name in ipairs { "suspended", "dead", "failed", "running", "collected" } do
      assert.are.same({ n = 2, value + 1, { error_id = 0 } }, got[name], name)
    end
    assert.are.same({ true, "resumed" }, { coroutine.resume(threads.suspended) })
    assert.are.same({ true, "done" }, { coroutine.resume(threads.running) })

    -- A normal coroutine: it waits for the one that delivers.
    coroutine.wrap(function()
      assert(add_async(context, SELF, keep("normal"), 7) == 0)
      coroutine.wrap(function() helper.deliver(context, 10) end)()
    end)()
    assert.are.same({ n = 2, 8, { error_id = 0 } }, got.normal)

    -- Subscriptions of a coroutine, one whose function yields, keep the coroutine until they are gone.
    local weak, handles = setmetatable({}, { __mode = "v" }), {}
    weak[1] = coroutine.create(function()
      handles[1] = listen(context, BUTTON, keep("event"))
      handles[2] = listen(context, BUTTON, function() coroutine.yield() end)
      coroutine.yield()
    end)
    assert.is_true(coroutine.resume(weak[1]))
    collectgarbage()
    for turn = 1, 3 do
      unit.set(context, "button", 0, turn % 2)
      helper.deliver(context, 10)
      assert.are.same({ n = 2, 0, turn % 2 }, got.event)
    end
    for _, handle in ipairs(handles) do
      assert.are.equal(0, forget(context, BUTTON, handle))
    end
    collectgarbage()
    collectgarbage()
    assert.is_nil(weak[1])
    assert.are.equal(1 + 3, #helper.take_errors()) -- where a callback cannot yield
  end)

  it("may resume, yield and wait around blocking commands", function()
    local context = open("&latency_ms=5")
    local results, threads = {}, {}
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
      probe.light(), rovk.rovktrans_find_peripheral(context, 1), of_other_event, 1, {}, print } do
      helper.refused(forget, context, BUTTON, wrong)
      helper.refused(internal, context, BUTTON, 0, 1, wrong)
      if wrong ~= of_other_event then
        helper.refused(command, context, BUTTON, nil, wrong)
      end
    end
    helper.refused(forget, other, BUTTON, handle) -- or else the library would keep what is freed
    helper.refused(forget, context, BUTTON + 1, handle)
    assert.are.equal(0, forget(context, BUTTON, handle))
    helper.refused(forget, context, BUTTON, handle)
    helper.refused(internal, context, BUTTON, 0, 1, handle)
    helper.refused(command, context, BUTTON, nil, handle)
    assert.are.equal(0,
      rovk.rovktrans_switch_0027_state_change_unregister_callback_lua(context, 0x127, of_other_event))
    unit.press(context, 0)
    helper.deliver(context, 10)
  end)

  it("may take the module's tables apart", function()
    local registry = debug.getregistry()
    local classes, v = registry.SWIG, rovk.rovk_version()
    local meta = getmetatable(v)
    local unclassed = {} -- made while there were no classes: nothing would free their records
    for _, garbage in ipairs { 1, "x", type, {}, io.stdout, false } do
      for _, key in ipairs { ".get", ".set", ".fn", ".type", "__getitem", "__setitem" } do
        local saved = meta[key]
        meta[key] = garbage or nil
        pcall(function() return v.major end)
        pcall(function() return v.nothing end)
        pcall(function() v.major = 1 end)
        pcall(tostring, v)
        meta[key] = saved
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
    helper.refused(rovk.rovktrans_common_nop, unpack(wide))
    local function filled(...)
      return (select(3, add(context, SELF, 2))), select("#", ...)
    end
    assert.are.same({ 3, 5000 }, { filled(unpack(wide)) })
  end)
end)
