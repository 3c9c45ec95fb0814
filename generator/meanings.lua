-- What a field means beside its place and type: `doc`, `unit`, `min` and `max` where the protocol fixes them,
-- and `values`, the numbers that have names. `values` is a pattern over constants, as in
-- "ROVK_RELAY_0019_STATE_*", or a list of patterns and of pairs of number and word, as in { 0, "off" }.
-- What a name means wherever it stands is told once: in the `fields` of its service, or of the protocol file
-- when that has none. A field's own keys go before them.

local checks = require("checks")
local units = require("units")

local meanings = {}

local KEYS = { doc = true, unit = true, values = true, min = true, max = true }

-- The least and the greatest number of a field's type.
local function type_range(type_of)
  local span = 2 ^ (8 * type_of.width)
  if type_of.signed then
    return -span / 2, span / 2 - 1
  end
  return 0, span - 1
end

local function check(file, where, item, type_of)
  checks.doc(file, where, item)
  if item.unit ~= nil and not units.DECLARED[item.unit] then
    checks.fail(file, where, "unit '%s' is none of generator/units.lua", tostring(item.unit))
  end
  if type_of.kind ~= "number" then
    for _, key in ipairs { "values", "min", "max" } do
      if item[key] ~= nil then
        checks.fail(file, where, "%s is for numbers alone", key)
      end
    end
    return
  end
  local low, high = type_range(type_of)
  for _, key in ipairs { "min", "max" } do
    if item[key] ~= nil then
      checks.number(file, where, key, item[key], low, high)
    end
  end
  if (item.min or low) > (item.max or high) then
    checks.fail(file, where, "min %d is above max %d", item.min or low, item.max or high)
  end
end

-- Begins a file whose `fields`, which may be missing, tell what is usual for a name.
function meanings.begin(context, file, fields)
  for name, item in pairs(fields or {}) do
    local where = ("fields, '%s'"):format(tostring(name))
    checks.keys(file, where, item, KEYS)
    checks.doc(file, where, item)
  end
  context.usual, context.used = fields or {}, {}
end

-- Ends it: a name that no field has is a mistake.
function meanings.finish(context, file)
  for name in pairs(context.usual) do
    if not context.used[name] then
      checks.fail(file, ("fields, '%s'"):format(name), "no field has that name")
    end
  end
end

-- What the field `name` means, of which `item` is the declaration. Its values are named by `resolve`, which
-- looks for the key `field`.
function meanings.of(context, file, where, item, type_of)
  local name = item[2]
  local usual = context.usual[name] or context.protocol.fields[name] or {}
  context.used[name] = true
  local meaning = { file = file, where = where, type = type_of }
  for key in pairs(KEYS) do
    meaning[key] = item[key]
    -- One name may be a number here and bytes there: of those only the description is usual.
    if item[key] == nil and (key == "doc" or type_of.kind == "number") then
      meaning[key] = usual[key]
    end
  end
  check(file, where, meaning, type_of)
  if meaning.values ~= nil then
    context.pending[#context.pending + 1] = meaning
  end
  return meaning
end

-- The constants of the first list that has any. Their names are short where the pattern alone tells what is meant.
local function constants_of(pattern, lists, short)
  local head, star = pattern:match("^([%u%d_]+)(%*?)$")
  for _, list in ipairs(head and lists or {}) do
    local found = {}
    for _, constant in ipairs(list) do
      if constant.name == head or star ~= "" and constant.name:sub(1, #head) == head then
        found[#found + 1] = { value = constant.value, constant = constant.name, doc = constant.doc,
          name = constant.name:sub(short and star ~= "" and #head + 1 or 1):lower() }
      end
    end
    if #found > 0 then
      return found
    end
  end
  return nil
end

-- From the declared form to a list of value, name and, where there is one, constant.
local function name_values(meaning, lists)
  local file, where, declared = meaning.file, meaning.where, meaning.values
  local short = type(declared) == "string"
  if short then
    declared = { declared }
  end
  checks.list(file, where .. ", values", declared)
  local values, seen = {}, {}
  local low, high = type_range(meaning.type)
  local function add(value)
    local name = value.constant or value.name
    checks.number(file, where, "value", value.value, low, high)
    if seen[value.value] then
      checks.fail(file, where, "value %d is both '%s' and '%s'", value.value, seen[value.value], name)
    end
    seen[value.value] = name
    values[#values + 1] = value
  end
  for _, item in ipairs(declared) do
    if type(item) == "string" then
      local found = constants_of(item, lists, short)
      if not found then
        checks.fail(file, where, "no constant is named '%s'", item)
      end
      for _, value in ipairs(found) do
        add(value)
      end
    else
      checks.keys(file, where .. ", values", item, { true, true, doc = true })
      checks.doc(file, where .. ", values", item)
      if type(item[2]) ~= "string" or not item[2]:match("^%l[%l%d_ ]*$") then
        checks.fail(file, where, "'%s' is no word for a value", tostring(item[2]))
      end
      add({ value = item[1], name = item[2], doc = item.doc })
    end
  end
  if #values == 0 then
    checks.fail(file, where, "values has no value")
  end
  return values
end

-- Names the values of all fields. Their constants may stand behind the field, in the file of common or in the
-- protocol's, and are looked for in this order: the field's own file, common, protocol.
function meanings.resolve(context, services)
  local own = {}
  for _, service in ipairs(services) do
    own[service.file] = service.constants
  end
  for _, meaning in ipairs(context.pending) do
    meaning.field.values = name_values(meaning,
      { own[meaning.file] or {}, services[1].constants, context.constants })
  end
end

return meanings
