-- What is to happen at a time: a heap, the earliest on top, equal times in the order in which they were set.

local timers = {}

local function earlier(one, other)
  return one.due < other.due or one.due == other.due and one.number < other.number
end

local function rise(heap, place)
  local entry = heap[place]
  while place > 1 do
    local above = math.floor(place / 2)
    if not earlier(entry, heap[above]) then
      break
    end
    heap[place] = heap[above]
    place = above
  end
  heap[place] = entry
end

local function sink(heap, place)
  local entry, count = heap[place], heap.count
  while true do
    local below = 2 * place
    if below > count then
      break
    end
    if below < count and earlier(heap[below + 1], heap[below]) then
      below = below + 1
    end
    if not earlier(heap[below], entry) then
      break
    end
    heap[place] = heap[below]
    place = below
  end
  heap[place] = entry
end

function timers.new()
  return { count = 0, dead = 0, number = 0 }
end

--- Has `action(argument)` called at `due`, by whoever takes it from the heap. Gives the entry.
function timers.add(heap, due, action, argument)
  heap.number = heap.number + 1
  local entry = { due = due, number = heap.number, action = action, argument = argument }
  heap.count = heap.count + 1
  heap[heap.count] = entry
  rise(heap, heap.count)
  return entry
end

local function remove_top(heap)
  local last = heap.count
  heap[1] = heap[last]
  heap[last] = nil
  heap.count = last - 1
  if heap.count > 0 then
    sink(heap, 1)
  end
end

-- Most time limits never pass: what was dropped is thrown out when it is more than what is alive.
local function compact(heap)
  local alive = 0
  for place = 1, heap.count do
    local entry = heap[place]
    heap[place] = nil
    if not entry.dropped then
      alive = alive + 1
      heap[alive] = entry
    end
  end
  heap.count, heap.dead = alive, 0
  for place = math.floor(alive / 2), 1, -1 do
    sink(heap, place)
  end
end

function timers.drop(heap, entry)
  if entry.dropped then
    return
  end
  entry.dropped, entry.action, entry.argument = true, nil, nil
  heap.dead = heap.dead + 1
  if heap.dead > 64 and heap.dead > heap.count / 2 then
    compact(heap)
  end
end

--- The time of the earliest; nil: there is none.
function timers.first(heap)
  while heap.count > 0 and heap[1].dropped do
    remove_top(heap)
    heap.dead = heap.dead - 1
  end
  return heap.count > 0 and heap[1].due or nil
end

--- Takes the earliest out if it is due at `now`. Gives the entry, its action and the argument.
function timers.take(heap, now)
  local due = timers.first(heap)
  if not due or due > now then
    return nil
  end
  local entry = heap[1]
  remove_top(heap)
  -- Out of the heap: dropping it later is nothing to count.
  entry.dropped = true
  return entry, entry.action, entry.argument
end

return timers
