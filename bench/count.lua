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

-- Rows are taken out of `counts` as they are told.
local known, failures = {}, {}
for name, count in pairs(counts) do
  known[name] = count
end
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
  elseif number.times and count > number.times[1] * (known[number.times[2]] or 0) then
    verdict = ("more than %g times %s"):format(number.times[1], number.times[2])
  elseif count < number.hold / SLACK then
    verdict = "fewer: lower the number to hold"
  end
  if not count or verdict:find("^too many") or verdict:find("^more than") then
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
