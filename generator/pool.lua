-- Keeps one copy of what recurs: single rows, or lists that stand behind each other in one array.

local pool = {}
pool.__index = pool

function pool.new()
  return setmetatable({ items = {}, known = {} }, pool)
end

-- The place of an item, from 0.
function pool:add(item)
  if not self.known[item] then
    self.items[#self.items + 1] = item
    self.known[item] = #self.items - 1
  end
  return self.known[item]
end

-- The place of the first item of a list, from 0.
function pool:add_list(list)
  if #list == 0 then
    return 0
  end
  local key = table.concat(list, " ")
  if not self.known[key] then
    self.known[key] = #self.items
    for _, item in ipairs(list) do
      self.items[#self.items + 1] = item
    end
  end
  return self.known[key]
end

return pool
