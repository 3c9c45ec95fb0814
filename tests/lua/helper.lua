-- Shared by the tests of what a script sees.
--
-- In the root, whose .busted names this folder:
-- One file:   ROVK_BUILD=build lua5.1 /usr/bin/busted tests/lua/numbers_test.lua
-- All:        ROVK_BUILD=build lua5.1 /usr/bin/busted --pattern=_test tests/lua
-- ROVK_BUILD names the build folder ("build" in the root when it is not set). ROVK_GC=aggressive
-- keeps the collector at work all the time. luajit in place of lua5.1 runs the same files over the
-- same module.

local luassert = require("luassert")

local helper = {}

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
helper.root = here .. "/../.."
local build = os.getenv("ROVK_BUILD") or helper.root .. "/build"
helper.build = build

package.cpath = build .. "/lualib/?.so;" .. package.cpath
package.path = helper.root .. "/lualib/?.lua;" .. build .. "/lualib/?.lua;" .. package.path

-- The one difference that shows: the text of a syntax error.
helper.luajit = rawget(_G, "jit") ~= nil

-- Where a native module lies.
function helper.module_path(name)
  for template in package.cpath:gmatch("[^;]+") do
    local path = template:gsub("%?", name)
    local file = io.open(path)
    if file then
      file:close()
      return path
    end
  end
  error("no module " .. name)
end

-- Runs a text in a process of its own, under the interpreter that runs this one, and gives what it
-- wrote, the standard error stream included, and its exit code. What it leaves behind is not looked at.
-- `variables` are set in its environment.
function helper.process(text, variables)
  local script = os.tmpname()
  local file = assert(io.open(script, "w"))
  file:write(("package.cpath, package.path = %q, %q\n"):format(package.cpath, package.path), text)
  file:close()
  local interpreter = os.getenv("ROVK_INTERPRETER") or helper.luajit and "luajit" or "lua5.1"
  local command = ("ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0 %s %s %s 2>&1; printf '\n%%d' $?")
    :format(variables or "", interpreter, script)
  local pipe = assert(io.popen(command))
  local output = pipe:read("*a")
  pipe:close()
  os.remove(script)
  local text_out, code = output:match("^(.*)\n(%d+)$")
  return text_out, tonumber(code)
end

local aggressive = os.getenv("ROVK_GC") == "aggressive"
if aggressive then
  collectgarbage("setpause", 0)
  collectgarbage("setstepmul", 1000)
  debug.sethook(function()
    collectgarbage()
  end, "", 20011)
end
helper.aggressive = aggressive

-- The catalogue as the generator reads it.
local model
function helper.model()
  if not model then
    local path = package.path
    package.path = helper.root .. "/generator/?.lua;" .. path
    local files = {}
    for name in require("lfs").dir(helper.root .. "/lualib/catalogue") do
      if name:match("%.lua$") then
        files[#files + 1] = helper.root .. "/lualib/catalogue/" .. name
      end
    end
    model = require("derive").derive(require("reader").read(helper.root .. "/lualib/protocol.lua", files))
    package.path = path
  end
  return model
end

-- Results with their count, so that a nil at the end shows.
function helper.pack(...)
  return { n = select("#", ...), ... }
end

-- `action` fails with exactly this text: no position in front, nothing behind.
function helper.fails(text, action, ...)
  local ok, message = pcall(action, ...)
  luassert.is_false(ok, "no error; wanted: " .. text)
  luassert.are.equal(text, message)
end

-- `action` fails with some Lua error, the process lives on.
function helper.refused(action, ...)
  local ok, message = pcall(action, ...)
  luassert.is_false(ok, "no error was raised")
  luassert.is_string(message)
  return message
end

-- A number as it is after conversion to a field, by the rule for its kind.
function helper.to_width(value, width, signed)
  local span = 2 ^ (8 * width)
  value = value < 0 and math.ceil(value) or math.floor(value)
  value = value % span
  return signed and value >= span / 2 and value - span or value
end

-- Bytes of a number, the least significant first.
function helper.little(value, width)
  local text = ""
  value = value % 2 ^ (8 * width)
  for _ = 1, width do
    text = text .. string.char(value % 256)
    value = math.floor(value / 256)
  end
  return text
end

function helper.hex(text)
  return (text:gsub(".", function(char) return ("%02x"):format(char:byte()) end))
end

-- A list of so many times one value.
function helper.rep(value, count)
  local list = {}
  for index = 1, count do
    list[index] = value
  end
  return list
end

-- Contexts -------------------------------------------------------------------------------------

local contexts = {}

-- A context on a simulated unit of its own, by default with a clock that stands still, also while the
-- unit works on a command.
function helper.open(text)
  local rovk = require("rovk_message")
  text = (text or "sim?clock=virtual"):gsub("clock=virtual", "clock=virtual&processing_ms=0")
  local status, context = rovk.rovktrans_init(text, nil)
  luassert.are.equal(0, status)
  luassert.is_userdata(context)
  contexts[#contexts + 1] = context
  return context
end

function helper.close(context)
  for position, known in ipairs(contexts) do
    if known == context then
      table.remove(contexts, position)
    end
  end
  return require("rovk_message").rovktrans_deinit(context)
end

-- Runs what is due and what comes within `ms` milliseconds of the unit's clock; the number of callbacks.
function helper.deliver(context, ms)
  local unit, loop = require("rovk_unit"), require("rovk_loop")
  luassert.is_true(unit.advance(context, ms or 0))
  local total = 0
  while true do
    local count = loop.dispatch(context, 0)
    luassert.is_number(count)
    if count == 0 then
      return total
    end
    total = total + count
  end
end

-- The addresses of all peripherals, by the name of their service; the first where there are several.
function helper.addresses(context)
  local rovk = require("rovk_message")
  local names, list = {}, {}
  for _, service in ipairs(helper.model().services) do
    if service.id then
      names[service.id] = service.name
    end
  end
  local status, _, count = rovk.rovktrans_router_0000_get_count(context, rovk.ROVK_ROUTER_PERIPHERAL_ADDRESS)
  luassert.are.equal(0, status)
  for index = 0, count - 1 do
    local _, _, address = rovk.rovktrans_router_0000_get_route(context, rovk.ROVK_ROUTER_PERIPHERAL_ADDRESS, index)
    local _, _, id = rovk.rovktrans_common_get_peripheral_info(context, address)
    list[names[id]] = list[names[id]] or address
  end
  return list
end

-- Leaks ----------------------------------------------------------------------------------------

-- What keeps Lua values alive from C: numbered references and keys of the registry. Numbers under
-- numbered keys are the list of free references.
local function snapshot()
  local held = {}
  for key, value in pairs(debug.getregistry()) do
    if type(key) ~= "number" or (key > 0 and type(value) ~= "number") then
      held[key] = value
    end
  end
  return held
end

local function describe_value(key, value)
  local where = ""
  for _, inner in pairs(type(value) == "table" and value or { value }) do
    if type(inner) == "function" then
      local info = debug.getinfo(inner, "S")
      where = (", a function from %s:%d"):format(info.short_src, info.linedefined)
    end
  end
  return ("%s (%s%s)"):format(tostring(key), type(value), where)
end

-- The references and keys that are there now and were not at `before`.
local function leaks(before)
  local list = {}
  for key, value in pairs(snapshot()) do
    if before[key] == nil and not tostring(key):match("^LOADLIB") then
      list[#list + 1] = describe_value(key, value)
    end
  end
  table.sort(list)
  return list
end

local errors = {}

-- The messages of the errors in callbacks since the last call, each with a traceback to where it was.
function helper.take_errors()
  local taken = errors
  errors = {}
  return taken
end

-- Makes every test of a file end as it began, and without an error in a callback that it does not take.
-- Nothing of it is referenced from the registry, which a pending command or a subscription would be.
-- Contexts that a test left open are closed here, and that must succeed.
function helper.watch(before_each, after_each)
  -- What the module makes on first use and keeps: its table of coroutines.
  local rovk = require("rovk_message")
  coroutine.wrap(function()
    local handle = rovk.rovktrans_common_reset_occurred_register_callback_lua(nil, 0, function() end)
    rovk.rovktrans_common_reset_occurred_unregister_callback_lua(nil, 0, handle)
  end)()
  local before
  before_each(function()
    require("rovk_loop").on_error(function(value, traceback)
      errors[#errors + 1] = tostring(value) .. "\n" .. traceback
    end)
    before = snapshot()
  end)
  after_each(function()
    luassert.are.same({}, helper.take_errors())
    local left = leaks(before)
    while contexts[1] do
      luassert.are.equal(0, helper.close(contexts[1]))
    end
    luassert.are.same({}, left)
    luassert.are.same({}, leaks(before))
  end)
end

return helper
