-- For busted: tells the host program of each test that begins.
local busted, memory = require("busted"), memory -- luacheck: globals memory

busted.subscribe({ "test", "start" }, function(element)
  memory.start(element)
  return nil, true
end, { priority = 1 })
