-- One episode: so many steps, each an operation drawn at random with arguments that are right, half right or
-- hostile. A step may fail with a Lua error, whose value is a text; anything else is a fault. What a step
-- leaves goes into a pool, from which later ones take their arguments.

local path, cpath, here, seed, first, count, depth, function_lines, class_lines, starves = ...
package.path, package.cpath = path, cpath
seed, first, count, depth = tonumber(seed), tonumber(first), tonumber(count), tonumber(depth)

local fuzz = fuzz -- luacheck: globals fuzz
local env = {
  here = here, starves_inside = starves, path = path, cpath = cpath, depth = depth,
  function_lines = function_lines, class_lines = class_lines,
  functions = {}, classes = {}, -- what may be called and made
  pool = {}, contexts = {}, handles = {}, threads = {}, -- what there is
  level = 0, -- steps inside steps: callbacks, finalizers, coroutines
  callbacks = setmetatable({}, { __mode = "k" }), -- the steps that made them
  mends = {}, -- what puts back what a step took apart
}

local state = seed
function env.random(limit)
  state = state * 16807 % 2147483647
  return state % limit + 1
end
local random = env.random

function env.pick(list)
  return list[random(#list)]
end

for line in function_lines:gmatch("[^\n]+") do
  local words = {}
  for word in line:gmatch("%S+") do
    words[#words + 1] = word
  end
  env.functions[#env.functions + 1] = words
end
for name in class_lines:gmatch("[^\n]+") do
  env.classes[#env.classes + 1] = name
end

env.rovk = require("rovk_message")
env.loop, env.unit, env.companion = require("rovk_loop"), require("rovk_unit"), require("rovk_companion")

local step = first
local last_text
function env.step()
  return step
end

function env.note(text)
  last_text = text
  fuzz.note(step, ("%" .. 2 * env.level .. "s%s"):format("", text))
end

-- LuaJIT itself does not bear it when memory ends at any point: it crashes in a script without any module, too.
local jit = rawget(_G, "jit")
env.jit, env.starves = jit, starves == "starves" and not jit
-- When it compiles does not follow from the seed, so that an episode with a compiler may go otherwise when it
-- is run again. On 32 bits the compiler itself crashes, in the assembler of its traces.
if jit and (random(3) > 1 or not jit.arch:find("64")) then
  jit.off()
end

-- Of all classes, in calm weather.
env.class_table, env.metatables = debug.getregistry().SWIG, {}
for class, meta in pairs(env.class_table) do
  env.metatables[class] = meta
end

assert(loadfile(here .. "/values.lua"))(env)
local operations = assert(loadfile(here .. "/operations.lua"))(env)

local total = 0
for _, operation in ipairs(operations) do
  total = total + 100 * operation[1]
end

local function draw_operation()
  local place = random(total)
  for _, operation in ipairs(operations) do
    place = place - 100 * operation[1]
    if place < 0.5 then
      return operation[2]
    end
  end
end

-- One step inside whatever runs. What is wrong with it is kept, since a callback's errors go nowhere.
local fault
local function run_step()
  local ok, message = pcall(draw_operation())
  if not ok and type(message) ~= "string" then
    fault = fault or ("step %d raised a %s: %s"):format(step, type(message), last_text)
  end
end

-- Steps from inside a step: of a callback, a finalizer, a coroutine.
local budget = 0
function env.steps(most)
  if env.level >= 3 then
    return
  end
  env.level = env.level + 1
  for _ = 1, random(most) do
    if budget <= 0 then
      break
    end
    budget = budget - 1
    run_step()
  end
  env.level = env.level - 1
end

local cut = random(4) == 1 and random(count) or nil
for number = 1, count do
  step, budget, env.level = first + number - 1, 40, 0
  run_step()
  fuzz.limit()
  debug.sethook()
  env.rough = false
  for position = #env.mends, 1, -1 do
    table.remove(env.mends)()
    assert(position > 0)
  end
  if fault then
    error(fault, 0)
  end
  if number == cut then
    -- The state is closed as it is.
    error("cut", 0)
  end
end

-- A script that cleans up leaves nothing behind.
env.note("the end")
env.finish()
local left = {}
for key, value in pairs(env.unaccounted and {} or debug.getregistry()) do
  if type(key) == "number" and key > 0 and type(value) == "function" then
    left[#left + 1] = ("%d, for the function of step %s"):format(key, tostring(env.callbacks[value]))
  end
end
if #left > 0 then
  error("a reference is left: " .. table.concat(left, "; "), 0)
end
return "ended"
