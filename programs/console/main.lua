-- The console: a prompt on a unit. main.lua [TEXT], where TEXT is where the unit is, as for rovktrans_init.
--
-- While it waits for the next line, timers, tasks and functions of events go on. With input from a pipe there is no
-- prompt and no history, and the exit status is 1 when a line has failed.

local rovk = require("rovk")
local terminal = require("rovk_terminal")
local trace = require("console.trace")
trace.install()
local completion = require("console.completion")
local lines = require("console.lines")
local words = require("console.words")

local unit, failure = rovk.try_open(arg[1])
if not unit then
  io.stderr:write("rovk: ", tostring(failure), "\n")
  os.exit(1)
end

local write, stderr = io.write, io.stderr
local session = { unit = unit, failed = false, edits = false, number = 0 }
session.env = lines.environment(session)

-- The line that is being edited makes room for whatever is written.
function io.write(...)
  terminal.hide()
  local last = select("#", ...) > 0 and tostring((select(-1, ...))) or "\n"
  session.within_line = session.edits and last:sub(-1) ~= "\n"
  return write(...)
end

-- A line that something else has left unended is not written over by the prompt.
local function end_line()
  if session.within_line then
    io.write("\n")
  end
end

function print(...)
  local parts = {}
  for place = 1, select("#", ...) do
    parts[place] = tostring((select(place, ...)))
  end
  io.write(table.concat(parts, "\t"), "\n")
end

function session.say(text)
  io.write(text, "\n")
end

function session.fail(text)
  session.failed = true
  terminal.hide()
  io.stdout:flush()
  if session.edits then
    stderr:write("error: ", text, "\n")
  else
    stderr:write(("rovk: line %d: %s\n"):format(session.number, text))
  end
end

function session.clock()
  if session.unit.scheduler.closed then
    return "closed"
  end
  return ("%.3f s"):format(session.unit:now() / 1000)
end

-- Takes over a unit: its tasks' errors are told here.
function session.take(new)
  session.unit, session.peripherals = new, {}
  if not new.scheduler.closed and not new.scheduler.on_error then
    new:on_error(function(err)
      session.fail("in a task: " .. lines.error_text(session, err))
    end)
  end
end
session.take(unit)
require("rovk_loop").on_error(function(err)
  session.fail("in a callback: " .. lines.error_text(session, err))
end)

local function prompt(continued)
  if continued then
    return "   > "
  end
  return (session.clock_shown and session.clock() .. " " or "") .. "rovk> "
end

local function history_file()
  local file, home = os.getenv("ROVK_HISTORY"), os.getenv("HOME")
  if file then
    return file ~= "" and file or nil
  end
  return home and home .. "/.rovk_history"
end

local function next_line(continued)
  end_line()
  terminal.prompt(prompt(continued))
  while true do
    local event, text = lines.turn(session, end_line, true)
    if event then
      return event, text
    end
  end
end

-- A line, or several that belong together: the function, and the text. Gives the terminal's event where none comes.
local function read()
  local text, first
  while true do
    local event, line = next_line(text)
    if event == "interrupt" then
      text = nil
    elseif event == "end" then
      if text then
        session.fail("the input ends in the middle: " .. text:match("[^\n]*"))
      end
      return nil
    else
      session.number = session.number + 1
      first = text and first or session.number
      text = text and text .. "\n" .. line or line
      local chunk, problem = words.find(session, text), nil
      if not chunk then
        chunk, problem = lines.compile(session, text)
      end
      if chunk or problem then
        if text:find("%S") then
          terminal.remember(text)
        end
        return text, chunk, problem, first
      end
    end
  end
end

session.edits = terminal.open(function(before, word)
  return completion.complete(session, before, word)
end, history_file())
if session.edits then
  session.say(("%s. `help` tells what there is, Tab completes, Ctrl-D ends."):format(tostring(unit)))
end

while not session.ended do
  local text, chunk, problem, first = read()
  if not text then
    if session.edits then
      session.say("")
    end
    break
  end
  -- Messages name the line where a piece of several begins.
  local last = session.number
  session.number = first
  if chunk then
    lines.run(session, chunk, text)
  else
    session.fail(lines.error_text(session, problem, text))
  end
  session.number = last
end
terminal.close()
session.unit:close()
io.stdout:flush()
os.exit(session.failed and not session.edits and 1 or 0)
