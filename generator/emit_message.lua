-- The exported functions of librovk-message: each turns its arguments into pointers and calls the
-- codec with the place of its row. Also the version objects.

local c_types = require("c_types")
local writer = require("writer")

-- How many parameters stand before those of the fields, and the codec's function.
local function codec_call(item)
  if item.family == "status" then
    return 2, "read_error"
  elseif item.family == "initialize" and item.error then
    return 3, "build_error"
  elseif item.family == "initialize" then
    return 2, item.event and "build_event" or item.name:match("_command$") and "build_command" or "build_response"
  elseif item.family == "retrieve" then
    return 1, item.event and "read_event" or "read_command"
  end
  return 1, "read_response"
end

-- The rows of a service, and among them those of commands, events and errors, count from 0.
local function number_rows(model)
  local places = {}
  for index, service in ipairs(model.services) do
    for _, list in ipairs { service.commands, service.events, service.errors } do
      for position, row in ipairs(list) do
        places[row] = ("{%d, %d}"):format(index - 1, position - 1)
      end
    end
  end
  return places
end

local function emit_stub(out, item, places)
  local result, parameters = c_types.signature(item)
  local leading, call = codec_call(item)
  local arguments = {}
  local place = places[item.command or item.event or item.error]
  if place then
    arguments[1] = place
  end
  for position = 1, leading do
    arguments[#arguments + 1] = parameters[position].name
  end
  out:line("")
  out:line("ROVK_EXPORT %s %s(%s) {", result, item.name, c_types.spell(parameters))
  if #parameters > leading then
    local reads = call:match("^read")
    local pointers = {}
    for position = leading + 1, #parameters do
      local parameter = parameters[position]
      pointers[#pointers + 1] = (parameter.type:match("%*$") and "" or "&") .. parameter.name
    end
    out:line("  %s fields[] = {%s};", reads and "void* const" or "const void* const", table.concat(pointers, ", "))
    arguments[#arguments + 1] = "fields"
  elseif place then
    arguments[#arguments + 1] = "nullptr"
  end
  out:line("  return %s(%s);", call, table.concat(arguments, ", "))
  out:line("}")
end

return function(model, path)
  local out = writer.new(path)
  out:line("#include <rovk/message.h>")
  out:line("")
  out:line('#include "message/codec.h"')
  out:line('#include "message/export.h"')
  out:line("")
  out:line("using namespace rovk::message;")
  local places = number_rows(model)
  for _, item in ipairs(model.functions) do
    if item.library == "message" and item.service then
      emit_stub(out, item, places)
    end
  end
  out:line("")
  for _, variable in ipairs(model.variables) do
    out:line("ROVK_EXPORT rovk_version %s;", variable.name)
    out:line("rovk_version %s = {%d, %d};", variable.name, variable.version.major, variable.version.minor)
  end
  out:close()
end
