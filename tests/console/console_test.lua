-- Drives the console by a pipe, and by keys through a pseudo-terminal: what one types is what one gets.

local PROGRAM = { "lua5.1", "programs/console/main.lua" }

local function read_file(name)
  local file = assert(io.open(name))
  local text = file:read("*a")
  file:close()
  return text
end

-- Output, errors and exit status of a console that reads the text.
local function through_pipe(input, where)
  local name = os.tmpname()
  local file = assert(io.open(name, "w"))
  file:write(input)
  file:close()
  local run = ("%s %s <%s >%s.out 2>%s.err"):format(table.concat(PROGRAM, " "), where or "", name, name, name)
  local status = os.execute(run) / 256
  local out, err = read_file(name .. ".out"), read_file(name .. ".err")
  for _, ending in ipairs { "", ".out", ".err" } do
    os.remove(name .. ending)
  end
  return out, err, status
end

-- Patterns that a text has in this order.
local function expect(text, patterns)
  local at = 1
  for _, pattern in ipairs(patterns) do
    local _, last = text:find(pattern, at)
    assert.is_truthy(last, ("no '%s' in what follows %d of:\n%s"):format(pattern, at, text))
    at = last + 1
  end
end

describe("the console", function()
  it("runs lines of a pipe, and none of them fails unseen", function()
    local out, err, status = through_pipe([[
local led = unit:device("led_0001", "LED_FRONT_PANEL_RED")
led:set_state { on = 1, duty_cycle_on_ms = 200,
  duty_cycle_off_ms = 800 }
trace on
led:get_state().on + 41
trace off
led_0001:try_get_state(99)
clock
for n = 1, 2 do
  unit:after(n * 1000, function() print("timer " .. n) end)
end
unit:sleep(60000)
= ROVK_RELAY_0019_STATE_OPEN, "two"
help led:set_state
]], "'sim?clock=virtual'")
    expect(out, { "^true\n", "%d%.%d%d%d s  command led_0001.get_state to 257: index 1\n",
      "response to led_0001.get_state from 257: on 1 %(on%), duty_cycle_on_ms 200 ms", "\n42\n",
      "nil\nled_0001.get_state on address 257: invalid payload, input index", "\n0%.%d+ s\n", "timer 1\ntimer 2\n",
      '1\n"two"\n', "led_0001.set_state" })
    assert.equal("", err)
    assert.equal(0, status)

    out, err, status = through_pipe([[
pint(1)
unit:device("led_0001", "LED_FRONT_PANEL_RD")
x = = 1
unit:slep(1)
unit:spawn(function() error("lost") end)
unit:wait("button_0002.state_change")
print "goes on"
f(]], "'sim?clock=virtual'")
    assert.equal("goes on\n", out:match("goes on.*"))
    expect(err, { "line 1: .*did you mean 'print'%?", "line 2: .*did you mean 'LED_FRONT_PANEL_RED'%?",
      "line 3: unexpected symbol", "line 4: .*did you mean 'sleep'%?", "line %d: in a task: .*lost",
      "line 6: what it waits for cannot come", "line 8: the input ends in the middle: f%(" })
    assert.equal(1, status)
  end)

  it("takes keys, completes, goes on meanwhile, and is interrupted but not ended", function()
    local fcntl, poll, stdlib = require("posix.fcntl"), require("posix.poll"), require("posix.stdlib")
    local unistd, wait = require("posix.unistd"), require("posix.sys.wait")
    local master = assert(stdlib.openpt(fcntl.O_RDWR))
    assert(stdlib.grantpt(master) and stdlib.unlockpt(master))
    local child = unistd.fork()
    if child == 0 then
      unistd.setpid("s")
      local terminal = fcntl.open(stdlib.ptsname(master), fcntl.O_RDWR)
      for descriptor = 0, 2 do
        unistd.dup2(terminal, descriptor)
      end
      stdlib.setenv("TERM", "xterm")
      stdlib.setenv("ROVK_HISTORY", "")
      stdlib.setenv("INPUTRC", "/dev/null")
      unistd.execp(PROGRAM[1], { PROGRAM[2] })
      os.exit(127)
    end
    local function press(keys, ...)
      assert(unistd.write(master, keys))
      local text, deadline = "", os.time() + 20
      for _, pattern in ipairs { ... } do
        while not text:find(pattern) do
          assert(os.time() < deadline, ("no '%s' in:\n%s"):format(pattern, text))
          if poll.rpoll(master, 100) == 1 then
            text = text .. (unistd.read(master, 4096) or "")
          end
        end
        text = text:sub(select(2, text:find(pattern)) + 1)
      end
    end
    press("", "rovk> ")
    press('led = unit:device("led\t, "LED_FRONT_PANEL_R\t)\r', '"led_0001", "LED_FRONT_PANEL_RED"%)', "rovk> ")
    press("led:set_s\t { o\t1, duty_cycle_on_ms = 2, duty_cycle_of\t0 }\r",
      "led:set_state { on = 1, duty_cycle_on_ms = 2, duty_cycle_off_ms = 0 }", "true", "rovk> ")
    press("unit:after(100, function() print('while ' .. 'it waits') end)\rhalf a line", "while it waits", "half a line")
    press("\3", "%^C", "rovk> ")
    press("while true do end\r", "\n")
    press("\3", "interrupted", "rovk> ")
    press("unit:sleep(600000)\r", "\n")
    press("\3", "interrupted", "rovk> ")
    press("\27[A\27[A\27[A\1print(1) --\r", "unit:after", "[\r\n]1\r", "rovk> ")
    press("\4", "\r\n")
    assert.same({ child, "exited", 0 }, { wait.wait(child) })
  end)
end)
