-- Prints what was counted beside the numbers to hold, and fails when one is exceeded, or when something takes more
-- than so many times what its plain form does.
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

-- What is wrong with a count, or nil.
local function excess(number, count)
  if not count then
    return "not counted"
  elseif count > number.hold * SLACK then
    return "too many"
  elseif number.times and count > number.times[1] * (counts[number.times[2]] or 0) then
    return ("more than %g times %s"):format(number.times[1], number.times[2])
  end
end

row("bytes and instructions", "counted", "by hand", "hold", "aim", "")
local held = {}
for _, number in ipairs(numbers) do
  local count, hand = counts[number.name], counts[number.name .. ", by hand"]
  local wrong, note = excess(number, count), ""
  if wrong then
    failures[#failures + 1] = number.name .. ": " .. wrong
  elseif count < number.hold / SLACK then
    note = "fewer: lower the number to hold"
  elseif number.times then
    note = ("%.2f times %s"):format(count / counts[number.times[2]], number.times[2])
  end
  row(number.name, count and ("%.0f"):format(count) or "-", hand and ("%.0f"):format(hand) or "", number.hold,
    number.aim or "", wrong or note)
  held[number.name] = true
end
for name in pairs(counts) do
  if not held[name] and not name:match(", by hand$") then
    failures[#failures + 1] = name .. ": no number to hold"
  end
end
if #failures > 0 then
  io.stderr:write("bench: beyond the numbers of bench/numbers.lua: ", table.concat(failures, "; "), "\n")
  os.exit(1)
end
