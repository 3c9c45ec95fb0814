-- Whether a coroutine can yield where it is. LuaJIT can leave any function and come back; plain Lua 5.1 cannot where a
-- function of C stands in between, of which pcall is the one that scripts use.

local barriers = {}

local running = coroutine.running

--- True under LuaJIT: nothing but another coroutine is a barrier.
local any_way = rawget(_G, "jit") ~= nil
barriers.any_way = any_way

--- Why the coroutine cannot yield here, find(thread): "other" when it is not the one that runs, or the function of C
-- that stands between here and its beginning; nil when it can.
local function search(thread)
  if running() ~= thread then
    return "other"
  end
  local level = 2
  local info = not any_way and debug and debug.getinfo(level, "f")
  while info do
    if info.func and debug.getinfo(info.func, "S").what == "C" then
      return info.func
    end
    level = level + 1
    info = debug.getinfo(level, "f")
  end
end

local has_companion, companion = pcall(require, "rovk_companion")
local native = not any_way and has_companion and companion or {}
barriers.find = native.barrier or search

--- The native half's look at a whole call, of which this is a part; nil where there is none.
barriers.look_for = native.look_for

--- What stands in the way, for a message: "cannot wait " .. it.
function barriers.describe(action)
  if action == "other" then
    return "in a coroutine of your own within a task"
  elseif action == "unit" then
    return "in a task of another unit"
  end
  for name, known in pairs({ pcall = pcall, xpcall = xpcall, require = require, dofile = dofile,
    ["table.sort"] = table.sort, ["string.gsub"] = string.gsub }) do
    if action == known then
      return ("within %s, which plain Lua 5.1 cannot leave and come back to%s"):format(name,
        name:match("pcall") and "; use rovk.pcall" or "")
    end
  end
  return "within a function of C, which plain Lua 5.1 cannot leave and come back to"
end

return barriers
