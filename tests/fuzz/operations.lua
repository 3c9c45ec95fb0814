-- What a step can be: a list of { weight, function }. Every operation tells of itself before it acts.

local env = ...
local fuzz, random, pick, pool = fuzz, env.random, env.pick, env.pool -- luacheck: globals fuzz
local note, keep, show, value = env.note, env.keep, env.show, env.value
local rovk, loop, unit, companion = env.rovk, env.loop, env.unit, env.companion

-- Nothing runs between finding the end and storing there. In a list's own constructor a finalizer may, which adds
-- to the list or takes from it.
local function append(list, new)
  list[#list + 1] = new
end

-- Calls, and keeps what comes back.
local function call(name, action, count, arguments)
  local shown = {}
  for position = 1, count do
    shown[position] = show(arguments[position])
  end
  note(("%s(%s)"):format(name, table.concat(shown, ", ")))
  local results = { action(unpack(arguments, 1, count)) }
  for position = 1, #results do
    if type(results[position]) == "userdata" then
      keep(results[position])
    end
  end
  return unpack(results, 1, 4)
end

local function draw_arguments(words, from)
  local arguments, count = {}, 0
  for position = from, #words do
    count = count + 1
    arguments[count] = value(words[position])
  end
  if random(40) == 1 then
    count = random(18) - 1
  end
  return count, arguments
end

-- A function of the module table by its place among those that this episode has; `pattern` narrows it.
local function draw_function(pattern)
  for _ = 1, 30 do
    local words = pick(env.functions)
    if not pattern or words[1]:match(pattern) then
      return words
    end
  end
  return pick(env.functions)
end

local function call_function(pattern)
  local words = draw_function(pattern)
  if words[1] == "rovktrans_init" or words[1]:match("register_callback_lua$") then
    return -- by operations of their own, which keep account
  end
  local count, arguments = draw_arguments(words, 2)
  call(words[1], rovk[words[1]], count, arguments)
end

-- Whether something that wants account may be done here. Where memory ends or an error strikes anywhere, its
-- result may be lost; then what the episode leaves says nothing.
local function accountable()
  if env.rough then
    if random(10) > 1 then
      return false
    end
    env.unaccounted = true
  end
  return true
end

-- Contexts -------------------------------------------------------------------------------------------

local TEXTS = {
  "sim?clock=virtual", "sim?clock=virtual", "sim?clock=virtual&latency_ms=5", "sim?clock=virtual&timeout_ms=20",
  "sim?clock=virtual&unit=shared", "sim?clock=virtual&unit=shared", "sim?clock=virtual&profile=older&latency_ms=1",
  "sim?clock=virtual&addresses=shuffled&seed=4",
}

local function open()
  if #env.contexts >= 4 or not accountable() then
    return
  end
  local text = random(10) == 1 and value("t") or pick(TEXTS)
  if type(text) == "string" and text:match("^sim") and not text:match("virtual") then
    return -- a real clock would make runs unlike each other
  elseif text == nil or text == "" then
    return
  end
  local function init(...)
    return fuzz.open(rovk.rovktrans_init, ...)
  end
  local _, context = call("rovktrans_init", init, 2, { text, value("o") })
  if context then
    append(env.contexts, { object = context })
  end
end

local function close()
  if #env.contexts > 0 and (#env.contexts > 2 or random(3) == 1) and accountable() then
    local place = random(#env.contexts)
    local context = env.contexts[place].object
    table.remove(env.contexts, place)
    call("rovktrans_deinit", rovk.rovktrans_deinit, 1, { context })
  end
end

-- Commands, subscriptions ----------------------------------------------------------------------------

local function subscribe()
  if #env.handles > 30 or not accountable() then
    return
  end
  local words = draw_function("_register_callback_lua$")
  local name = words[1]
  if not name:match("_register_callback_lua$") then
    name = "rovktrans_button_0002_state_change_register_callback_lua"
  end
  local arguments = { env.context(), random(4) > 1 and 0x102 or env.number(), env.callback() }
  if random(20) == 1 then
    arguments[random(3)] = env.any()
  end
  local handle = call(name, rovk[name], 3, arguments)
  if handle then
    append(env.handles, { name = name:gsub("_register", "_unregister"), handle = handle, context = arguments[1],
      address = arguments[2] })
  end
end

local function unsubscribe()
  if #env.handles == 0 or not accountable() then
    return
  end
  local place = random(#env.handles)
  local entry = env.handles[place]
  local arguments = { entry.context, entry.address, entry.handle }
  if random(4) == 1 then
    arguments[random(3)] = env.any()
  end
  local status = call(entry.name, rovk[entry.name], 3, arguments)
  if status and arguments[3] == entry.handle then
    for position = #env.handles, 1, -1 do
      if env.handles[position] == entry then
        table.remove(env.handles, position)
      end
    end
  end
end

-- A callback by hand, with the handle of a subscription or what else there is.
local function call_internal()
  local words = draw_function("^internal_")
  if not words[1]:match("^internal_") then
    return -- what keeps account of something may be among the others
  end
  local count, arguments = draw_arguments(words, 2)
  if #env.handles > 0 and random(2) == 1 then
    arguments[count] = pick(env.handles).handle
  end
  call(words[1], rovk[words[1]], count, arguments)
end

-- Objects ----------------------------------------------------------------------------------------------

local attribute_lists = {}

-- The attributes of a class in an order that does not vary, and its metatable.
local function attributes_of(object)
  local meta = debug.getmetatable(object)
  local class = type(meta) == "table" and rawget(meta, ".type")
  local getters = class and rawget(meta, ".get")
  if type(getters) ~= "table" then
    return nil
  end
  if not attribute_lists[class] then
    local list = {}
    for name in pairs(getters) do
      if type(name) == "string" then
        list[#list + 1] = name
      end
    end
    table.sort(list)
    attribute_lists[class] = list
  end
  local list = attribute_lists[class]
  return #list > 0 and list or nil, meta
end

local function draw_object()
  for _ = 1, 10 do
    local object = #pool > 0 and pick(pool)
    if type(object) == "userdata" and attributes_of(object) then
      return object
    end
  end
  return env.object(pick(env.classes))
end

local function make()
  local class = pick(env.classes)
  note("make " .. class)
  keep(env.make(class, random(30) == 1 and 1 or 0))
end

local function read()
  local object = draw_object()
  local list = attributes_of(object)
  local name = list and random(20) > 1 and pick(list) or env.text()
  note(("read %s.%s"):format(show(object), tostring(name)))
  local got = object[name]
  if type(got) == "userdata" then
    keep(got)
    if random(3) == 1 then
      pcall(companion.elements, got)
    end
  end
end

local function write()
  local object = draw_object()
  local list = attributes_of(object)
  local name = list and random(20) > 1 and pick(list) or env.text()
  local now = object[name]
  local new
  if random(8) == 1 then
    new = env.any()
  elseif type(now) == "number" then
    new = env.number()
  elseif type(now) == "string" then
    new = env.text()
  elseif type(now) == "userdata" and random(2) == 1 then
    -- An array or a record of another object, of which some are shorter.
    for _ = 1, 4 do
      local other = draw_object()
      local names = attributes_of(other)
      new = names and other[pick(names)]
      if type(new) == "userdata" and swig_type(new) == swig_type(now) then
        break
      end
    end
  else
    new = draw_object()
  end
  note(("write %s.%s = %s"):format(show(object), tostring(name), show(new)))
  object[name] = new
end

-- An accessor called for what it is not meant for.
local function call_accessor()
  local list, meta = attributes_of(draw_object())
  if not list then
    return
  end
  local field = random(2) == 1 and ".get" or ".set"
  local name = pick(list)
  local action = rawget(meta, field) and rawget(meta, field)[name]
  if type(action) == "function" then
    local target = random(3) > 1 and draw_object() or env.any()
    local count = field == ".get" and 1 or 2
    if random(15) == 1 then
      count = random(5) - 1
    end
    call(field .. " " .. name, action, count, { target, random(2) == 1 and draw_object() or env.any(), 1, 2, 3 })
  end
end

local METAMETHODS = { "__index", "__newindex", "__gc", "__gc", "__tostring", "__disown", "__disown" }

local function call_metamethod()
  local object = draw_object()
  local list, meta = attributes_of(object)
  if not list then
    return
  end
  local name = pick(METAMETHODS)
  local target = random(4) > 1 and draw_object() or env.any()
  if name == "__disown" then
    local action = rawget(meta, ".fn")
    if type(action) == "table" and action.__disown then
      note(("__disown(%s)"):format(show(target)))
      fuzz.disown(action.__disown, target)
    end
    return
  end
  call(name, meta[name], random(4) - 1, { target, random(2) == 1 and pick(list) or env.any(), env.any() })
end

local VARIABLES = { "rovk_protocol_version", "rovk_common_api_version", "rovk_led_0001_api_version" }

local function variable()
  local name = pick(VARIABLES)
  note("variable " .. name)
  if random(2) == 1 then
    keep(rovk[name])
  else
    rovk[name] = value("v")
  end
end

local function module_metamethod()
  local meta = getmetatable(rovk)
  local name = random(2) == 1 and "__index" or "__newindex"
  call("module " .. name, meta[name], random(4) - 1,
    { random(2) == 1 and rovk or env.any(), random(2) == 1 and pick(VARIABLES) or env.text(), env.any() })
  for _, text in ipairs { "", "x", "12", "sim", "major", "route" } do -- what a step may have stored there
    rawset(rovk, text, nil)
  end
end

local function look()
  local one, other = env.any(), env.any()
  note(("look at %s, %s"):format(show(one), show(other)))
  swig_type(one)
  swig_equals(one, other)
  if type(one) == "userdata" then
    tostring(one)
  end
end

-- The unit's side ----------------------------------------------------------------------------------------

local function rule()
  return { on = pick { "command", "answer", "event", 5 }, what = pick { "lose", "delay", "duplicate", "x" },
    by = env.number(), every = env.number(), seed = env.number(), action = pick { "lose", "duplicate", "delay" } }
end

local HANDS = {
  { "dispatch", "o", "n" }, { "fd", "o" }, { "now", "o" }, { "advance", "o", "n" }, { "advance", "o", "n" },
  { "set", "o", "t", "n", "n" }, { "get", "o", "t", "n" }, { "power", "o", "B" }, { "reset", "o", "n", "n" },
  { "fault", "o", "n", "n" }, { "disturb", "o", "t", "n", "n" }, { "disturb", "o", "t", "n" },
  { "spontaneous_error", "o", "n", "n", "b" }, { "elements", "rovk_message" }, { "press", "o", "n" },
  { "release", "o", "n" }, { "open", "o", "n" }, { "close", "o", "n" }, { "sabotage", "o", "n" },
  { "plan", "o", "t" }, { "at", "o", "n", "f" }, { "probe", "o", "t", "n", "n" }, { "report", "o" },
  { "barrier", "f" }, { "set_error_handler", "f" },
}
local WORDS = {
  set = { "temperature", "light", "button", "alarm", "bus_voltage", "motor_blocked", "fan_blocked", "port_taken" },
  disturb = { "lose", "duplicate", "delay", "corrupt", "misdirect" },
  probe = { "light", "focus", "pan", "temperature", "fan_rpm", "rail_microwatts" },
}
WORDS.get = WORDS.set

local function companion_call()
  local words = pick(HANDS)
  local count, arguments = draw_arguments(words, 2)
  if WORDS[words[1]] and random(6) > 1 then
    arguments[2] = pick(WORDS[words[1]])
  end
  if words[1] == "advance" or words[1] == "dispatch" then
    local time = tonumber(arguments[2])
    arguments[2] = time and time <= 1e5 and time or arguments[2] ~= time and arguments[2] or 10
  elseif words[1] == "at" and random(4) > 1 then
    arguments[2] = (companion.now(arguments[1]) or 0) + random(30) - 2
  end
  local action = companion[words[1]]
  if words[1] == "set_error_handler" and env.starves_inside ~= "starves" then
    -- By itself a handler that fails is called again until the C stack ends, and there Lua drops the finalizers that
    -- it begins, with what they would free.
    action = loop.on_error
  end
  call("companion." .. words[1], action, count, arguments)
end

local function deliver()
  local context = env.context()
  note("deliver")
  if context then
    if random(2) == 1 then
      unit.press(context, 0)
      unit.release(context, 0)
    elseif random(6) == 1 then
      unit.plan(context, { rule(), rule() })
    end
    loop.dispatch(context, random(20) - 1)
  end
end

-- What runs aside -----------------------------------------------------------------------------------------

local function thread()
  if #env.threads < 6 or random(3) == 1 then
    note("coroutine")
    env.threads[#env.threads < 6 and #env.threads + 1 or random(6)] = coroutine.create(function()
      for _ = 1, random(4) do
        env.steps(3)
        coroutine.yield()
      end
    end)
  end
  note("resume")
  coroutine.resume(pick(env.threads))
end

-- Finalizers that are under way.
local finalizing = 0

local function finalizer()
  note("finalizer")
  local proxy, steps = newproxy(true), env.steps
  local victim = #pool > 0 and pick(pool) or nil
  getmetatable(proxy).__gc = function()
    note("(finalizer)")
    local meta = type(victim) == "userdata" and getmetatable(victim)
    if type(meta) == "table" and type(meta.__gc) == "function" and random(2) == 1 then
      pcall(meta.__gc, victim)
    end
    finalizing = finalizing + 1
    pcall(steps, 2) -- an error would strike what happens to run
    finalizing = finalizing - 1
  end
  keep(random(2) == 1 and proxy or nil)
end

local function collect()
  note("collect")
  if random(6) == 1 then
    collectgarbage("setpause", random(250) - 1)
    collectgarbage("setstepmul", random(1000))
  else
    local whole = random(3) == 1
    -- LuaJIT frees what is in use, without any module too, when a state that closes in mid-cycle goes on with the
    -- cycle in a finalizer.
    whole = whole or env.jit and finalizing > 0
    collectgarbage(whole and "collect" or "step", random(40))
  end
end

local function forget()
  note("forget")
  for _ = 1, random(20) do
    if #pool > 0 then
      pool[random(#pool)] = pool[#pool]
      pool[#pool] = nil
    end
  end
end

-- Memory that ends after so many more allocations, for the steps inside.
local function starve()
  if not env.starves then
    return
  end
  note("starve")
  local outside = env.rough
  env.rough = true
  fuzz.limit(random(60) - 1)
  env.steps(3)
  fuzz.limit()
  env.rough = outside
end

-- An error from anywhere in the script, such as a time limit of a host would raise.
local function interrupt()
  note("interrupt")
  local outside = env.rough
  env.rough = true
  debug.sethook(function()
    debug.sethook()
    if env.rough then -- or it was left behind in a coroutine
      error("interrupted")
    end
  end, "", random(300))
  env.steps(3)
  debug.sethook()
  env.rough = outside
end

local GARBAGE = {
  function() return nil end, env.number, env.text, function() return {} end, function() return print end,
}

-- Some steps while something is disturbed. A coroutine may come back here when the step is over and everything is
-- mended, or when the state is being closed; what was found here may have been disturbed itself then, and is not to be
-- put back.
local function steps_while(disturb, mend)
  append(env.mends, mend)
  disturb()
  env.steps(3)
  for _, awaited in ipairs(env.mends) do
    if awaited == mend then
      mend()
    end
  end
end

-- Takes a table of the module apart for the steps inside; it is mended when the step is over.
local function sabotage()
  local registry = debug.getregistry()
  local table_of, key = registry, "SWIG"
  if random(3) > 1 then
    local list, meta = attributes_of(draw_object())
    if list then
      table_of, key = meta, pick { ".get", ".set", ".fn", ".type", "__index" }
    end
  elseif random(3) == 1 then
    table_of, key = getmetatable(rovk), pick { ".get", ".set" }
  end
  local saved = rawget(table_of, key)
  note("sabotage " .. key)
  steps_while(function()
    rawset(table_of, key, pick(GARBAGE)())
  end, function()
    rawset(table_of, key, saved)
  end)
end

-- Another metatable for an object, for the steps inside, or none. In a state that is being closed the object may be
-- finalized meanwhile, once and for all, so there it has always one.
local function disguise()
  local object, other = draw_object(), draw_object()
  local own, new = debug.getmetatable(object), debug.getmetatable(other)
  if random(3) == 1 and not fuzz.closing then
    new = nil
  elseif not new then
    return
  end
  note(("disguise %s as %s"):format(show(object), show(other)))
  steps_while(function()
    debug.setmetatable(object, new)
  end, function()
    debug.setmetatable(object, own)
  end)
end

local function child()
  if env.depth < 2 then
    note("a state inside")
    fuzz.episode(env.here .. "/script.lua", env.path, env.cpath, env.here, random(2147483645), 0, random(80),
      env.depth + 1, env.function_lines, env.class_lines, env.starves_inside)
    note("(the state inside is closed)")
  end
end

local function reopen()
  note("open the module again")
  local loaded = package.loaded.rovk_message
  package.loaded.rovk_message = nil
  append(env.mends, function()
    package.loaded.rovk_message = loaded
  end)
  require("rovk_message")
end

-- Ends what is under way, as a script that is in order does.
function env.finish()
  env.level = 9 -- what runs now does nothing more
  for _, entry in ipairs(env.handles) do
    pcall(rovk[entry.name], entry.context, entry.address, entry.handle)
  end
  for _, context in ipairs(env.contexts) do
    pcall(loop.dispatch, context.object, 100)
    rovk.rovktrans_deinit(context.object)
  end
  companion.set_error_handler(nil)
  collectgarbage()
end

pcall(open)
return {
  { 22, call_function },
  { 8, function() call_function("_async_lua$") end },
  { 4, function() call_function("_retrieve_") end },
  { 3, function() call_function("_initialize_") end },
  { 3, open }, { 2, close }, { 7, subscribe }, { 5, unsubscribe }, { 5, call_internal },
  { 8, make }, { 14, read }, { 16, write }, { 10, call_accessor }, { 9, call_metamethod },
  { 2, variable }, { 2, module_metamethod }, { 4, look }, { 10, companion_call }, { 8, deliver },
  { 4, thread }, { 4, finalizer }, { 3, collect }, { 1, forget }, { 3, starve }, { 3, interrupt }, { 2, sabotage },
  { 2, disguise }, { 0.05, child }, { 0.02, reopen },
}
