-- Says from outside of a script where its units are, so that a finished script runs on another unit unchanged.

local unit_text = {}

-- Both say what the unit is: who names one means no other.
local INSTEAD = { profile = "file", file = "profile" }

--- What a script's own text becomes: one that is left out is the given one; else it gets those options that it does
-- not name itself. A text for another way to a unit stays as it is.
function unit_text.fill(own, given)
  if own == nil or own == "" then
    return given
  end
  local way, options = own:match("^([^?]*)%??(.*)$")
  local given_way, more = given:match("^([^?]*)%??(.*)$")
  if way ~= given_way then
    return own
  end
  local named, all = {}, {}
  for option in options:gmatch("[^&]+") do
    named[option:match("^[^=]*")] = true
    all[#all + 1] = option
  end
  for option in more:gmatch("[^&]+") do
    local key = option:match("^[^=]*")
    if not named[key] and not named[INSTEAD[key]] then
      all[#all + 1] = option
    end
  end
  return #all > 0 and way .. "?" .. table.concat(all, "&") or way
end

--- Has every unit that is opened from now on opened by its text filled up with the given one.
function unit_text.impose(given)
  local module = require("rovk_message")
  local init = module.rovktrans_init
  function module.rovktrans_init(...)
    local own = (...)
    if select("#", ...) == 2 and (own == nil or type(own) == "string") then
      return init(unit_text.fill(own, given), (select(2, ...)))
    end
    return init(...)
  end
end

return unit_text
