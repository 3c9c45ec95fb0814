-- What strikes at other steps: coroutines, finalizers, memory that ends, errors from anywhere, tables taken apart,
-- states inside states.

local env = ...
local fuzz, random, pick, pool = fuzz, env.random, env.pick, env.pool -- luacheck: globals fuzz
local note, keep, show, append = env.note, env.keep, env.show, env.append
local attributes_of, draw_object = env.attributes_of, env.draw_object

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
    table_of, key = getmetatable(env.rovk), pick { ".get", ".set" }
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

return {
  thread = thread, finalizer = finalizer, collect = collect, forget = forget, starve = starve, interrupt = interrupt,
  sabotage = sabotage, disguise = disguise, child = child, reopen = reopen,
}
