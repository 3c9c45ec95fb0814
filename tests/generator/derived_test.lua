-- The data of the protocol and what follows from them, pinned: one digest for each service, for the
-- protocol file and for each list of the interface. They were compared with the protocol's own tables
-- entry by entry. Whoever changes an entry on purpose reads the text that the failure shows, and puts
-- the new digest here; descriptions have no part in it.

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = here .. "/?.lua;" .. package.path
local sample = require("sample")
local derive = require("derive")
local lfs = require("lfs")
local reader = require("reader")

local DIGESTS = {}
for name, digest in ([[
  protocol 4f66ce50 constants 09ac4163 variables dbc4ee0f classes d97a5468 types aa87a239 functions 48d89bf5
  common ccd3b888 router_0000 c6c69c88 led_0001 e3df3898 button_0002 9a940ec3 eeprom_0003 87bfdcae
  alarm_0004 95af65d3 relay_0005 150aa442 imgctrl_0006 45480f53 light_sensor_0007 93eb4073
  ir_illuminator_0008 27748344 temperature_sensor_0009 e2b91ed7 heater_000a 7f6cf338 fan_000b cf06b212
  bulk_dump_000c 14b9140d linear_actuator_000d 6ed6ce3a angular_actuator_000e 8271b075 power_monitor_000f d3e25bb9
  iris_0010 db2abe26 day_night_0011 b5a639ac eeprom_raw_0012 727b7aeb eeprom_partition_table_0013 c649a449
  power_policy_0014 f5b6de13 calibration_0015 70cee865 a_d_converter_0016 1f123c4d alarm_0017 251b8ec4
  alarm_diagnostic_0018 a2d3ad08 relay_0019 8c1b490f imaging_001a f84d8125 white_balance_001b c9410172
  exposure_001c 38bc8cbd day_night_001d a9bbbb1c lens_focus_001f 9d5f357c auto_back_focus_0020 acce175d
  zoom_0021 8f68e946 imaging_control_loops_0022 f63cf88a sensor_0023 32c90bbb imaging_pipe_statistics_0024 083a317b
  power_pwm_0025 10337b47 speed_pwm_0026 37c467ca switch_0027 4a589375 linear_actuator_0028 9c403be3
  a_d_converter_0029 57efb6b2 positioning_002a bb2d1b28 triangle_overlay_002b 425f862b power_policy_002c b1afc6c5
  power_monitor_002e 0e7fb44f flicker_correction_002f b5a278e0 spatial_noise_filter_0030 bd1efb7f
  temporal_noise_filter_0031 1f2c0780 temperature_control_0032 57cb3f1f unittest_ffff e0c7a995
]]):gmatch("(%S+) (%x+)") do
  DIGESTS[name] = digest
end

-- 32 bits of a text; each byte counts with its place.
local function digest_of(text)
  local value = 0
  for position = 1, #text do
    value = (value * 65599 + text:byte(position)) % 4294967291
  end
  return ("%08x"):format(value)
end

-- Entries, each made into one line.
local function lines(list, line_of)
  local text = {}
  for position, item in ipairs(list or {}) do
    text[position] = line_of(item) .. "\n"
  end
  return table.concat(text)
end

local function line(...)
  local words = {}
  for position = 1, select("#", ...) do
    words[position] = tostring((select(position, ...)))
  end
  return table.concat(words, " ")
end

local function fields_of(record)
  return lines(record and record.fields, function(field)
    return line(" ", field.offset, field.name, field.text, field.readonly)
  end)
end

local function text_of_service(service)
  local text = line(service.name, service.id, service.api.major, service.api.minor) .. "\n"
  for kind, list in ipairs { service.commands, service.events, service.errors } do
    text = text .. lines(list, function(item)
      return line(kind, item.number, item.name) .. "\n" .. fields_of(item.command) .. ">\n"
        .. fields_of(item.response or item.event or item.detail)
    end)
  end
  return text .. lines(service.constants, function(constant) return line(constant.name, constant.value) end)
end

local function sorted_lines(map, line_of)
  local list = {}
  for key, item in pairs(map) do
    list[#list + 1] = line_of(key, item)
  end
  table.sort(list)
  return table.concat(list, "\n")
end

local function text_of_protocol(model)
  local protocol = model.protocol
  return table.concat({
    line(protocol.version.major, protocol.version.minor),
    sorted_lines(protocol.types, function(name, item) return line(name, item.width, item.signed, item.c) end),
    sorted_lines(protocol.arrays, function(text, item) return line(text, item.element, item.count) end),
    lines(model.records, function(record)
      return line(record.name, record.struct, record.native, record.overlay, record.size) .. "\n" .. fields_of(record)
    end),
    lines(model.protocol.constants, function(item) return line(item[1], item[2]) end),
    lines(protocol.pointers, function(item) return line(item[1], item[2]) end),
    lines(protocol.functions, function(item)
      return line(item.name, item.null_behind, table.concat(item.arguments, ","), table.concat(item.results or {}, ","))
    end),
  }, "\n")
end

describe("the catalogue", function()
  local model

  setup(function()
    local paths = {}
    for name in lfs.dir(sample.root .. "/lualib/catalogue") do
      if name:match("%.lua$") then
        paths[#paths + 1] = sample.root .. "/lualib/catalogue/" .. name
      end
    end
    model = derive.derive(reader.read(sample.root .. "/lualib/protocol.lua", paths))
  end)

  it("is the one that was compared with the protocol", function()
    local texts = { protocol = text_of_protocol(model) }
    for _, service in ipairs(model.services) do
      texts[service.name] = text_of_service(service)
    end
    texts.constants = lines(model.all_constants, function(item) return line(item.name, item.value) end)
    texts.variables = lines(model.variables, function(item)
      return line(item.name, item.version.major, item.version.minor)
    end)
    texts.classes = lines(model.classes, function(item)
      return line(item.name, item.text) .. "\n" .. fields_of(item.record)
    end)
    texts.types = lines(model.types, function(item) return line(item.name, item.pretty) end)
    texts.functions = lines(model.functions, function(item)
      local arguments = lines(item.arguments, function(argument) return line(" ", argument.kind, argument.text) end)
      return line(item.name, item.target, #item.results) .. "\n" .. arguments
    end)
    for name, text in pairs(texts) do
      assert(digest_of(text) == DIGESTS[name], ("%s is no longer what was compared; digest %s of\n%s"):format(name,
        digest_of(text), #text < 20000 and text or "too long a text to show"))
      DIGESTS[name] = nil
    end
    assert.are.same({}, DIGESTS)
  end)
end)
