-- An example for each command and event, in the ways in which it can be called, with inputs that the simulated unit
-- takes. What a setting command is given is what its getting counterpart tells; where that is not enough, `INPUTS`
-- says it. The texts are shown on pages and run as a test.

local catalogue = require("rovk_catalogue")
local reference = require("rovk.reference")
local rovk = require("rovk")

local examples = {}

-- Inputs by command. `first` is a list of commands that have to go before, each with its inputs.
local INPUTS = {
  ["router_0000.add_route"] = { peripheral_address = 4000, routing_peripheral_address = 257 },
  ["router_0000.reserve"] = { peripheral_address = 257 },
  ["imgctrl_0006.white_balance_macbeth_square"] = { lower_right_x_decipercent = 500, lower_right_y_decipercent = 500 },
  ["bulk_dump_000c.delete_file"] = { filename = "frame.raw", first = { { "get_frame", { filename = "frame.raw" } } } },
  ["bulk_dump_000c.get_frame"] = { filename = "frame.raw" },
  ["bulk_dump_000c.get_averaged_bayer_frame"] = { filename = "average.raw", average_count = 4 },
  ["eeprom_partition_table_0013.append_tag"] = { size = 16, tag_id = 7 },
  ["eeprom_partition_table_0013.get_tag_info"] = { tag_id = 7,
    first = { { "append_tag", { size = 16, tag_id = 7 } } } },
  ["eeprom_partition_table_0013.write_tag"] = { tag_id = 7, size = 5,
    first = { { "append_tag", { size = 16, tag_id = 7 } } } },
  ["eeprom_partition_table_0013.read_tag"] = { tag_id = 7, size = 5,
    first = { { "append_tag", { size = 16, tag_id = 7 } } } },
  ["eeprom_partition_table_0013.lock"] = { timeout_ms = 1000 },
  ["eeprom_partition_table_0013.unlock"] = { first = { { "lock", { timeout_ms = 1000 } } } },
  ["auto_back_focus_0020.move_calibrated_home"] = { refused = "not_calibrated" },
  ["speed_pwm_0026.set_auto_speed"] = { speed_rpm = 3000 },
  ["positioning_002a.set_position"] = { pan_millidegrees = 45000, tilt_millidegrees = -5000, zoom_deciX = 20,
    pan_millidegrees_per_second = 20000, tilt_millidegrees_per_second = 10000, zoom_deciX_per_second = 10 },
  ["triangle_overlay_002b.set_triangle_positioning_coordinates"] = { zoom_deciX = 10 },
}

--- Opens a unit for examples.
function examples.open()
  return rovk.open("sim?clock=virtual")
end

--- The first device of a service; of `common` that of another, since every peripheral has what is common.
function examples.target(unit, service)
  return unit:devices(service.id and service.name or "led_0001")[1]
end

-- What the getting command beside a setting one tells, by the names of fields.
local function known_values(unit, target, command)
  for _, pattern in ipairs { "^set_", "^set_manual_", "^set_auto_" } do
    local name, changed = command.name:gsub(pattern, "get_")
    local counterpart = command.service.commands[name]
    if changed > 0 and counterpart then
      local asked = {}
      for _, field in ipairs(counterpart.inputs) do
        asked[field.name] = reference.picks_device(command.service, field) and target.index or 0
      end
      local peripheral = unit:peripheral(target.service, target.address)
      local ask = peripheral["try_" .. name]
      return (#counterpart.inputs > 0 and ask(peripheral, asked) or #counterpart.inputs == 0 and ask(peripheral)) or {}
    end
  end
  return {}
end

-- The inputs of a command in their order: field and value.
local function inputs_of(unit, target, command, own)
  local known = known_values(unit, target, command)
  local list = {}
  for place, field in ipairs(command.inputs) do
    local value = own[field.name]
    if value == nil and reference.picks_device(command.service, field) then
      value = target.index
    end
    value = value or rawget(known, field.name)
    if not value and field.kind == "number" then
      value = field.values and field.values[1].value or math.max(field.min or field.low, 0)
    end
    list[place] = { field = field, value = value or "hello" }
  end
  return list
end

-- A value as the companion takes it, and as a plain function does.
local function companion_value(input)
  for _, item in ipairs(input.field.values or {}) do
    if item.value == input.value and not item.name:match("^%d") then
      return ("%q"):format(item.name)
    end
  end
  return type(input.value) == "string" and ("%q"):format(input.value) or ("%.0f"):format(input.value)
end

local function plain_value(input)
  return type(input.value) == "string" and ("{ (%q):byte(1, -1) }"):format(input.value) or ("%.0f"):format(input.value)
end

local function companion_call(variable, command, inputs)
  local parts = {}
  for _, input in ipairs(inputs) do
    if not reference.picks_device(command.service, input.field) then
      parts[#parts + 1] = ("%s = %s"):format(input.field.name, companion_value(input))
    end
  end
  return ("%s:%s%s"):format(variable, command.name,
    #parts > 0 and " { " .. table.concat(parts, ", ") .. " }" or "()")
end

local function plain_arguments(callback, inputs)
  local parts = { "context", "address", callback }
  for _, input in ipairs(inputs) do
    parts[#parts + 1] = plain_value(input)
  end
  return table.concat(parts, ", ")
end

local function function_name(item)
  return ("rovk.rovktrans_%s_%s"):format(item.service.name, item.name)
end

local function preludes(service, target)
  local variable = reference.variable(service)
  local name = target.name or "NONE"
  return ([[
local rovk = require "rovk"
local unit = rovk.open()
local %s = unit:device("%s", "%s")
]]):format(variable, target.service, name), ([[
local rovk = require "rovk_message"
local status, context = rovk.rovktrans_init(nil, nil)
local device = rovk.rovktrans_find_device(context, rovk.ROVK_%s_PERIPHERAL_ID,
  rovk.ROVK_PERIPHERAL_DEVICE_ID_%s)
local address = device.address
]]):format(target.service:upper(), name)
end

--- What stands in front of each example of a service.
-- @return for the companion, for the plain functions
function examples.preludes(unit, service)
  return preludes(service, examples.target(unit, service))
end

--- The example of a command: `companion`, `plain`, `async`, each one text, and `refused`, the name of the error with
-- which the unit refuses it as it stands, if it does.
function examples.command(unit, command)
  local service = command.service
  local target = examples.target(unit, service)
  local own = INPUTS[service.name .. "." .. command.name] or {}
  local variable, name = reference.variable(service), function_name(command)
  local companion, plain = {}, {}
  for _, before in ipairs(own.first or {}) do
    local other = service.commands[before[1]]
    local inputs = inputs_of(unit, target, other, before[2])
    companion[#companion + 1] = companion_call(variable, other, inputs)
    plain[#plain + 1] = ("%s(%s)"):format(function_name(other), plain_arguments(nil, inputs))
  end
  local inputs = inputs_of(unit, target, command, own)
  local call = companion_call(variable, command, inputs)
  local values = reference.names_of(command.values)
  local shown = table.concat(values, ", ")
  local async = { unpack(plain) }
  if own.refused then
    companion[#companion + 1] = ("print(select(2, %s))"):format((call:gsub(":", ":try_", 1)))
  else
    companion[#companion + 1] = #values > 0 and ("print(%s)"):format(call) or call
  end
  plain[#plain + 1] = ("local status, errors%s = %s(%s)"):format(#values > 0 and ", " .. shown or "", name,
    plain_arguments(nil, inputs))
  plain[#plain + 1] = ("print(status, errors.error_id%s)"):format(#values > 0 and ", " .. shown or "")
  local callback = ("function(%serrors)\n  print(errors.error_id%s)\nend"):format(#values > 0 and shown .. ", " or "",
    #values > 0 and ", " .. shown or "")
  async[#async + 1] = ("%s_async_lua(%s)"):format(name, plain_arguments(callback, inputs))
  async[#async + 1] = 'require("rovk_loop").dispatch(context, -1)'
  return { companion = table.concat(companion, "\n"), plain = table.concat(plain, "\n"),
    async = table.concat(async, "\n"), refused = own.refused }
end

--- The example of an event: `companion` and `plain`.
function examples.event(event)
  local variable, name = reference.variable(event.service), function_name(event)
  local values = table.concat(reference.names_of(event.values), ", ")
  return { companion = ('local subscription = %s:on("%s", function(event, device)\n  print(device, event)\nend)\n'
    .. "unit:sleep(100)\nsubscription:cancel()"):format(variable, event.name),
    plain = ("local handle = %s_register_callback_lua(context, address, function(%s)\n  print(%s)\nend)\n"
    .. 'require("rovk_loop").dispatch(context, 100)\n%s_unregister_callback_lua(context, address, handle)')
    :format(name, values, values, name) }
end

--- Runs an example and closes what it opened. Its unit has a virtual clock, so that nobody waits for motors.
-- @return what it printed; raises its error
function examples.run(prelude, text)
  local printed = {}
  local ending = prelude:find("rovktrans_init", 1, true) and "\nrovk.rovktrans_deinit(context)" or "\nunit:close()"
  prelude = prelude:gsub("rovk%.open%(%)", 'rovk.open("sim?clock=virtual")')
    :gsub("rovktrans_init%(nil", 'rovktrans_init("sim?clock=virtual"')
  local chunk = assert(loadstring(prelude .. text .. ending, "=example"))
  local function keep(...)
    local parts = {}
    for place = 1, select("#", ...) do
      parts[place] = tostring((select(place, ...)))
    end
    printed[#printed + 1] = table.concat(parts, "  ")
  end
  setfenv(chunk, setmetatable({ print = keep }, { __index = _G }))()
  return table.concat(printed, "\n")
end

--- All services that have something to show.
function examples.services()
  local list = {}
  for _, service in ipairs(catalogue.services) do
    if #service.commands > 0 then
      list[#list + 1] = service
    end
  end
  return list
end

return examples
