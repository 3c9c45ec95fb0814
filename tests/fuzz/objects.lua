-- Records: made, read, written, and the functions of their metatables called for what they are not meant for.

local env = ...
local fuzz, random, pick, pool = fuzz, env.random, env.pick, env.pool -- luacheck: globals fuzz
local note, keep, show, value, call = env.note, env.keep, env.show, env.value, env.call
local rovk, companion = env.rovk, env.companion

local attribute_lists = {}

-- The attributes of a class in an order that does not vary, and its metatable.
local function attributes_of(object)
  local meta = debug.getmetatable(object)
  local class = type(meta) == "table" and rawget(meta, ".type")
  local getters = class and rawget(meta, ".get")
  if type(getters) ~= "table" then
    return nil
  end
  if not attribute_lists[class] then
    local list = {}
    for name in pairs(getters) do
      if type(name) == "string" then
        list[#list + 1] = name
      end
    end
    table.sort(list)
    attribute_lists[class] = list
  end
  local list = attribute_lists[class]
  return #list > 0 and list or nil, meta
end

local function draw_object()
  for _ = 1, 10 do
    local object = #pool > 0 and pick(pool)
    if type(object) == "userdata" and attributes_of(object) then
      return object
    end
  end
  return env.object(pick(env.classes))
end

local function make()
  local class = pick(env.classes)
  note("make " .. class)
  keep(env.make(class, random(30) == 1 and 1 or 0))
end

local function read()
  local object = draw_object()
  local list = attributes_of(object)
  local name = list and random(20) > 1 and pick(list) or env.text()
  note(("read %s.%s"):format(show(object), tostring(name)))
  local got = object[name]
  if type(got) == "userdata" then
    keep(got)
    if random(3) == 1 then
      pcall(companion.elements, got)
    end
  end
end

local function write()
  local object = draw_object()
  local list = attributes_of(object)
  local name = list and random(20) > 1 and pick(list) or env.text()
  local now = object[name]
  local new
  if random(8) == 1 then
    new = env.any()
  elseif type(now) == "number" then
    new = env.number()
  elseif type(now) == "string" then
    new = env.text()
  elseif type(now) == "userdata" and random(2) == 1 then
    -- An array or a record of another object, of which some are shorter.
    for _ = 1, 4 do
      local other = draw_object()
      local names = attributes_of(other)
      new = names and other[pick(names)]
      if type(new) == "userdata" and swig_type(new) == swig_type(now) then
        break
      end
    end
  else
    new = draw_object()
  end
  note(("write %s.%s = %s"):format(show(object), tostring(name), show(new)))
  object[name] = new
end

-- An accessor called for what it is not meant for.
local function call_accessor()
  local list, meta = attributes_of(draw_object())
  if not list then
    return
  end
  local field = random(2) == 1 and ".get" or ".set"
  local name = pick(list)
  local action = rawget(meta, field) and rawget(meta, field)[name]
  if type(action) == "function" then
    local target = random(3) > 1 and draw_object() or env.any()
    local count = field == ".get" and 1 or 2
    if random(15) == 1 then
      count = random(5) - 1
    end
    call(field .. " " .. name, action, count, { target, random(2) == 1 and draw_object() or env.any(), 1, 2, 3 })
  end
end

local METAMETHODS = { "__index", "__newindex", "__gc", "__gc", "__tostring", "__disown", "__disown" }

local function call_metamethod()
  local object = draw_object()
  local list, meta = attributes_of(object)
  if not list then
    return
  end
  local name = pick(METAMETHODS)
  local target = random(4) > 1 and draw_object() or env.any()
  if name == "__disown" then
    local action = rawget(meta, ".fn")
    if type(action) == "table" and action.__disown then
      note(("__disown(%s)"):format(show(target)))
      fuzz.disown(action.__disown, target)
    end
    return
  end
  call(name, meta[name], random(4) - 1, { target, random(2) == 1 and pick(list) or env.any(), env.any() })
end

local VARIABLES = { "rovk_protocol_version", "rovk_common_api_version", "rovk_led_0001_api_version" }

local function variable()
  local name = pick(VARIABLES)
  note("variable " .. name)
  if random(2) == 1 then
    keep(rovk[name])
  else
    rovk[name] = value("v")
  end
end

local function module_metamethod()
  local meta = getmetatable(rovk)
  local name = random(2) == 1 and "__index" or "__newindex"
  call("module " .. name, meta[name], random(4) - 1,
    { random(2) == 1 and rovk or env.any(), random(2) == 1 and pick(VARIABLES) or env.text(), env.any() })
  for _, text in ipairs { "", "x", "12", "sim", "major", "route" } do -- what a step may have stored there
    rawset(rovk, text, nil)
  end
end

local function look()
  local one, other = env.any(), env.any()
  note(("look at %s, %s"):format(show(one), show(other)))
  swig_type(one)
  swig_equals(one, other)
  if type(one) == "userdata" then
    tostring(one)
  end
end

env.attributes_of, env.draw_object = attributes_of, draw_object

return {
  make = make, read = read, write = write, call_accessor = call_accessor, call_metamethod = call_metamethod,
  variable = variable, module_metamethod = module_metamethod, look = look,
}
