-- What the libraries below offer for waiting and for telling the time, under one form, so that the rest of the
-- companion need not know. Ours deliver when told to (rovk_loop) and have the unit's clock (rovk_unit). Above others,
-- as on a real unit, callbacks come when the library sees fit, a wait is made of small commands, and the time is
-- the machine's.

local errors = require("rovk.errors")
local rovk = require("rovk_message")

local platform = {}
errors.room()

-- How long one wait on the real clock lasts at most, so that an interrupt of the interpreter gets through.
local SLICE_MS = 200
-- The statuses with which a dispatch says that nothing can come any more: ENODATA, EDEADLK.
local NOTHING_LEFT = { [-61] = true, [-35] = true }

local function optional(name)
  local ok, module = pcall(require, name)
  return ok and module or nil
end

-- The best clock that is at hand, in milliseconds. os.time counts whole seconds.
local function machine_clock()
  local time = optional("posix.time")
  if time and time.clock_gettime then
    return function()
      local now = time.clock_gettime(time.CLOCK_MONOTONIC)
      return now.tv_sec * 1000 + now.tv_nsec / 1e6
    end
  end
  local socket = optional("socket")
  if socket and socket.gettime then
    return function()
      return socket.gettime() * 1000
    end
  end
  return function()
    return os.time() * 1000
  end
end

local function with_unit_clock(self, hand)
  local ok, reading = pcall(hand.now, self.context)
  if not ok or not reading then
    return false
  end
  function self.now()
    return hand.now(self.context)
  end
  self.virtual = hand.advance(self.context, 0) == true
  return true
end

local function with_loop(self, loop, hand)
  self.loop = true
  function self.descriptor()
    return loop.fd(self.context)
  end
  -- Delivers what is due, without waiting.
  function self.deliver()
    return loop.dispatch(self.context, 0)
  end
  -- Waits until something was delivered, at most `ms` milliseconds (nil: no limit). False: nothing can come any more.
  function self.wait(ms)
    if not self.virtual then
      local count, message, status = loop.dispatch(self.context, math.min(ms or SLICE_MS, SLICE_MS))
      if not count and not NOTHING_LEFT[status] then
        return nil, message, status
      end
      return true
    end
    local before = ms and self.now()
    local count, message, status = loop.dispatch(self.context, ms and math.ceil(ms) or -1)
    if not count and not NOTHING_LEFT[status] then
      return nil, message, status
    elseif (count or 0) > 0 then
      return true
    elseif not ms then
      return false
    end
    -- Where nobody else has anything to do, a virtual clock has no reason to move by itself.
    local left = before + ms - self.now()
    if left > 0 then
      hand.advance(self.context, left)
    end
    return true
  end
end

-- Each round asks the router for a number that changes nothing: callbacks may come meanwhile.
local function with_polling(self, options)
  self.loop = false
  function self.deliver()
    rovk.rovktrans_router_0000_get_count(self.context, rovk.ROVK_ROUTER_PERIPHERAL_ADDRESS)
    return 0
  end
  function self.wait(ms)
    if options.sleep then
      options.sleep(math.min(ms or SLICE_MS, 10))
    end
    self.deliver()
    return true
  end
end

--- @param context a transaction context
-- @param options `clock`, a function that gives milliseconds, and `sleep`, one that takes them: both for a unit
--   whose libraries have neither
function platform.of(context, options)
  local self = { context = context, virtual = false }
  local loop, hand = optional("rovk_loop"), optional("rovk_unit")
  -- Where they stand above other libraries, each of their functions raises an error.
  local delivers = loop and pcall(loop.dispatch, context, 0)
  if options.clock then
    self.now = options.clock
  elseif not (hand and with_unit_clock(self, hand)) then
    self.now = machine_clock()
  end
  if delivers then
    with_loop(self, loop, hand)
  else
    with_polling(self, options)
  end
  return self
end

return platform
