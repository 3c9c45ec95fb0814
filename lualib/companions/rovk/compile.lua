-- Functions written out for one command: what it takes and gives is known from the catalogue, and a loop over that
-- knowledge with each call would cost more than the command itself. The texts are made of names and limits of the
-- catalogue alone.

local barriers = require("rovk.barrier")

local compile = {}

local function numbered(prefix, count)
  local list = {}
  for place = 1, count do
    list[place] = prefix .. place
  end
  return list
end

local function make(lines, ...)
  return assert(loadstring(table.concat(lines, "\n"), "=rovk.compile"))(...)
end

-- "v1, v2, " as the beginning of a list.
local function leading(list)
  return #list > 0 and table.concat(list, ", ") .. ", " or ""
end

--- Makes record(v1, v2, ...): a table of values by name.
-- @param names of the values
-- @param printed the metatable of the records
function compile.record(names, printed)
  local values, parts = numbered("v", #names), {}
  for place, name in ipairs(names) do
    parts[place] = ("[%q] = v%d"):format(name, place)
  end
  return make({
    "local printed, setmetatable = ...",
    ("return function(%s)"):format(table.concat(values, ", ")),
    ("  return setmetatable({ %s }, printed)"):format(table.concat(parts, ", ")),
    "end",
  }, printed, setmetatable)
end

--- Makes answer_for(task): a callback that leaves an answer with its task as `came`, unless the task waits for
-- something else; values by name where `printed`, their metatable, is given, else as a list.
-- @param names of the values
function compile.answer(names, printed)
  local values, parts = numbered("v", #names), {}
  for place, name in ipairs(names) do
    parts[place] = printed and ("[%q] = v%d"):format(name, place) or "v" .. place
  end
  local result = ("{ %s }"):format(table.concat(parts, ", "))
  if #names == 0 then
    result = "true"
  elseif printed then
    result = ("setmetatable(%s, printed)"):format(result)
  end
  return make({
    "local printed, setmetatable = ...",
    "return function(task)",
    "  local answer, queue",
    "  queue = task.queue",
    ("  function answer(%stold)"):format(leading(values)),
    "    if task.waits ~= answer then return end",
    "    if told.error_id == 0 then task.came = " .. result,
    "    else task.came, task.told = nil, told end",
    -- What `ready` does.
    "    task.waits = false",
    "    local last = queue.last + 1",
    "    queue.last = last",
    "    queue[last] = task",
    "  end",
    "  return answer",
    "end",
  }, printed, setmetatable)
end

-- One input, checked where it is a plain number and handed to `check` where it is anything else.
local function check_line(place, input)
  local value = "v" .. place
  if input.bytes then
    return ("  %s = check(form, inputs[%d], %s)"):format(value, place, value)
  end
  return ("  if type(%s) ~= \"number\" or not (%s >= %.0f and %s <= %.0f) or %s %% 1 ~= 0 then %s = check(form, "
    .. "inputs[%d], %s) end"):format(value, value, input.low, value, input.high, value, value, place, value)
end

--- Makes two functions that check inputs and give them in the order of the native function, the device's index, where
-- the command takes it from there, in its place: named(index, table) and listed(index, v1, v2, ...).
-- @param inputs those that a caller gives, in order, each with `place` among the native function's
-- @param own_index the place of the device's index, or nil
-- @param check check(form, input, value) gives the value or raises
-- @param unknown unknown(form, table) raises for a table that has keys of no input
function compile.inputs(form, inputs, own_index, check, unknown)
  local values, results = numbered("v", #inputs), {}
  local checks, fetches = {}, {}
  for place, input in ipairs(inputs) do
    results[input.place] = values[place]
    checks[place] = check_line(place, input)
    fetches[place] = ("  local v%d = given[%q]"):format(place, input.name)
  end
  if own_index then
    results[own_index] = "index"
  end
  local tail = "  return " .. table.concat(results, ", ")
  local head = "local form, inputs, check, unknown, type, next = ..."
  local named = { head, "return function(index, given)", "  local count = 0",
    "  for _ in next, given do count = count + 1 end" }
  local listed = { head, ("return function(index%s%s)"):format(#values > 0 and ", " or "", table.concat(values, ", ")) }
  for place = 1, #inputs do
    named[#named + 1] = fetches[place]
  end
  for place, value in ipairs(values) do
    named[#named + 1] = ("  if %s ~= nil then count = count - 1 end"):format(value)
    listed[#listed + 1] = checks[place]
  end
  named[#named + 1] = "  if count > 0 then unknown(form, given) end"
  for place = 1, #inputs do
    named[#named + 1] = checks[place]
  end
  for _, lines in ipairs { named, listed } do
    lines[#lines + 1] = tail
    lines[#lines + 1] = "end"
  end
  return make(named, form, inputs, check, unknown, type, next), make(listed, form, inputs, check, unknown, type, next)
end

-- Looks at a call without the native half; what is wrong is raised.
local function look_in_lua(form, arguments)
  local find_barrier = barriers.find
  return function(thread, class, self, ...)
    if getmetatable(self) == class and not find_barrier(thread) then
      return true, arguments(form, self.index, ...)
    end
  end
end

--- Makes look(thread, class, self, ...): true and the inputs of the native function where the call is right, `self`
-- of that class and the coroutine one that can yield here; nothing, or an error, anywhere else.
-- @param form with its inputs
-- @param arguments arguments(form, index, ...) gives the inputs or raises
function compile.look(form, arguments)
  local names, lows, highs = {}, {}, {}
  local native = barriers.look_for
  for place, input in ipairs(form.inputs) do
    names[place], lows[place], highs[place] = input.name, input.low, input.high
    native = not input.bytes and native
  end
  return native and native(names, lows, highs, form.own_index or 0) or look_in_lua(form, arguments)
end

--- Makes method(self, ...): sends a command in the task that may ask and waits, where all is as it should be.
-- @param count the native function's inputs
-- @param given what it needs, by name: `look`, `class`, `asking`, `options` that are no others, `answer_for`,
--   `native`, `yield`, `WAITS`, failed(self) where the answer was no good, slow(self, ...) for any other call
function compile.method(count, given)
  local values = table.concat(numbered("v", count), ", ")
  local more = count > 0 and ", " .. values or ""
  return make({
    "local given = ...",
    "local look, class, asking, options, answer_for = given.look, given.class, given.asking, given.options, "
      .. "given.answer_for",
    "local native, yield, WAITS, failed, slow = given.native, given.yield, given.WAITS, given.failed, given.slow",
    "return function(self, ...)",
    "  local task = asking.task",
    "  if task then",
    -- In rovk.pcall the root is not the coroutine that runs, and any call is one for `slow`.
    ("    local right%s = look(task.root, class, self, ...)"):format(more),
    "    if right and asking.scheduler == self.scheduler and self.options == options then",
    "      local answer = task[answer_for]",
    "      if not answer then",
    "        answer = answer_for(task)",
    "        task[answer_for] = answer",
    "      end",
    ("      local came = yield(WAITS, native, self.address, answer%s)"):format(more),
    "      if came then return came end",
    "      return failed(self)",
    "    end",
    "  end",
    "  return slow(self, ...)",
    "end",
  }, given)
end

return compile
