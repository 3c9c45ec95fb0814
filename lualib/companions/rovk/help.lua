--- What a name of the protocol means, as text for a terminal: a service, a command, an event, an error, a field, a
-- constant, a device, a status, a function or a class of rovk_message.
--
--   print(require("rovk.help").text("led_0001.set_state"))

local catalogue = require("rovk_catalogue")
local names = require("rovk.names")
local reference = require("rovk.reference")

local help = {}

-- More than this many topics of one name are listed, not told in full.
local FULL = 3
-- Stands for a blank at which no line ends.
local GLUE = "\1"
local DEVICE_PREFIX = "ROVK_PERIPHERAL_DEVICE_ID_"

-- A text that grows line by line, folded at the width.
local function page(width)
  local lines = {}
  local self = { width = width }
  function self.add(indent, text, hang)
    if text == "" then
      return
    end
    local line, margin = (" "):rep(indent), (" "):rep(hang or indent)
    local empty = true
    for word in text:gmatch("%S+") do
      if not empty and #line + #word >= width then
        self.raw((line:gsub(GLUE, " ")))
        line, empty = margin, true
      end
      line = line .. (empty and "" or " ") .. word
      empty = false
    end
    self.raw((line:gsub(GLUE, " ")))
  end
  function self.raw(text)
    lines[#lines + 1] = text
  end
  function self.text()
    return table.concat(lines, "\n")
  end
  return self
end

local function add_fields(out, title, fields)
  local width = out.width
  if #fields == 0 then
    return
  end
  if title then
    out.raw(title)
  end
  local widest = 0
  for _, field in ipairs(fields) do
    widest = math.max(widest, #field.name)
  end
  for _, field in ipairs(fields) do
    local kind = ("%s, %s"):format(field.type, reference.limits(field))
    local beside = widest + 4 + #kind <= width
    out.raw((("  %-" .. widest .. "s  %s"):format(field.name, beside and kind or ""):gsub(" +$", "")))
    if not beside then
      out.add(widest + 4, kind)
    end
    local known = reference.named_values(field, 8)
    out.add(widest + 4, (field.doc or "") .. (known ~= "" and " Values: " .. known .. "." or ""))
  end
end

-- A form may be long: it goes on below its beginning.
local function add_form(out, form)
  for line in form:gmatch("[^\n]+") do
    out.add(2, line, 6)
  end
end

local render = {}

function render.command(out, command)
  local service = command.service
  out.add(0, ("%s.%s - command %d of %s"):format(service.name, command.name, command.opcode, service.name))
  out.add(2, command.doc or "")
  out.raw("")
  for _, form in ipairs { reference.command_forms(command) } do
    add_form(out, form)
  end
  local _, brings = reference.own_inputs(command)
  if brings then
    out.raw("  A device of rovk brings its index; to a peripheral it is an input like any other.")
  end
  add_fields(out, "inputs", command.inputs)
  add_fields(out, "values", command.values)
  local list = {}
  for _, err in ipairs(reference.errors_of(service)) do
    list[#list + 1] = err.id .. GLUE .. err.name
  end
  out.raw("errors")
  out.add(2, table.concat(list, ", "))
end

function render.event(out, event)
  out.add(0, ("%s.%s - event %d of %s"):format(event.service.name, event.name, event.id, event.service.name))
  out.add(2, event.doc or "")
  out.raw("")
  for _, form in ipairs { reference.event_forms(event) } do
    add_form(out, form)
  end
  add_fields(out, "values", event.values)
end

function render.error(out, err)
  out.add(0, ("%s.%s - error %d of %s, %s"):format(err.service.name, err.name, err.id,
    err.service.id and err.service.name or "every peripheral", err.constant))
  out.add(2, err.doc or "")
  add_fields(out, "detail", err.values)
end

function render.service(out, service)
  out.add(0, ("%s - service %s, API %d.%d"):format(service.name, service.id or "of every peripheral",
    service.api.major, service.api.minor))
  out.add(2, service.doc or "")
  for _, kind in ipairs { "commands", "events", "errors" } do
    local list = service[kind]
    if #list > 0 then
      out.raw(kind)
    end
    for _, item in ipairs(list) do
      out.add(2, ("%-3d %s%s"):format(item.opcode or item.id, item.name, item.doc and ": " .. item.doc or ""), 6)
    end
  end
  if #service.constants > 0 then
    out.raw("constants")
    for _, constant in ipairs(service.constants) do
      out.raw(("  %-6.0f %s"):format(constant.value, constant.name))
    end
  end
end

function render.constant(out, constant)
  out.add(0, ("%s = %.0f"):format(constant.name, constant.value))
  out.add(2, constant.doc or "")
  if constant.fields then
    out.add(2, "A value of " .. table.concat(constant.fields, ", ") .. " of " .. constant.service .. ".")
  end
  local device = constant.name:match("^" .. DEVICE_PREFIX .. "(.*)$")
  if device then
    out.add(2, ('A device: unit:device(SERVICE, "%s") gives it where the unit has it.'):format(device))
  end
end

function render.status(out, status)
  out.add(0, ("%s - status %d"):format(status.name, status.value))
  out.add(2, status.doc or "")
end

render["function"] = function(out, entry)
  out.add(0, ("%s(%s)"):format(entry.name, table.concat(entry.arguments, ", ")))
  out.add(2, ("%s Gives %s."):format(entry.doc or "",
    #entry.results > 0 and table.concat(entry.results, ", ") or "nothing"))
end

function render.record(out, record)
  out.add(0, ("%s - record of %d bytes"):format(record.class, record.size))
  add_fields(out, "attributes", record.fields)
end

function render.field(out, place)
  local owner = place.owner
  out.add(0, ("%s.%s - in %s.%s"):format(owner.name, place.field.name, owner.service.name, owner.name))
  add_fields(out, nil, { place.field })
end

-- A field that many commands have, told once for each meaning.
local function render_many_fields(out, name, found)
  local meanings = {}
  for _, topic in ipairs(found) do
    local field = topic.item.field
    local key = table.concat({ field.type, reference.limits(field), field.doc or "" }, "\0")
    if not meanings[key] then
      meanings[key] = { field = field, places = {} }
      meanings[#meanings + 1] = meanings[key]
    end
    table.insert(meanings[key].places, (topic.title:gsub("%.[^.]*$", "")))
  end
  out.add(0, ("%s - field in %d places"):format(name, #found))
  for _, meaning in ipairs(meanings) do
    add_fields(out, nil, { meaning.field })
    out.add(4, #meaning.places > 12 and ("in %d places, as %s"):format(#meaning.places, meaning.places[1])
      or "in " .. table.concat(meaning.places, ", "))
  end
end

-- Topics by their name in small letters; a name may have several.
local function build_index()
  local index, list = {}, {}
  local function add(name, kind, item, title)
    local key = name:lower()
    if not index[key] then
      index[key] = {}
      list[#list + 1] = name
    end
    table.insert(index[key], { kind = kind, item = item, title = title or name })
  end
  for _, service in ipairs(catalogue.services) do
    add(service.name, "service", service)
    for _, group in ipairs { { "command", service.commands }, { "event", service.events },
      { "error", service.errors } } do
      for _, item in ipairs(group[2]) do
        local title = service.name .. "." .. item.name
        add(title, group[1], item)
        add(item.name, group[1], item, title)
        for _, fields in ipairs { item.inputs or {}, item.values } do
          for _, field in ipairs(fields) do
            local place = { owner = item, field = field }
            add(title .. "." .. field.name, "field", place)
            add(field.name, "field", place, title .. "." .. field.name)
          end
        end
      end
    end
    for _, constant in ipairs(reference.constants_of(service)) do
      constant.service = service.name
      add(constant.name, "constant", constant)
      if constant.name:find(DEVICE_PREFIX, 1, true) == 1 then
        add(constant.name:sub(#DEVICE_PREFIX + 1), "constant", constant, constant.name)
      end
    end
  end
  for _, group in ipairs { { "constant", catalogue.constants }, { "status", catalogue.statuses },
    { "function", catalogue.functions } } do
    for _, item in ipairs(group[2]) do
      add(item.name, group[1], item)
    end
  end
  return index, list
end

local index, topics

-- What stands under a name that is not written as the index has it: a function of rovk_message, a class, a number.
local function other_topic(name)
  local service, rest = name:match("^rovktrans_(%l[%l_]-_%x%x%x%x)_(.+)$")
  if not service then
    service, rest = name:match("^rovktrans_(common)_(.+)$")
  end
  if service and catalogue.services[service] then
    local item = rest:gsub("_async_lua$", ""):gsub("_async$", ""):gsub("_u?n?register_callback_lua$", "")
    return index[service .. "." .. item]
  elseif catalogue.records[name] then
    return { { kind = "record", item = catalogue.records[name], title = name } }
  elseif tonumber(name) then
    local status = names.status(tonumber(name))
    local by_id = catalogue.by_id[tonumber(name)]
    return status and index[status:lower()] or by_id and index[by_id.name]
  end
end

-- Of what every peripheral has, a service's name in front tells nothing new.
local function of_common(name)
  local service, rest = name:match("^([^.]+)%.(.+)$")
  return service and catalogue.services[service] and index["common." .. rest]
end

--- The topics of a name: a list of `kind`, `item`, `title`. nil and a text when there is none.
function help.find(name)
  if not index then
    index, topics = build_index()
  end
  local found = index[name:lower()] or other_topic(name) or of_common(name:lower())
  if found then
    return found
  end
  -- A kind of thing, as "relay": the services that are named after it.
  local kinds = {}
  for _, service in ipairs(catalogue.services) do
    if ("_" .. service.name):find("_" .. name:lower() .. "_", 1, true) then
      kinds[#kinds + 1] = service.name
    end
  end
  if #kinds > 0 then
    return nil, ("there is nothing called '%s' alone; services named after it: %s"):format(name,
      table.concat(kinds, ", "))
  end
  -- Those of as many parts as were asked for: the others are no near misses, only many.
  local _, parts = name:gsub("%.", "")
  local alike = {}
  for _, topic in ipairs(topics) do
    if select(2, topic:gsub("%.", "")) == parts then
      alike[#alike + 1] = topic
    end
  end
  local near = names.nearest(name, alike)
  return nil, ("there is nothing called '%s'%s"):format(name, near and (", did you mean '%s'?"):format(near) or "")
end

--- All names that help knows, for completion.
function help.names()
  if not index then
    index, topics = build_index()
  end
  return topics
end

--- What a name means. nil and a text, with the nearest name, when it is unknown.
-- @param width of the terminal; 80 when left out
function help.text(name, width)
  local found, message = help.find(name)
  if not found then
    return nil, message
  end
  local out = page(width or 80)
  -- A command is meant more often than the fields that share its name.
  local wanted = {}
  for _, topic in ipairs(found) do
    if topic.kind ~= "field" then
      wanted[#wanted + 1] = topic
    end
  end
  wanted = #wanted > 0 and wanted or found
  if #wanted > FULL and wanted[1].kind == "field" then
    render_many_fields(out, name, wanted)
    return out.text()
  elseif #wanted > FULL then
    out.add(0, ("%s is to be found in %d places; ask for one of them:"):format(name, #wanted))
    for _, topic in ipairs(wanted) do
      out.add(2, ("%s, %s"):format(topic.title, topic.kind))
    end
    return out.text()
  end
  for place, topic in ipairs(wanted) do
    if place > 1 then
      out.raw("")
    end
    render[topic.kind](out, topic.item)
  end
  return out.text()
end

return help
