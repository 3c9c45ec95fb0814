-- Prints what was counted beside the numbers to hold, and fails when one is exceeded.
--   count.lua FOLDER [NAME=BYTES...]   the folder has callgrind's files, one an operation; sizes follow

local folder = ...

-- Counts do not vary with the load of a machine, but a little with its processor and its libraries.
local SLACK = 1.02

local numbers = dofile((arg[0]:gsub("[^/]*$", "")) .. "numbers.lua")

-- From size to bytes, and from operation to instructions for doing it once.
local counts = {}
for index = 2, #arg do
  local name, bytes = arg[index]:match("^(.*)=(%d+)$")
  counts[name] = tonumber(bytes)
end
for path in io.popen(("ls '%s'"):format(folder)):lines() do
  local file = assert(io.open(folder .. "/" .. path, "rb"))
  local text = file:read("*a")
  file:close()
  local name, times = text:match("\ndesc: Trigger: Client Request: ([^\n]*)|(%d+)\n")
  if name then
    counts[name] = tonumber(text:match("\nsummary: (%d+)")) / tonumber(times)
  end
end

local failures = {}
local function row(...)
  print(("%-56s %10s %10s %10s %10s %s"):format(...))
end

row("bytes and instructions", "counted", "by hand", "hold", "aim", "")
for _, number in ipairs(numbers) do
  local count, hand = counts[number.name], counts[number.name .. ", by hand"]
  local verdict = ""
  if not count then
    verdict = "not counted"
  elseif count > number.hold * SLACK then
    verdict = "too many"
  elseif count < number.hold / SLACK then
    verdict = "fewer: lower the number to hold"
  end
  if not count or count > number.hold * SLACK then
    failures[#failures + 1] = number.name
  end
  row(number.name, count and ("%.0f"):format(count) or "-", hand and ("%.0f"):format(hand) or "", number.hold,
    number.aim or "", verdict)
  counts[number.name] = nil
end
for name in pairs(counts) do
  if not name:match(", by hand$") then
    failures[#failures + 1] = name .. " (no number to hold)"
  end
end
if #failures > 0 then
  io.stderr:write("bench: beyond the numbers of bench/numbers.lua: ", table.concat(failures, "; "), "\n")
  os.exit(1)
end
