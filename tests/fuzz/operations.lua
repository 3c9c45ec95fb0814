-- What a step can be: a list of { weight, function }, and what its rooms share. Every operation tells of itself before
-- it acts.

local env = ...
local random, note, keep, show, value = env.random, env.note, env.keep, env.show, env.value

-- Nothing runs between finding the end and storing there. In a list's own constructor a finalizer may, which adds
-- to the list or takes from it.
function env.append(list, new)
  list[#list + 1] = new
end

-- Calls, and keeps what comes back.
function env.call(name, action, count, arguments)
  local shown = {}
  for position = 1, count do
    shown[position] = show(arguments[position])
  end
  note(("%s(%s)"):format(name, table.concat(shown, ", ")))
  local results = { action(unpack(arguments, 1, count)) }
  for position = 1, #results do
    if type(results[position]) == "userdata" then
      keep(results[position])
    end
  end
  return unpack(results, 1, 4)
end

function env.draw_arguments(words, from)
  local arguments, count = {}, 0
  for position = from, #words do
    count = count + 1
    arguments[count] = value(words[position])
  end
  if random(40) == 1 then
    count = random(18) - 1
  end
  return count, arguments
end

-- Whether something that wants account may be done here. Where memory ends or an error strikes anywhere, its
-- result may be lost; then what the episode leaves says nothing.
function env.accountable()
  if env.rough then
    if random(10) > 1 then
      return false
    end
    env.unaccounted = true
  end
  return true
end

local function room(name)
  return assert(loadfile(env.here .. "/" .. name .. ".lua"))(env)
end

local calls, objects, disorder = room("calls"), room("objects"), room("disorder")

pcall(calls.open)
return {
  { 22, calls.call_function },
  { 8, function() calls.call_function("_async_lua$") end },
  { 4, function() calls.call_function("_retrieve_") end },
  { 3, function() calls.call_function("_initialize_") end },
  { 3, calls.open }, { 2, calls.close }, { 7, calls.subscribe }, { 5, calls.unsubscribe }, { 5, calls.call_internal },
  { 8, objects.make }, { 14, objects.read }, { 16, objects.write }, { 10, objects.call_accessor },
  { 9, objects.call_metamethod }, { 2, objects.variable }, { 2, objects.module_metamethod }, { 4, objects.look },
  { 10, calls.companion_call }, { 8, calls.deliver },
  { 4, disorder.thread }, { 4, disorder.finalizer }, { 3, disorder.collect }, { 1, disorder.forget },
  { 3, disorder.starve }, { 3, disorder.interrupt }, { 2, disorder.sabotage }, { 2, disorder.disguise },
  { 0.05, disorder.child }, { 0.02, disorder.reopen },
}
