-- What a page of the reference says of a service, in any style of page_styles.lua.

local catalogue = require("rovk_catalogue")
local reference = require("rovk.reference")

local pages = {}

local function field_items(fields)
  local list = {}
  for place, field in ipairs(fields) do
    local known = reference.named_values(field, 12)
    list[place] = { field.name, ("%s, %s"):format(field.type, reference.limits(field)),
      (field.doc or "") .. (known ~= "" and " Values: " .. known .. "." or "") }
  end
  return list
end

-- Lines of one example: what it is called with, and what it printed.
local function with_output(text, printed)
  if printed and printed ~= "" then
    return text .. "\n--> " .. printed:gsub("\n", "\n--> ")
  end
  return text
end

local function add_command(page, command, example, printed)
  local service = command.service
  page:open("command", service.name .. "." .. command.name)
  page:paragraph(command.doc)
  local companion, plain, async = reference.command_forms(command)
  page:code(table.concat({ companion, plain, async }, "\n\n"))
  page:definitions("Inputs", field_items(command.inputs))
  page:definitions("Values", field_items(command.values))
  local own = {}
  for place, err in ipairs(service.id and service.errors or {}) do
    own[place] = service.name .. "." .. err.name
  end
  page:paragraph(("Command %d, `%s`."):format(command.opcode, command.constant))
  page:raw(("Errors: %sthose of every peripheral."):format(#own > 0 and page:links("error", own) .. ", and " or ""))
  if example then
    page:code(with_output(example.companion, printed) .. "\n\n-- plain\n" .. example.plain .. "\n\n-- asynchronous\n"
      .. example.async)
  end
  page:close()
end

local function add_event(page, event, example)
  page:open("event", event.service.name .. "." .. event.name)
  page:paragraph(("%s Event %d, `%s`."):format(event.doc or "", event.id, event.constant))
  local companion, plain = reference.event_forms(event)
  page:code(companion .. "\n\n" .. plain)
  page:definitions("Values", field_items(event.values))
  if example then
    page:code(example.companion .. "\n\n-- plain\n" .. example.plain)
  end
  page:close()
end

local function add_error(page, err)
  page:open("error", err.service.name .. "." .. err.name)
  page:paragraph(("%s Error %d, `%s`."):format(err.doc or "", err.id, err.constant))
  page:definitions("Detail", field_items(err.values))
  page:close()
end

local function add_constants(page, constants)
  for _, constant in ipairs(constants) do
    page:open("constant", constant.name, ("%s = %.0f"):format(constant.name, constant.value))
    local places = constant.fields and ("A value of `%s`%s."):format(constant.fields[1],
      #constant.fields > 1 and (" and %d more"):format(#constant.fields - 1) or "")
    page:paragraph((constant.doc or "") .. (constant.doc and places and " " or "") .. (places or ""))
    page:close()
  end
end

local function add_record(page, record)
  page:open("record", record.class)
  local lines = {}
  for place, field in ipairs(record.fields) do
    lines[place] = ("%2d  %-28s %s"):format(field.offset, field.name, field.type)
  end
  page:paragraph(("%d bytes. By offset:"):format(record.size))
  page:literal(table.concat(lines, "\n"))
  page:close()
end

local function sorted_records(records)
  local classes = {}
  for class in pairs(records) do
    classes[#classes + 1] = class
  end
  table.sort(classes)
  return classes
end

local function add_section(page, title, list, add)
  if #list > 0 then
    page:heading(2, title)
    for _, item in ipairs(list) do
      add(page, item)
    end
  end
end

--- The page of a service.
-- @param of_examples gives examples: `preludes`, `command(command)` and what it printed, `event(event)`; nil: none
function pages.service(page, service, of_examples)
  page:heading(1, service.name)
  page:paragraph(service.doc)
  local function counted(list, word)
    return ("%d %s%s"):format(#list, word, #list == 1 and "" or "s")
  end
  page:paragraph(("%s API %d.%d, %s, %s."):format(service.id
    and ("Service %d, `%s`."):format(service.id, service.constant) or "Every peripheral has these.", service.api.major,
    service.api.minor, counted(service.commands, "command"), counted(service.events, "event")))
  if of_examples and #service.commands > 0 then
    local companion, plain = of_examples.preludes(service)
    page:paragraph("Examples of `rovk` begin with")
    page:code(companion)
    page:paragraph("and plain ones with")
    page:code(plain)
  end
  add_section(page, "Commands", service.commands, function(_, command)
    local example, printed
    if of_examples then
      example, printed = of_examples.command(command)
    end
    add_command(page, command, example, printed)
  end)
  add_section(page, "Events", service.events, function(_, event)
    add_event(page, event, of_examples and of_examples.event(event))
  end)
  add_section(page, "Errors", service.errors, add_error)
  page:heading(2, "Constants")
  add_constants(page, reference.constants_of(service))
  page:heading(2, "Records")
  for _, class in ipairs(sorted_records(service.records)) do
    add_record(page, service.records[class])
  end
  return page:result()
end

--- What belongs to no service: records of the message, constants, statuses, functions.
function pages.protocol(page)
  page:heading(1, "What belongs to no service")
  page:heading(2, "Functions")
  for _, entry in ipairs(catalogue.functions) do
    page:open("function", entry.name)
    page:paragraph(("%s Arguments: %s. Gives %s."):format(entry.doc or "", table.concat(entry.arguments, ", "),
      #entry.results > 0 and table.concat(entry.results, ", ") or "nothing"))
    page:close()
  end
  page:heading(2, "Statuses")
  local list = {}
  for place, status in ipairs(catalogue.statuses) do
    list[place] = { status.name, ("%d"):format(status.value), status.doc }
  end
  page:definitions(nil, list)
  page:heading(2, "Constants")
  add_constants(page, catalogue.constants)
  page:heading(2, "Records")
  for _, class in ipairs(sorted_records(catalogue.records)) do
    if catalogue.records[class].kind == "message" then
      add_record(page, catalogue.records[class])
    end
  end
  return page:result()
end

return pages
