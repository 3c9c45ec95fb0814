-- Runs a script as the interpreter itself would, and besides lets no error in a callback pass unseen: such an
-- error is printed where it happens, with a traceback, and the script ends with status 1 when it ends.
--
-- run.lua SCRIPT [ARGUMENT...]

local script = arg[1]
local chunk, message = loadfile(script)
if not chunk then
  io.stderr:write("rovk: ", message, "\n")
  os.exit(1)
end

-- The script sees its own name and arguments.
local arguments = {}
for position, value in pairs(arg) do
  arguments[position - 1] = value
end
rawset(_G, "arg", arguments)

local failed = false
require("rovk_loop").on_error(function(value, traceback)
  failed = true
  io.stderr:write("rovk: error in a callback: ", tostring(value), "\n", traceback, "\n")
end)

local ok = xpcall(function()
  return chunk(unpack(arguments, 1, #arguments))
end, function(value)
  -- A value that is no text and has none is told as the interpreter tells it.
  local is_text = type(value) == "string" or (getmetatable(value) or {}).__tostring
  local text = is_text and tostring(value) or ("(error object is a %s value)"):format(type(value))
  io.stderr:write("rovk: ", text, "\n", (debug.traceback("", 2):gsub("^\n", "")), "\n")
end)
if failed or not ok then
  io.stdout:flush()
  os.exit(1)
end
