-- The campaign of the script fuzzer: episodes, each in Lua states of its own, each from a number that follows
-- from the seed and its place, so that any of them can be run again alone.
--
--   lua5.1 tests/fuzz/run.lua --build build/sanitize [--seed N] [--steps M] [--from STEP] [--seconds S] [--trace]
--
-- A fault ends the process, in words of a sanitizer or of this file, with the last steps and the line that
-- repeats the episode. A module that was built with sanitizers wants their runtime preloaded, as ctest does it.

local here = arg[0]:match("^(.*)/[^/]*$") or "."
local root = here .. "/../.."
local options = { build = root .. "/build/sanitize", seed = 1, steps = 100000, from = 0, seconds = 0 }
do
  local position = 1
  while arg[position] do
    local name = arg[position]:match("^%-%-(%l+)$")
    if name == "trace" then
      options.trace = true
    elseif name and options[name] and arg[position + 1] then
      position = position + 1
      options[name] = tonumber(arg[position]) or arg[position]
    else
      io.stderr:write("fuzz: no option ", arg[position], "\n")
      os.exit(2)
    end
    position = position + 1
  end
end

package.path = ("%s/generator/?.lua;%s/lualib/?.lua;%s"):format(root, options.build, package.path)
package.cpath = ("%s/lualib/?.so;%s"):format(options.build, package.cpath)
local host = require("fuzz_host")

-- The catalogue, as what there is to call and with what ---------------------------------------------

local function read_model()
  local files = {}
  local list = assert(io.popen(("ls %s/lualib/catalogue/*.lua"):format(root)))
  for name in list:lines() do
    files[#files + 1] = name
  end
  list:close()
  return require("derive").derive(require("reader").read(root .. "/lualib/protocol.lua", files))
end

-- A letter for each argument; a pointer with its class.
local KINDS = { number = "n", opaque = "o", version = "v", text = "t", fn = "f", table = "b", aliases = "a" }
local functions, classes, core_functions = {}, {}, {}
do
  local model = read_model()
  for _, item in ipairs(model.functions) do
    local words = { item.name }
    for _, argument in ipairs(item.arguments) do
      words[#words + 1] = KINDS[argument.kind] or
        (argument.type:match("^_p_rovk_") and argument.type:gsub("^_p_", "") or "c")
    end
    local line = table.concat(words, " ")
    functions[#functions + 1] = line
    if not item.service or item.service.name == "unittest_ffff" or item.service.name == "common"
      or item.name:match("button_0002") then
      core_functions[#core_functions + 1] = line
    end
  end
  for _, class in ipairs(model.classes) do
    classes[#classes + 1] = class.name
  end
end

-- Episodes -------------------------------------------------------------------------------------------

-- With an odd seed memory ends at times. Lua then drops finalizers that it has begun, so what is lost is told
-- with even seeds alone.
local starves = options.seed % 2 == 1

-- Short enough that a replay is quick, long enough that states grow old.
local EPISODE = 1500

local function draw(number)
  local state = (options.seed * 7919 + number * 104729) % 2147483646 + 1
  return function(count)
    state = state * 16807 % 2147483647
    return state % count + 1
  end
end

-- Some of all functions and classes: what all have in common and what one service has meet in each episode.
local function choose(random)
  local chosen = {}
  for _, line in ipairs(core_functions) do
    if random(4) == 1 then
      chosen[#chosen + 1] = line
    end
  end
  for _ = 1, 150 do
    chosen[#chosen + 1] = functions[random(#functions)]
  end
  local names = { "rovk_message", "rovk_version", "rovk_message_routing", "rovk_message_cre_c" }
  for _ = 1, 30 do
    names[#names + 1] = classes[random(#classes)]
  end
  return table.concat(chosen, "\n"), table.concat(names, "\n")
end

local function run_episode(number)
  local first = number * EPISODE
  local random = draw(number)
  local chosen, names = choose(random)
  local again = ("%s tests/fuzz/run.lua --build %s --seed %d --from %d --steps %d --trace"):format(
    rawget(_G, "jit") and "luajit" or "lua5.1", options.build, options.seed, first, EPISODE)
  host.begin(again, 120, options.trace)
  local result, message = host.episode(here .. "/script.lua", package.path, package.cpath, here, random(2147483645),
    first, EPISODE, 0, chosen, names, starves and "starves" or "fed")
  if not result and not message:match("^cut") and not message:match("not enough memory") then
    host.report(("fuzz: seed %d, episode from step %d: %s"):format(options.seed, first, message), true)
    host.finish(1)
  end
  return result or "cut"
end

-- What an episode leaves on the heap. Tables of the process grow to their size in the first ones; behind that
-- a block that is lost in every episode shows as a slope.
local WARM, BOUND = 12, 600 -- bytes an episode

host.quiet()
local start = os.time()
local first = math.floor(options.from / EPISODE)
local last = first + math.ceil(options.steps / EPISODE) - 1
local warm, done, counts = nil, 0, {}
for number = first, last do
  local result = run_episode(number)
  counts[result] = (counts[result] or 0) + 1
  done = done + 1
  collectgarbage()
  collectgarbage()
  if done == WARM then
    warm = host.used()
  end
  if (done % 25 == 0 or number == last) and not starves and host.leaks() then
    host.report(("fuzz: seed %d, blocks were lost up to step %d, see above")
      :format(options.seed, (number + 1) * EPISODE))
    host.finish(1)
  end
  if options.seconds > 0 and os.difftime(os.time(), start) >= options.seconds then
    break
  end
end
local growth = warm and done > 2 * WARM and (host.used() - warm) / (done - WARM) or 0
host.report(("fuzz: seed %d, %d steps from %d in %d s: %d episodes to their end, %d cut off, %.0f bytes more each")
  :format(options.seed, done * EPISODE, first * EPISODE, os.difftime(os.time(), start), counts.ended or 0,
    counts.cut or 0, growth))
if growth > BOUND and not starves then
  host.report(("fuzz: memory grows by more than %d bytes an episode"):format(BOUND))
  host.finish(1)
end
host.finish(0)
