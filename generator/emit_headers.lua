-- The generated half of include/rovk: numbers, records and the prototypes of the per-service
-- functions of librovk-message and librovktrans.

local c_types = require("c_types")
local writer = require("writer")

local function begin(path, guard, includes, linkage)
  local out = writer.new(path)
  out:line("#ifndef %s", guard)
  out:line("#define %s", guard)
  out:line("")
  for _, include in ipairs(includes) do
    out:line("#include %s", include)
  end
  if linkage then
    out:line("")
    out:line("#ifdef __cplusplus")
    out:line('extern "C" {')
    out:line("#endif")
  end
  out:line("")
  return out
end

local function finish(out, linkage)
  if linkage then
    out:line("")
    out:line("#ifdef __cplusplus")
    out:line("}")
    out:line("#endif")
  end
  out:line("")
  out:line("#endif")
  out:close()
end

local function emit_constants(model, folder)
  local out = begin(folder .. "/constants.h", "ROVK_CONSTANTS_H", {})
  out:line("// NOLINTBEGIN(bugprone-reserved-identifier): some names of the protocol have two underscores.")
  for _, constant in ipairs(model.all_constants) do
    out:line("#define %s %d", constant.name, constant.value)
  end
  out:line("// NOLINTEND(bugprone-reserved-identifier)")
  finish(out)
end

local function member(field)
  if field.kind == "array" then
    return ("uint8_t %s[%d];"):format(field.name, field.size)
  elseif field.kind == "record" then
    local tag = field.record.overlay and "union" or "struct"
    return ("%s %s %s;"):format(tag, field.record.class or field.record.name, field.name)
  end
  return ("%s %s;"):format(c_types.number(field), field.name)
end

-- Packed: fields may lie at any offset, and an array of addresses is kept as bytes.
local function emit_records(model, folder)
  local out = begin(folder .. "/records.h", "ROVK_RECORDS_H", { "<rovk/types.h>" })
  out:line("// Numbers in these records are least significant byte first, as they travel.")
  out:line("#pragma pack(push, 1)")
  for _, class in ipairs(model.classes) do
    if not model.records_by_name[class.name] then
      local record = class.record
      out:line("")
      out:line("%s %s {", record.overlay and "union" or "struct", class.name)
      for _, field in ipairs(record.fields) do
        out:line("  %s", member(field))
      end
      out:line("};")
    end
  end
  out:line("")
  out:line("#pragma pack(pop)")
  finish(out)
end

local function prototype(out, item)
  local result, parameters = c_types.signature(item)
  out:line("%s %s(%s);", result, item.name, c_types.spell(parameters))
end

local function emit_message(model, folder)
  local out = begin(folder .. "/message_services.h", "ROVK_MESSAGE_SERVICES_H", { "<rovk/records.h>" }, true)
  for _, item in ipairs(model.functions) do
    if item.library == "message" and item.service then
      prototype(out, item)
    end
  end
  out:line("")
  for _, variable in ipairs(model.variables) do
    out:line("extern struct rovk_version %s;", variable.name)
  end
  finish(out, true)
end

local function emit_trans(model, folder)
  local out = begin(folder .. "/trans_services.h", "ROVK_TRANS_SERVICES_H", { "<rovk/records.h>" }, true)
  for _, service in ipairs(model.services) do
    for _, command in ipairs(service.commands) do
      out:line("typedef void (*%s)(%s);", command.callback.name,
        c_types.spell(c_types.callback_parameters(service, command.response, true)))
    end
    for _, event in ipairs(service.events) do
      out:line("typedef void (*%s)(%s);", event.callback.name,
        c_types.spell(c_types.callback_parameters(service, event.event, false)))
    end
  end
  out:line("")
  for _, item in ipairs(model.functions) do
    if item.library == "trans" and item.service then
      prototype(out, item)
    end
  end
  finish(out, true)
end

return function(model, folder)
  emit_constants(model, folder)
  emit_records(model, folder)
  emit_message(model, folder)
  emit_trans(model, folder)
end
