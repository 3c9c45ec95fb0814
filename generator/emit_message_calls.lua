-- For the tests of librovk-message: calls of its exported functions in one form, arguments taken from
-- slots, so that a test can walk the catalogue and yet go through every typed function.

local c_types = require("c_types")
local writer = require("writer")

local function call(item, leading, slots)
  local _, parameters = c_types.signature(item)
  local arguments = {}
  for position, parameter in ipairs(parameters) do
    local pointed = parameter.type:match("^(.*) %*$")
    if position <= #leading then
      arguments[position] = leading[position]
    elseif pointed then
      arguments[position] = ("%s[%d].at<%s>()"):format(slots, position - #leading - 1, pointed)
    else
      arguments[position] = ("%s[%d].as<%s>()"):format(slots, position - #leading - 1, parameter.type)
    end
  end
  return ("return %s(%s);"):format(item.name, table.concat(arguments, ", ")), #parameters > #leading
end

local function builder(item, leading)
  local body, has_fields = call(item, leading, "in")
  local answers = leading[2] == "c"
  local takes_address = leading[#leading] == "a"
  return ("[](rovk_message* m, const rovk_message*%s, uint16_t%s, const Slot*%s) { %s }"):format(answers and " c" or "",
    takes_address and " a" or "", has_fields and " in" or "", body)
end

local function reader(item)
  if not item then
    return "nullptr"
  end
  local body, has_fields = call(item, { "m" }, "out")
  return ("[](const rovk_message* m, Slot*%s) { %s }"):format(has_fields and " out" or "", body)
end

return function(model, path)
  local by_name = {}
  for _, item in ipairs(model.functions) do
    by_name[item.name] = item
  end
  local out = writer.new(path)
  out:line('#include "tests/message/calls.h"')
  out:line("")
  out:line("namespace rovk::test {")
  out:line("namespace {")
  out:line("constexpr Call call_rows[] = {")
  local function row(service, item, shape, leading, read)
    local name = ("rovk_%s_initialize_%s_%s"):format(service.name, item.name, shape)
    out:line('    {"%s", "%s", Shape::%s,', service.name, item.name, shape)
    out:line("     %s,", builder(by_name[name], leading))
    out:line("     %s},", reader(by_name[read or name:gsub("_initialize_", "_retrieve_", 1)]))
  end
  for _, service in ipairs(model.services) do
    for _, command in ipairs(service.commands) do
      row(service, command, "command", { "m", "a" })
      row(service, command, "response", { "m", "c" })
    end
    for _, event in ipairs(service.events) do
      row(service, event, "event", { "m", "a" })
    end
    for _, item in ipairs(service.errors) do
      row(service, item, "error", { "m", "c", "a" }, ("rovk_%s_retrieve_error"):format(service.name))
    end
  end
  out:line("};")
  out:line("constexpr Version version_rows[] = {")
  for _, variable in ipairs(model.variables) do
    out:line('    {"%s", &%s},', variable.name, variable.name)
  end
  out:line("};")
  out:line("}  // namespace")
  out:line("")
  out:line("std::span<const Call> calls() { return call_rows; }")
  out:line("std::span<const Version> versions() { return version_rows; }")
  out:line("")
  out:line("}  // namespace rovk::test")
  out:close()
end
