-- Events as they come: a button, an alarm contact, a movement, a reset. A script on a desk has no
-- finger on the button, so rovk_unit causes what we wait for.
local rovk = require "rovk_message"
local loop = require "rovk_loop"
local unit = require "rovk_unit"

local status, context = rovk.rovktrans_init("sim?clock=virtual", nil)
assert(status == 0, "no unit")
-- An error in a callback would else leave one line in the log and nothing more.
loop.on_error(function(message, traceback)
  io.stderr:write(tostring(message), "\n", traceback, "\n")
  os.exit(1)
end)

local function find(service, device)
  local found = rovk.rovktrans_find_device(context, rovk["ROVK_" .. service:upper() .. "_PERIPHERAL_ID"],
    rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. device])
  if not found then
    io.stderr:write(("%s has no device %s on this unit\n"):format(service, device))
    os.exit(1)
  end
  return found
end

local subscriptions = {}

-- Calls `action` with the values of each such event. An event does not tell who raised it: a function
-- for each peripheral keeps them apart.
local function on(service, event, address, action)
  local name = "rovktrans_" .. service .. "_" .. event
  local handle = assert(rovk[name .. "_register_callback_lua"](context, address, action))
  subscriptions[#subscriptions + 1] = function()
    assert(rovk[name .. "_unregister_callback_lua"](context, address, handle) == 0)
  end
end

local button = find("button_0002", "BUTTON_RESET")
local alarm = find("alarm_0017", "ALARM_GPIO")
local head = find("positioning_002a", "POSITIONING_OPTICAL")

on("button_0002", "state_change", button.address, function(index, pressed)
  print(("button %d %s"):format(index, pressed == 1 and "pressed" or "released"))
end)
on("alarm_0017", "state_change", alarm.address, function(index, state)
  local names = {
    [rovk.ROVK_ALARM_0017_STATE_OPEN] = "open",
    [rovk.ROVK_ALARM_0017_STATE_CLOSED] = "closed",
    [rovk.ROVK_ALARM_0017_STATE_SABOTAGE] = "sabotaged",
  }
  print(("alarm contact %d %s"):format(index, names[state]))
end)
on("positioning_002a", "movement_change", head.address, function(index, pan, tilt, zoom)
  print(("head %d movement: pan %d, tilt %d, zoom %d"):format(index, pan, tilt, zoom))
end)
on("common", "reset_occurred", button.address, function(kind)
  print(("the button's peripheral was reset, type %d"):format(kind))
end)

-- Something happens, then time passes; dispatch runs what has come due meanwhile.
local function happen(action, ...)
  assert(action(context, ...))
  assert(unit.advance(context, 1000))
  while assert(loop.dispatch(context, 0)) > 0 do end
end

happen(unit.press, button.index)
happen(unit.release, button.index)
happen(unit.set, "alarm", alarm.index, 1)
happen(unit.reset, button.address, 3)
happen(function()
  local result, errors = rovk.rovktrans_positioning_002a_set_velocity(context, head.address, head.index, 1000, 0, 0)
  return result == 0, "refused with error " .. errors.error_id
end)

for _, unsubscribe in ipairs(subscriptions) do
  unsubscribe()
end
happen(unit.press, button.index)
print("and silence after the subscriptions ended")
assert(rovk.rovktrans_deinit(context) == 0)
