-- What the unit's protocol has, without a unit: every service with the number of what it offers and of what is
-- described; or, with a service's name, its commands and events with their fields.
--   ./rovk run examples/catalogue.lua [led_0001]
local catalogue = require "rovk_catalogue"
local names = require "rovk.names"

local function show_fields(fields, what)
  for _, field in ipairs(fields) do
    local range = ("%s, %s to %s"):format(field.type, field.min or field.low or "?", field.max or field.high or "?")
    print(("    %-8s %-24s %-28s %s"):format(what, field.name, field.unit or range, field.doc))
    for _, value in ipairs(field.values or {}) do
      print(("    %-8s   %5d %s"):format("", value.value, value.constant or value.name))
    end
  end
end

local function show_service(service)
  print(service.name, service.doc)
  for _, command in ipairs(service.commands) do
    print(("  %s: %s"):format(command.name, command.doc))
    show_fields(command.inputs, "takes")
    show_fields(command.values, "gives")
  end
  for _, event in ipairs(service.events) do
    print(("  event %s: %s"):format(event.name, event.doc))
    show_fields(event.values, "tells")
  end
end

local function count(totals, list, what)
  for _, item in ipairs(list) do
    totals[what] = (totals[what] or 0) + 1
    totals.described = (totals.described or 0) + (item.doc and 1 or 0)
  end
end

local wanted = arg and arg[1]
if wanted then
  local service = catalogue.services[wanted]
  if not service then
    print(select(2, names.service(wanted)))
    os.exit(1)
  end
  show_service(service)
else
  local totals = {}
  for _, service in ipairs(catalogue.services) do
    print(("%-30s %3d commands %2d events %2d errors  %s"):format(service.name, #service.commands, #service.events,
      #service.errors, service.doc))
    count(totals, service.commands, "commands")
    count(totals, service.events, "events")
    count(totals, service.errors, "errors")
    for _, record in pairs(service.records) do
      count(totals, record.fields, "fields")
    end
  end
  print(("%d commands, %d events, %d errors and %d fields, of which %d are described"):format(totals.commands,
    totals.events, totals.errors, totals.fields, totals.described))
end
