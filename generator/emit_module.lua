-- The module's static tables: what the open sequence installs, and the rows behind the wrappers, with
-- one thunk for each. Lists that recur are pooled.

local c_types = require("c_types")
local pool = require("pool")
local texts = require("texts")
local writer = require("writer")

local FAMILIES = {
  initialize = "FAMILY_PLAIN", status = "FAMILY_STATUS", retrieve = "FAMILY_RETRIEVE",
  retrieve_status = "FAMILY_RETRIEVE_STATUS", blocking = "FAMILY_BLOCKING", register = "FAMILY_REGISTER",
  unregister = "FAMILY_UNREGISTER", internal_command = "FAMILY_INTERNAL_COMMAND",
  internal_event = "FAMILY_INTERNAL_EVENT",
}

local ARGUMENT_KINDS = {
  pointer = "ARGUMENT_POINTER", opaque = "ARGUMENT_OPAQUE", version = "ARGUMENT_VERSION", text = "ARGUMENT_TEXT",
  fn = "ARGUMENT_FUNCTION", table = "ARGUMENT_BYTES", aliases = "ARGUMENT_ALIASES",
}

local function quoted(text)
  return text and ('"%s"'):format(text) or "nullptr"
end

-- The text of a failed type check. A callback type is named after its function, so its text need not be kept.
local function argument_text(argument)
  return not argument.callback and argument.text or ""
end

local function argument_row(model, argument, coded)
  local kind = ARGUMENT_KINDS[argument.kind]
  if argument.kind == "number" then
    kind = argument.signed and "ARGUMENT_SIGNED" or "ARGUMENT_UNSIGNED"
  end
  local type_name = argument.kind == "opaque" and "_p_void" or argument.type
  local type_index = type_name and model.types_by_name[type_name].index or 0
  return ("{%d, %d, %s, %d}"):format(coded:place(argument_text(argument)), type_index, kind, argument.width or 0)
end

local function value_row(value)
  local kind = ({ version = "VALUE_VERSION", array = "VALUE_ARRAY" })[value.kind]
    or value.signed and "VALUE_SIGNED" or "VALUE_UNSIGNED"
  return ("{%s, %d, %d}"):format(kind, value.width, value.count or 1)
end

-- A function without a service is plain, gives a status, or needs a hand-written function of its own.
local function fixed_family(item)
  if item.null_behind or item.name == "rovk_log_error" then
    return "FAMILY_FIXED"
  elseif #item.fixed == 0 then
    return "FAMILY_PLAIN"
  elseif #item.fixed == 1 and item.fixed[1] == "status" then
    return "FAMILY_STATUS"
  end
  return "FAMILY_FIXED"
end

-- A signature by the types that decide how arguments travel: all pointers are alike.
local function signature(item)
  local result, parameters = c_types.signature(item)
  local types = {}
  for position, parameter in ipairs(parameters) do
    local text = parameter.type
    if text:match("%*$") or text:match("_callback$") then
      text = "void *"
    end
    types[position] = text
  end
  return (result == "void" and "void" or "int32_t") .. "(" .. table.concat(types, ",") .. ")"
end

-- Functions by their distances, as the macros of distances.h tell them.
local function emit_distances(out, name, functions)
  out:line("SWIG_DISTANCES(%s,", name)
  for _, target in ipairs(functions) do
    out:line("    SWIG_DISTANCE(%s)", target)
  end
  out:line(");")
end

-- Writes functions that only the tables of distances name.
local function emit_named(out, functions)
  out:line('extern "C" {')
  for _, text in ipairs(functions) do
    out:line("SWIG_NAMED %s", text)
  end
  out:line("}")
end

local function numbered(format, count)
  local list = {}
  for number = 0, count - 1 do
    list[number + 1] = format:format(number)
  end
  return list
end

local function emit_commands(model, out, pools, coded)
  local fixed_count = 0
  local rows, targets = {}, {}
  for index, item in ipairs(model.functions) do
    local family, detail = FAMILIES[item.family], item.service and item.service.index or 0
    if not item.service then
      family, detail = fixed_family(item), 0
      if family == "FAMILY_FIXED" then
        detail, fixed_count = fixed_count, fixed_count + 1
      end
    elseif item.event and item.library == "bridge" then
      detail = item.event.index
    end
    local arguments, values = {}, {}
    for position, argument in ipairs(item.arguments) do
      arguments[position] = pools.arguments:add(argument_row(model, argument, coded))
    end
    for position, value in ipairs(item.results) do
      values[position] = value_row(value)
    end
    local invoker = 0
    if family ~= "FAMILY_FIXED" and family ~= "FAMILY_REGISTER" and family ~= "FAMILY_UNREGISTER" then
      invoker = pools.invokers:add(signature(item))
    end
    targets[index] = family == "FAMILY_FIXED" and "nullptr"
      or ("reinterpret_cast<native_function>(%s)"):format(item.target)
    rows[index] = ("{%d, %d, %d, %d, %d, %d, %s, %d}"):format(coded:place(item.name),
      pools.argument_lists:add_list(arguments),
      pools.value_lists:add_list(values), invoker, #item.arguments, #item.results, family, detail)
  end
  out:line("const command_row command_rows[] = {")
  for _, row in ipairs(rows) do
    out:line("    %s,", row)
  end
  out:line("};")
  out:line("const native_function command_targets[] = {")
  for _, target in ipairs(targets) do
    out:line("    %s,", target)
  end
  out:line("};")
  local thunks = {}
  for index in ipairs(model.functions) do
    thunks[index] = ("int swig_command_%d(lua_State* L) { return swig_run_command(L, %d); }")
      :format(index - 1, index - 1)
  end
  emit_named(out, thunks)
  emit_distances(out, "command_wrappers", numbered("swig_command_%d", #model.functions))
  out:line("const unsigned swig_command_count = %d;", #model.functions)
end

local function emit_variables(model, out, coded)
  local thunks = {}
  for index in ipairs(model.variables) do
    for _, operation in ipairs { "get", "set" } do
      thunks[#thunks + 1] = ("int swig_variable_%s_%d(lua_State* L) { return swig_run_variable_%s(L, %d); }")
        :format(operation, index - 1, operation, index - 1)
    end
  end
  emit_named(out, thunks)
  emit_distances(out, "variable_getters", numbered("swig_variable_get_%d", #model.variables))
  emit_distances(out, "variable_setters", numbered("swig_variable_set_%d", #model.variables))
  out:line("const swig_text variable_names[] = {")
  for _, variable in ipairs(model.variables) do
    out:line("    %d,", coded:place(variable.name))
  end
  out:line("};")
  out:line("rovk_version* const variable_targets[] = {")
  for _, variable in ipairs(model.variables) do
    out:line("    &%s,", variable.name)
  end
  out:line("};")
  out:line("const unsigned swig_variable_count = %d;", #model.variables)
end

local function attribute_kind(class, field)
  if field.kind == "number" then
    return class.native and "ATTRIBUTE_NATIVE" or field.signed and "ATTRIBUTE_SIGNED" or "ATTRIBUTE_UNSIGNED"
  end
  return ({ array = "ATTRIBUTE_ARRAY", record = "ATTRIBUTE_RECORD", text = "ATTRIBUTE_TEXT" })[field.kind]
end

-- The type of the object that a read gives, and that a write takes.
local function field_type(model, field)
  local name
  if field.kind == "array" then
    name = field.element == "rovk_address" and "_p_unsigned_short" or "_p_unsigned_char"
  elseif field.kind == "record" then
    name = "_p_" .. (field.record.class or field.record.name)
  end
  return name and model.types_by_name[name].index or 0
end

-- The text of a refused value: a record's type has its star, the others stand as the catalogue has them.
local function field_text(field)
  return field.kind == "record" and field.text .. " *" or field.text
end

local function emit_classes(model, out, coded)
  local rows, thunks, getters, setters = {}, {}, {}, {}
  local value_texts, names, name_letters, name_places = pool.new(), {}, 0, {}
  for class_index, class in ipairs(model.classes) do
    for _, field in ipairs(class.record.fields) do
      local number = #rows
      if not name_places[field.name] then
        name_places[field.name] = name_letters
        names[#names + 1] = ('    "%s\\0"'):format(field.name)
        name_letters = name_letters + #field.name + 1
      end
      rows[#rows + 1] = ("{%d, %d, %d, %s, %d, %d, %d, %d}"):format(class_index - 1, field_type(model, field),
        name_places[field.name], attribute_kind(class, field), field.offset, field.size, field.width or 0,
        value_texts:add(coded:place(field_text(field))))
      getters[#getters + 1] = ("swig_attribute_get_%d"):format(number)
      thunks[#thunks + 1] = ("SWIG_ACCESSOR int %s(lua_State* L) { return swig_run_attribute_get(L, %d); }")
        :format(getters[#getters], number)
      setters[#setters + 1] = "swig_immutable_set"
      if not field.readonly then
        setters[#setters] = ("swig_attribute_set_%d"):format(number)
        thunks[#thunks + 1] = ("SWIG_ACCESSOR int %s(lua_State* L) { return swig_run_attribute_set(L, %d); }")
          :format(setters[#setters], number)
      end
    end
    thunks[#thunks + 1] = ("int swig_constructor_%d(lua_State* L) { return swig_run_constructor(L, %d); }")
      :format(class_index - 1, class_index - 1)
  end
  local function list(head, items)
    out:line("%s = {", head)
    for _, item in ipairs(items) do
      out:line("    %s,", item)
    end
    out:line("};")
  end
  list("const attribute_row attribute_rows[]", rows)
  out:line("const char attribute_names[] =")
  out:line("%s;", table.concat(names, "\n"))
  list("const uint16_t attribute_texts[]", value_texts.items)
  emit_named(out, thunks)
  emit_distances(out, "attribute_getters", getters)
  emit_distances(out, "attribute_setters", setters)
  out:line("swig_attribute_entry swig_attributes[%d];", #rows + #model.classes)
  out:line("const class_row class_rows[] = {")
  for _, class in ipairs(model.classes) do
    local item = model.types_by_name[class.type]
    out:line("    {%d, %d, %d, %s},", item.index, #class.record.fields, class.record.size, tostring(class.struct))
  end
  out:line("};")
  emit_distances(out, "class_constructors", numbered("swig_constructor_%d", #model.classes))
  out:line("swig_class_entry swig_classes[%d];", #model.classes)
  out:line("const unsigned swig_class_count = %d;", #model.classes)
end

-- A class's texts follow from its name.
local function type_pretty(item)
  return item.class and "" or item.pretty
end

local function emit_types(model, out, coded)
  local size = 0
  out:line("const type_row type_rows[] = {")
  for _, item in ipairs(model.types) do
    out:line("    {%d, %d},", coded:place(item.name), coded:place(type_pretty(item)))
    size = size + #item.name + 1 + #item.pretty + 1
  end
  out:line("};")
  out:line("char swig_type_texts[%d];", size + texts.OVERRUN)
end

local function emit_constants(model, out, coded)
  out:line("const constant_row constant_rows[] = {")
  for _, constant in ipairs(model.all_constants) do
    out:line("    {%d, %d},", constant.value, coded:place(constant.name))
  end
  out:line("};")
  out:line("const unsigned swig_constant_count = %d;", #model.all_constants)
end

-- All that is kept as codes. Those that are not of types are decoded where they are used, in a buffer.
local function code_texts(model)
  local list = {}
  local function add(text)
    assert(#text <= texts.LONGEST, text)
    list[#list + 1] = text
  end
  for _, item in ipairs(model.functions) do
    add(item.name)
    for _, argument in ipairs(item.arguments) do
      add(argument_text(argument))
    end
  end
  for _, item in ipairs(model.variables) do
    add(item.name)
  end
  for _, item in ipairs(model.all_constants) do
    add(item.name)
  end
  for _, class in ipairs(model.classes) do
    for _, field in ipairs(class.record.fields) do
      add(field_text(field))
    end
  end
  for _, item in ipairs(model.types) do
    list[#list + 1] = item.name
    list[#list + 1] = type_pretty(item)
  end
  return texts.new(list)
end

local function emit_decoders(model, out)
  out:line("namespace {")
  for _, service in ipairs(model.services) do
    local keys = {}
    for _, item in ipairs(service.errors) do
      if item.detail then
        local field = item.detail.fields[1]
        keys[#keys + 1] = ("{%d, %d, %s}"):format(item.number, field.width, quoted(field.name))
      end
    end
    service.key_count = #keys
    if #keys > 0 then
      out:line("const error_key_row keys_%s[] = {%s};", service.name, table.concat(keys, ", "))
    end
  end
  out:line("}  // namespace")
  out:line("const decoder_row decoder_rows[] = {")
  for _, service in ipairs(model.services) do
    out:line("    {DECODER_%s, %d, %s},", service.decoder:upper(), service.key_count,
      service.key_count > 0 and "keys_" .. service.name or "nullptr")
  end
  out:line("};")
end

local function emit_callbacks(model, out, pools)
  out:line("const callback_row callback_rows[] = {")
  for _, callback in ipairs(model.callbacks) do
    local values = {}
    for position, value in ipairs(callback.values) do
      values[position] = value_row(value)
    end
    -- Only services with errors of their own decode them here; the others share the silent decoder.
    local decoder = callback.service.decoder == "own" and callback.service.index or 0
    out:line("    {%d, %d, %d},", pools.value_lists:add_list(values), #values, decoder)
  end
  out:line("};")
end

local SLOT = {
  ["void *"] = "a[%d].pointer", ["const char *"] = "static_cast<const char *>(a[%d].pointer)",
  ["struct rovk_version"] = "a[%d].version", SWIGLUA_FN = "SWIGLUA_FN{L, a[%d].i}",
  uint8_t = "static_cast<uint8_t>(a[%d].u)", uint16_t = "static_cast<uint16_t>(a[%d].u)", uint32_t = "a[%d].u",
  int8_t = "static_cast<int8_t>(a[%d].i)", int16_t = "static_cast<int16_t>(a[%d].i)", int32_t = "a[%d].i",
}

local function emit_invokers(out, pools)
  local functions = {}
  for index, text in ipairs(pools.invokers.items) do
    local result, list = text:match("^(%S+)%((.*)%)$")
    local arguments, position = {}, 0
    for type_text in list:gmatch("[^,]+") do
      arguments[#arguments + 1] = SLOT[type_text]:format(position)
      position = position + 1
    end
    local call = ("reinterpret_cast<%s (*)(%s)>(f)(%s)"):format(result, list, table.concat(arguments, ", "))
    call = result == "void" and call .. ", 0" or call
    functions[index] = ("int32_t swig_invoke_%d([[maybe_unused]] native_function f, "
      .. "[[maybe_unused]] const native_value* a,\n    [[maybe_unused]] lua_State* L) {\n  return %s;\n}")
      :format(index - 1, call)
  end
  emit_named(out, functions)
  emit_distances(out, "invokers", numbered("swig_invoke_%d", #functions))
end

local function emit_pools(out, pools)
  out:line("const argument_row argument_rows[] = {")
  for _, row in ipairs(pools.arguments.items) do
    out:line("    %s,", row)
  end
  out:line("};")
  out:line("const uint16_t argument_lists[] = {%s};", table.concat(pools.argument_lists.items, ", "))
  out:line("const value_row value_lists[] = {")
  for _, row in ipairs(pools.value_lists.items) do
    out:line("    %s,", row)
  end
  out:line("};")
end

local function emit_totals(model, out)
  local attributes, writable = 0, 0
  for _, class in ipairs(model.classes) do
    for _, field in ipairs(class.record.fields) do
      attributes = attributes + 1
      writable = writable + (field.readonly and 0 or 1)
    end
  end
  out:line("// What the protocol adds up to. A catalogue with other totals is another protocol.")
  local function check(expression, wanted, what)
    out:line('static_assert(%s == %d, "the catalogue has another number of %s");', expression, wanted, what)
  end
  check("sizeof decoder_rows / sizeof *decoder_rows", 51, "services")
  check("sizeof command_rows / sizeof *command_rows", 2480, "functions")
  check("sizeof class_rows / sizeof *class_rows", 549, "classes")
  check("sizeof attribute_rows / sizeof *attribute_rows", 1246, "attributes")
  check(tostring(writable), 1190, "writable attributes")
  check("sizeof constant_rows / sizeof *constant_rows", 663, "constants")
  check("sizeof variable_targets / sizeof *variable_targets", 52, "variables")
  check("sizeof type_rows / sizeof *type_rows", 769, "types")
  check("SWIG_TYPE_COUNT", #model.types, "types")
  check(tostring(model.signature_count), 159, "callback signatures")
end

return function(model, path)
  local pools = { arguments = pool.new(), argument_lists = pool.new(), value_lists = pool.new(), invokers = pool.new() }
  local out = writer.new(path)
  out:line("#include <stdlib.h>")
  out:line("")
  out:line('#include "runtime/classes.h"')
  out:line('#include "runtime/tables.h"')
  out:line('#include "runtime/wrapper.h"')
  out:line("")
  out:line("#include <rovk/bridge.h>")
  out:line("#include <rovk/message.h>")
  out:line("#include <rovk/trans.h>")
  out:line("")
  out:line('#include "module_bridge.h"')
  out:line("")
  local coded = code_texts(model)
  coded:emit(out)
  emit_commands(model, out, pools, coded)
  emit_variables(model, out, coded)
  emit_classes(model, out, coded)
  emit_types(model, out, coded)
  emit_constants(model, out, coded)
  emit_decoders(model, out)
  emit_callbacks(model, out, pools)
  emit_pools(out, pools)
  emit_invokers(out, pools)
  emit_totals(model, out)
  out:close()
end
