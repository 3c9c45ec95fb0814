-- Tells what names of the protocol mean: help.lua NAME...
local help = require("rovk.help")

local width = math.max(40, math.min(tonumber(os.getenv("COLUMNS")) or 80, 110))
local failed = false
for place, name in ipairs(arg) do
  local text, message = help.text(name, width)
  if place > 1 then
    print()
  end
  if text then
    print(text)
  else
    io.stdout:flush()
    io.stderr:write("rovk: ", message, "\n")
    failed = true
  end
end
os.exit(failed and 1 or 0)
