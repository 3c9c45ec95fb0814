-- How the functions of the C interface are spelled: one rule for headers, stubs and invokers.

local c_types = {}

local WIDTHS = {
  [1] = { [true] = "int8_t", [false] = "uint8_t" },
  [2] = { [true] = "int16_t", [false] = "uint16_t" },
  [4] = { [true] = "int32_t", [false] = "uint32_t" },
}

-- The fixed-width type of a number, whatever the protocol calls it.
function c_types.number(item)
  return WIDTHS[item.width][item.signed or false]
end

local function input(argument)
  local kind = argument.kind
  if kind == "number" then
    return c_types.number(argument)
  elseif kind == "table" then
    return "const uint8_t *"
  elseif kind == "aliases" then
    return "const uint16_t *"
  elseif kind == "version" then
    return "struct rovk_version"
  elseif kind == "opaque" then
    return "void *"
  elseif kind == "text" then
    return "const char *"
  elseif kind == "fn" then
    return "SWIGLUA_FN"
  elseif argument.callback then
    return argument.callback.name
  end
  return argument.text
end

-- A value that a callback receives.
local function value(item)
  if item.kind == "version" then
    return "struct rovk_version"
  elseif item.kind == "array" then
    return c_types.number(item) .. " *"
  end
  return c_types.number(item)
end

-- Where a value goes that the library gives back. A reader fills the caller's array; a transaction
-- allocates it and stores its address.
local function output(item, heap_arrays)
  if item.kind == "version" then
    return "struct rovk_version *"
  elseif item.kind == "array" and heap_arrays then
    return c_types.number(item) .. " **"
  end
  return c_types.number(item) .. " *"
end

local function parameter_list()
  local list, used = {}, {}
  return list, function(type_text, name)
    while used[name] do
      name = name .. "_out"
    end
    used[name] = true
    list[#list + 1] = { type = type_text, name = name }
  end
end

-- Names of the leading arguments, by family.
local LEADING = {
  initialize = function(item)
    if item.name:match("_command$") or item.event then
      return { "message", "address" }
    end
    return item.error and { "response", "command", "address" } or { "response", "command" }
  end,
  retrieve = function() return { "message" } end,
  retrieve_status = function() return { "message" } end,
}

-- Returns the C form of a function: its result type and its parameters in order, each with `type`
-- and `name`.
function c_types.signature(item)
  local list, add = parameter_list()
  local leading = LEADING[item.family] and LEADING[item.family](item) or {}
  local const_from = item.family:match("^retrieve") and 1 or item.family == "initialize" and 2 or nil
  if item.library == "trans" and item.family == "status" or item.library == "bridge" then
    leading = { "context", "address" }
    for position = 3, #item.arguments do
      local argument = item.arguments[position]
      if argument.callback then
        leading[position] = "callback"
      elseif argument.kind == "fn" then
        leading[position] = "fn"
      elseif argument.text:match("^struct rovk_error_.*_error %*$") then
        leading[position] = "error"
      elseif argument.kind == "opaque" then
        leading[position] = "user"
      end
    end
  elseif item.family == "status" then
    leading = { "message", "error" }
    const_from = 1
  elseif item.family == "blocking" then
    leading = { "context", "address" }
  end
  for position, argument in ipairs(item.arguments) do
    local type_text = input(argument)
    if item.family == "internal_command" or item.family == "internal_event" then
      type_text = type_text:gsub("^const ", "")
    end
    if argument.text == "struct rovk_message *" and const_from and position >= const_from then
      type_text = "const " .. type_text
    end
    add(type_text, leading[position] or argument.name or ("argument_%d"):format(position))
    if item.family == "blocking" and position == 2 then
      add(("struct rovk_error_%s_error **"):format(item.service.name), "error")
    end
  end
  for _, result in ipairs(item.results) do
    add(output(result, item.family == "blocking"), result.name)
  end
  local result = "int32_t"
  if item.family == "internal_command" or item.family == "internal_event" then
    result = "void"
  elseif item.family == "register" then
    result = "swiglua_ref *"
  elseif item.family == "unregister" then
    list[3].type = "swiglua_ref *"
  end
  return result, list
end

-- The parameters of a command's or an event's callback type.
function c_types.callback_parameters(service, record, with_error)
  local list, add = parameter_list()
  add("void *", "context")
  add("uint16_t", "address")
  if with_error then
    add(("struct rovk_error_%s_error *"):format(service.name), "error")
  end
  for _, field in ipairs(record and record.values or {}) do
    local kind = field.kind == "record" and "version" or field.kind
    add(value({ kind = kind, width = field.width, signed = field.signed }), field.name)
  end
  add("void *", "user")
  return list
end

function c_types.spell(parameters)
  local out = {}
  for position, parameter in ipairs(parameters) do
    local glue = parameter.type:match("%*$") and "" or " "
    out[position] = parameter.type .. glue .. parameter.name
  end
  return #out == 0 and "void" or table.concat(out, ", ")
end

return c_types
