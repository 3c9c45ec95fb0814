-- Calls of the module's functions and of its companions: contexts, commands, subscriptions, the unit's side.

local env = ...
local fuzz, random, pick, value, note = fuzz, env.random, env.pick, env.value, env.note -- luacheck: globals fuzz
local rovk, loop, unit, companion = env.rovk, env.loop, env.unit, env.companion
local append, call, draw_arguments, accountable = env.append, env.call, env.draw_arguments, env.accountable

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

return {
  call_function = call_function, open = open, close = close, subscribe = subscribe, unsubscribe = unsubscribe,
  call_internal = call_internal, companion_call = companion_call, deliver = deliver,
}
