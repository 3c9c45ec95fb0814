-- The catalogue as constant C++ rows, for the codec, the transactions and the simulated unit.

local writer = require("writer")

local KINDS = { number = "number", record = "version", array = "bytes" }

local function record_name(record)
  return record and "&r_" .. record.class or "nullptr"
end

local function emit_record(out, record)
  out:line("constexpr Field f_%s[] = {", record.class)
  for _, field in ipairs(record.fields) do
    local kind = field.element == "rovk_address" and "addresses" or KINDS[field.kind]
    out:line('    {"%s", %d, %d, %d, %s, %s, Kind::%s},', field.name, field.offset, field.width or 2, field.count or 1,
      tostring(field.signed), tostring(field.reserved or false), kind)
  end
  out:line("};")
  out:line("constexpr Record r_%s = {%d, f_%s};", record.class, record.size, record.class)
end

return function(model, path)
  local out = writer.new(path)
  out:line('#include "catalogue/catalogue.h"')
  out:line("")
  out:line("namespace rovk::catalogue {")
  out:line("namespace {")
  for _, service in ipairs(model.services) do
    for _, list in ipairs { service.commands, service.events, service.errors } do
      for _, item in ipairs(list) do
        for _, key in ipairs { "command", "response", "event", "detail" } do
          if item[key] then
            emit_record(out, item[key])
          end
        end
      end
    end
    local index = #service.commands
    if index > 0 then
      out:line("constexpr Command c_%s[] = {", service.name)
      for _, command in ipairs(service.commands) do
        out:line('    {"%s", %d, %s, %s},', command.name, command.number, record_name(command.command),
          record_name(command.response))
      end
      out:line("};")
    end
    if #service.events > 0 then
      out:line("constexpr Event e_%s[] = {", service.name)
      for _, event in ipairs(service.events) do
        out:line('    {"%s", %d, %s},', event.name, event.number, record_name(event.event))
      end
      out:line("};")
    end
    if #service.errors > 0 then
      out:line("constexpr Error x_%s[] = {", service.name)
      for _, item in ipairs(service.errors) do
        out:line('    {"%s", %d, %s},', item.name, item.number, record_name(item.detail))
      end
      out:line("};")
    end
  end
  out:line("constexpr Service rows[] = {")
  for _, service in ipairs(model.services) do
    local function span(prefix, list)
      return #list > 0 and ("%s_%s"):format(prefix, service.name) or "{}"
    end
    out:line('    {"%s", %d, {%d, %d}, %s, %s, %s},', service.name, service.id or -1, service.api.major,
      service.api.minor, span("c", service.commands), span("e", service.events), span("x", service.errors))
  end
  out:line("};")
  out:line("}  // namespace")
  out:line("")
  out:line("std::span<const Service> services() { return rows; }")
  out:line("")
  out:line("}  // namespace rovk::catalogue")
  out:close()
end
