-- Values to hand over: by the kind of an argument, mostly right, at times anything.

local env = ...
local fuzz, random, pick, pool = fuzz, env.random, env.pick, env.pool -- luacheck: globals fuzz

local NUMBERS = {
  0, 1, 2, 3, 7, 22, 23, 31, 32, 127, 128, 255, 256, 1000, 32767, 32768, 65535, 65536, 2 ^ 31 - 1, 2 ^ 31,
  2 ^ 32 - 1, 2 ^ 32,
  2 ^ 53, 2 ^ 63, 2 ^ 64, 1e308, 1 / 0, -1 / 0, 0 / 0, -1, -2, -128, -129, -32769, -2 ^ 31, -2 ^ 31 - 1, -2 ^ 63,
  0.5, -0.5, 1.99, 5e-324, -0,
}
local TEXTS = {
  "", "x", "12", "0x10", " 7 ", "-1", "1e400", "nan", "%s%n%d", "sim", "sim?clock=virtual", ("a"):rep(300),
  "with\0zero", "\255\254", "major", ".get", "__gc", "route", "payload",
}
-- Where peripherals answer, and some where none does.
local ADDRESSES = { 0, 65535, 0x102, 0x102, 0x127, 0x101, 0x104, 0x1ff, 0x7777 }
for id = 0, 0x32 do
  ADDRESSES[#ADDRESSES + 1] = 0x100 + id
end

local function raising()
  error("raised by a metamethod")
end
local HOSTILE = setmetatable({}, {
  __index = raising, __newindex = raising, __len = raising, __tostring = raising, __call = raising, __eq = raising,
  __concat = raising, __lt = raising, __add = raising,
})

function env.keep(value)
  if value ~= nil then
    pool[#pool < 40 and #pool + 1 or random(40)] = value
  end
  return value
end

function env.number()
  local kind = random(8)
  if kind < 4 then
    return random(40) - 1
  elseif kind < 6 then
    return pick(ADDRESSES)
  end
  return pick(NUMBERS)
end

function env.text()
  return pick(TEXTS)
end

local function list(length)
  local values = {}
  for index = 1, length do
    values[index] = random(30) == 1 and pick(NUMBERS) or random(256) - 1
  end
  return values
end

-- A function that lives through an episode and steps on; some fail, yield or collect in their way.
function env.callback()
  local manner = random(12)
  local steps = env.steps
  local function callback()
    env.note("(callback)")
    steps(2)
    if manner == 1 then
      error("from a callback")
    elseif manner == 2 then
      coroutine.yield()
    elseif manner == 3 then
      collectgarbage()
    elseif manner == 4 then
      error({})
    elseif manner == 5 then
      error(HOSTILE)
    end
  end
  env.callbacks[callback] = env.step()
  return callback
end

-- A new object. One that was made while there were no classes gets its metatable here: nothing else would
-- ever free its record.
-- And none is made where that may fail, nor by finalizers of a state that is being closed, for which Lua runs no
-- further ones.
function env.make(class, count)
  if fuzz.closing or (env.rough and debug.getregistry().SWIG ~= env.class_table) then
    return nil
  end
  local object = env.rovk[class](unpack({ 1 }, 1, count))
  if object and not getmetatable(object) then
    debug.setmetatable(object, env.metatables[class])
  end
  return object
end

-- An object of a class: one from the pool if chance has it there, or a new one.
function env.object(class)
  for _ = 1, 6 do
    local value = #pool > 0 and pick(pool)
    if type(value) == "userdata" then
      local meta = getmetatable(value)
      if type(meta) == "table" and rawget(meta, ".type") == class then
        return value
      end
    end
  end
  return env.keep(env.make(class, 0))
end

function env.context()
  local context = #env.contexts > 0 and pick(env.contexts)
  return context and context.object or nil
end

local ANY = {
  function() return nil end,
  function() return random(2) == 1 end,
  env.number,
  env.text,
  function() return #pool > 0 and pick(pool) or nil end,
  function() return #pool > 0 and pick(pool) or nil end,
  function() return HOSTILE end,
  function() return list(random(30)) end,
  function() return env.callback() end,
  function() return fuzz.foreign(random(5), random(64) - 1) end,
  function() return fuzz.light(random(2) - 1) end,
  function() return newproxy(true) end,
  function() return io.stdout end,
  function() return print end,
  function() return coroutine.create(env.callback()) end,
  function() return #env.handles > 0 and pick(env.handles).handle or nil end,
  env.context,
  function() return env.rovk end,
}

function env.any()
  return pick(ANY)()
end

local RIGHT = {
  n = env.number,
  t = env.text,
  o = function() return random(8) == 1 and env.any() or env.context() end,
  h = function() return #env.handles > 0 and pick(env.handles).handle or nil end,
  v = function() return env.object("rovk_version") end,
  f = env.callback,
  b = function() return list(random(24) - 1) end,
  a = function() return random(2) == 1 and random(65536) or list(random(12) - 1) end,
  c = function() return nil end,
  B = function() return random(2) == 1 end,
}

function env.value(kind)
  if random(14) == 1 then
    return env.any()
  end
  local right = RIGHT[kind]
  if right then
    return right()
  end
  return env.object(kind)
end

-- A value as a line of the record shows it.
function env.show(value)
  local kind = type(value)
  if kind == "number" or kind == "boolean" or kind == "nil" then
    return tostring(value)
  elseif kind == "string" then
    return ("%q"):format(value:sub(1, 30))
  elseif kind == "userdata" then
    local meta = getmetatable(value)
    return "<" .. tostring(type(meta) == "table" and rawget(meta, ".type") or swig_type(value)) .. ">"
  elseif kind == "table" and value ~= HOSTILE then
    return "{" .. #value .. "}"
  end
  return "<" .. kind .. ">"
end
