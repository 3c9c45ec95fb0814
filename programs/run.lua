-- Runs a script as the interpreter itself would, and besides lets no error in a callback pass unseen: such an
-- error is printed where it happens, with a traceback, and the script ends with status 1 when it ends.
--
-- run.lua [--unit TEXT] [-e TEXT] [SCRIPT [ARGUMENT...]]

local taken, unit_text, own_folder = 0, nil, nil
if arg[1] == "--unit" then
  taken, unit_text, own_folder = 2, arg[2], arg[0]:gsub("[^/]*$", "")
end

-- The script sees its own name and arguments.
local arguments, chunks = {}, {}
for position, value in pairs(arg) do
  arguments[position - 1 - taken] = value
end

local function add(chunk, message)
  if not chunk then
    io.stderr:write("rovk: ", message, "\n")
    os.exit(1)
  end
  chunks[#chunks + 1] = chunk
end

if arguments[0] == "-e" then
  add(loadstring(arguments[1], "=(command line)"))
  for position = -1, #arg do
    arguments[position] = arg[position + 3 + taken]
  end
end
local script = arguments[0]
if script then
  add(loadfile(script))
end
rawset(_G, "arg", arguments)
if unit_text then
  dofile(own_folder .. "unit_text.lua").impose(unit_text)
end

local failed = false
require("rovk_loop").on_error(function(value, traceback)
  failed = true
  io.stderr:write("rovk: error in a callback: ", tostring(value), "\n", traceback, "\n")
end)

local ok = xpcall(function()
  for _, chunk in ipairs(chunks) do
    chunk(unpack(arguments, 1, #arguments))
  end
end, function(value)
  -- A value that is no text and has none is told as the interpreter tells it.
  local is_text = type(value) == "string" or (getmetatable(value) or {}).__tostring
  local text = is_text and tostring(value) or ("(error object is a %s value)"):format(type(value))
  -- An error object of the companion knows where it comes from, which is not here when a task has failed.
  local known = type(value) == "table" and value or {}
  local where, traceback = rawget(known, "where") or "", rawget(known, "traceback")
  io.stderr:write("rovk: ", where, text, "\n", ((traceback or debug.traceback("", 2)):gsub("^\n", "")), "\n")
end)
if failed or not ok then
  io.stdout:flush()
  os.exit(1)
end
