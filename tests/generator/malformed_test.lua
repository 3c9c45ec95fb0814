-- The generator refuses what is not sound, in words that name file and entry.

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = here .. "/?.lua;" .. package.path
local sample = require("sample")
local derive = require("derive")
local reader = require("reader")

local function copy_of_lamp(data)
  local extra = { name = "extra_0041", id = 0x41, api = data.lamp.api, commands = {}, events = {}, errors = {},
    constants = {} }
  data.extra = extra
  return extra
end

-- The fields of the command that most samples break.
local function fields(data)
  return data.lamp.commands[1].command
end

-- What is changed in the sample, and the message that it gives. `names`: see sample.write.
local MALFORMED = {
  { "unknown type", function(data) fields(data)[1][3] = "uint7_t" end,
    "lamp_0040.lua: command 'set', command record, field 'index': unknown type 'uint7_t'" },
  { "no type", function(data) fields(data)[1][3] = nil end,
    "lamp_0040.lua: command 'set', command record, field 'index': unknown type 'nil'" },
  { "type that stays at home", function(data) fields(data)[1][3] = "struct rovk_message" end,
    "lamp_0040.lua: command 'set', command record, field 'index': a value of type 'struct rovk_message' does not"
      .. " travel in a payload" },
  { "duplicate opcode", function(data) data.lamp.commands[2].opcode = 32 end,
    "lamp_0040.lua: command 'get': opcode 32 is 'set' already" },
  { "duplicate event id", function(data)
    data.lamp.events[2] = { id = 32, name = "other", event = { { 0, "level", "uint8_t" } } }
  end, "lamp_0040.lua: event 'other': id 32 is 'change' already" },
  { "duplicate error id", function(data) data.common.errors[2].id = 1 end,
    "common.lua: error 'late': id 1 is 'busy' already" },
  { "opcodes out of order", function(data) data.lamp.commands[1].opcode = 40 end,
    "lamp_0040.lua: command 'get': opcode 33 stands behind 40" },
  { "opcode of the common range", function(data) data.lamp.commands[1].opcode = 31 end,
    "lamp_0040.lua: command 'set': opcode 31 is not a whole number from 32 to 255" },
  { "common opcode of the services' range", function(data) data.common.commands[2].opcode = 32 end,
    "common.lua: command 'nop': opcode 32 is not a whole number from 0 to 31" },
  { "opcode above a byte", function(data) data.lamp.commands[2].opcode = 256 end,
    "lamp_0040.lua: command 'get': opcode 256 is not a whole number from 32 to 255" },
  { "broken number", function(data) data.lamp.commands[2].opcode = 33.5 end,
    "lamp_0040.lua: command 'get': opcode 33.5 is not a whole number from 32 to 255" },
  { "no opcode", function(data) data.lamp.commands[2].opcode = nil end,
    "lamp_0040.lua: command 'get': opcode nil is not a whole number from 32 to 255" },
  { "constant above 16 bits", function(data) data.lamp.constants[1][2] = 65536 end,
    "lamp_0040.lua: constant 'ROVK_LAMP_0040_LEVEL_OFF': value 65536 is not a whole number from 0 to 65535" },
  { "one name for two commands", function(data) data.lamp.commands[2].name = "set" end,
    "lamp_0040.lua: command 'set': the name stands twice" },
  { "one name for two fields", function(data) fields(data)[3][2] = "index" end,
    "lamp_0040.lua: command 'set', command record, field 'index': the name stands twice in the record" },
  { "constant of another file", function(data) data.lamp.constants[1][1] = "ROVK_SAMPLE" end,
    "lamp_0040.lua: constant 'ROVK_SAMPLE': the name is that of a constant of common.lua already" },
  { "constant that is derived too", function(data) data.lamp.constants[1][1] = "ROVK_LAMP_0040_COMMAND_SET" end,
    "lamp_0040.lua: constant 'ROVK_LAMP_0040_COMMAND_SET': the name is that of a constant of lamp_0040.lua already" },
  { "function of two commands", function(data)
    data.lamp.commands[2].name = "set_async"
  end, "lamp_0040.lua: function 'rovktrans_lamp_0040_set_async': the name is that of a function of lamp_0040.lua"
    .. " already" },
  { "gap", function(data) fields(data)[4][1] = 8 end,
    "lamp_0040.lua: command 'set', command record, field 'data': gap: offset 8, but the field before ends at 6" },
  { "overlap", function(data) fields(data)[4][1] = 5 end,
    "lamp_0040.lua: command 'set', command record, field 'data': overlap: offset 5, but the field before ends at 6" },
  { "first field not at 0", function(data) data.lamp.commands[2].command[1][1] = 1 end,
    "lamp_0040.lua: command 'get', command record, field 'index': gap: offset 1, but the field before ends at 0" },
  { "23 bytes", function(data) fields(data)[5] = { 22, "more", "uint8_t" } end,
    "lamp_0040.lua: command 'set', command record: the record has 23 bytes, more than the 22 that fit" },
  { "error detail of 22 bytes", function(data)
    data.common.errors[2].detail = { { 0, "data", "uint8_t [22]" } }
  end, "common.lua: error 'late', detail record: the record has 22 bytes, more than the 18 that fit" },
  { "reserved fields alone", function(data) data.lamp.events[1].event[2] = nil end,
    "lamp_0040.lua: event 'change', event record: the record has reserved fields alone" },
  { "empty record", function(data) data.lamp.commands[2].response = {} end,
    "lamp_0040.lua: command 'get', response record: a field list that is there has at least one field" },
  { "event without a record", function(data) data.lamp.events[1].event = nil end,
    "lamp_0040.lua: event 'change': the event record is missing" },
  { "16 bits at an odd offset", function(data)
    data.lamp.commands[2].response = { { 0, "state", "uint8_t" }, { 1, "level", "uint16_t" } }
  end, "lamp_0040.lua: command 'get', response record, field 'level': a 16-bit field wants an even offset, got 1" },
  { "32 bits at 0", function(data) data.lamp.commands[2].response[1] = { 0, "level", "uint32_t" } end,
    "lamp_0040.lua: command 'get', response record, field 'level': a 32-bit field wants an offset of the form 4n + 2,"
      .. " got 0" },
  { "unknown key of a service", function(data) data.lamp.version = 1 end,
    "lamp_0040.lua: service: unknown key 'version'" },
  { "unknown key of a command", function(data) data.lamp.commands[1].request = {} end,
    "lamp_0040.lua: command 1: unknown key 'request'" },
  { "unknown key of a field", function(data) fields(data)[1].units = "ms" end,
    "lamp_0040.lua: command 'set', command record, field 1: unknown key 'units'" },
  { "key of the message records in a payload", function(data) fields(data)[1].readonly = true end,
    "lamp_0040.lua: command 'set', command record, field 1: unknown key 'readonly'" },
  { "no name", function(data) data.lamp.commands[1].name = nil end, "lamp_0040.lua: command 1: 'nil' is no name" },
  { "capitals in a command", function(data) data.lamp.commands[1].name = "Set" end,
    "lamp_0040.lua: command 1: 'Set' is no name" },
  { "word of C++", function(data) fields(data)[1][2] = "switch" end,
    "lamp_0040.lua: command 'set', command record, field 1: 'switch' is a word of C++" },
  { "error that hides the bytes of all", function(data) data.common.errors[2].name = "payload" end,
    "common.lua: error 'payload': the name is that of the bytes of every error" },
  { "unknown unit", function(data) fields(data)[3].unit = "furlongs" end,
    "lamp_0040.lua: command 'set', command record, field 'level': unit 'furlongs' is none of generator/units.lua" },
  { "values of constants that are not there", function(data) fields(data)[1].values = "ROVK_LAMP_0040_COLOUR_*" end,
    "lamp_0040.lua: command 'set', command record, field 'index': no constant is named 'ROVK_LAMP_0040_COLOUR_*'" },
  { "two words for one value", function(data) fields(data)[1].values = { { 0, "off" }, { 0, "none" } } end,
    "lamp_0040.lua: command 'set', command record, field 'index': value 0 is both 'off' and 'none'" },
  { "value that the type cannot be", function(data) fields(data)[1].values = { { 256, "full" } } end,
    "lamp_0040.lua: command 'set', command record, field 'index': value 256 is not a whole number from 0 to 255" },
  { "values of bytes", function(data) fields(data)[4].values = { { 0, "off" } } end,
    "lamp_0040.lua: command 'set', command record, field 'data': values is for numbers alone" },
  { "range upside down", function(data) fields(data)[1].min, fields(data)[1].max = 4, 3 end,
    "lamp_0040.lua: command 'set', command record, field 'index': min 4 is above max 3" },
  { "range beyond the type", function(data) fields(data)[1].max = 300 end,
    "lamp_0040.lua: command 'set', command record, field 'index': max 300 is not a whole number from 0 to 255" },
  { "range beyond a signed type", function(data) fields(data)[3].min = -2 ^ 31 - 1 end,
    "lamp_0040.lua: command 'set', command record, field 'level': min -2147483649 is not a whole number from"
      .. " -2147483648 to 2147483647" },
  { "doc of two lines", function(data) data.lamp.commands[1].doc = "one\ntwo" end,
    "lamp_0040.lua: command 'set': doc is not one line of text" },
  { "meaning of a name that no field has", function(data) data.lamp.fields = { colour = { doc = "Hue." } } end,
    "lamp_0040.lua: fields, 'colour': no field has that name" },
  { "hole in a list", function(data) fields(data)[2] = nil end,
    "lamp_0040.lua: command 'set', command record: the list has a hole at 2" },
  { "list with keys", function(data) data.lamp.commands.get = { opcode = 34 } end,
    "lamp_0040.lua: commands: 'get' has no place in a list" },
  { "no commands", function(data) data.lamp.commands = nil end,
    "lamp_0040.lua: commands: a list is wanted, got a nil" },
  { "no version", function(data) data.lamp.api = nil end, "lamp_0040.lua: api: a table is wanted, got a nil" },
  { "id that is not in the name", function(data) data.lamp.id = 0x41 end,
    "lamp_0040.lua: service: id 0x0041 is not the one in the name" },
  { "no id", function(data) data.lamp.id = nil end,
    "lamp_0040.lua: service: id nil is not a whole number from 0 to 65535" },
  { "common with an id", function(data) data.common.id = 0 end, "common.lua: service: the common service has no id" },
  { "wrong file name", function() end,
    "lamp_0041.lua: service: the file is named after another service than 'lamp_0040'", { lamp = "lamp_0041.lua" } },
  { "no common service", function() end, "catalogue: the common service is missing", { common = false } },
  { "two services with one id", function(data)
    local extra = copy_of_lamp(data)
    extra.name, extra.id = "extra_0040", 0x40
  end, "extra_0040.lua: service: id 64 is that of 'lamp_0040' already", { extra = "extra_0040.lua" } },
  { "no table", function(data) data.lamp = "return 5" end, "lamp_0040.lua: the file returns no table" },
  { "broken Lua", function(data) data.lamp = "return {\n name =" end,
    "lamp_0040.lua:2: unexpected symbol near '<eof>'" },
  { "code in data", function(data) data.lamp = "return { name = os.getenv('HOME') }" end,
    "lamp_0040.lua:1: attempt to index global 'os' (a nil value)" },
  { "protocol without types", function(data) data.protocol.types = nil end,
    "protocol.lua: protocol: 'types' is missing" },
  { "type of three bytes", function(data) data.protocol.types.uint8_t.width = 3 end,
    "protocol.lua: type 'uint8_t': width 3 is none of 1, 2 and 4" },
  { "array of nothing known", function(data) data.protocol.arrays["uint8_t [22]"].element = "byte" end,
    "protocol.lua: array 'uint8_t [22]': unknown element type 'byte'" },
  { "gap in a record of the message", function(data) data.protocol.records[1].fields[2][1] = 2 end,
    "protocol.lua: record 'rovk_version', field 'minor': gap: offset 2, but the field before ends at 1" },
}

describe("a malformed catalogue", function()
  local folder

  before_each(function()
    folder = sample.scratch()
  end)

  after_each(function()
    sample.remove(folder)
  end)

  local function read(data, names)
    local paths = sample.write(folder, data, names)
    return derive.derive(reader.read(table.remove(paths, 1), paths))
  end

  it("is none of the sample's: unchanged it is taken", function()
    assert.are.equal(2, #read(sample.data()).services)
  end)

  it("is none where a usual range meets bytes, and where constants are those of common", function()
    local data = sample.data()
    data.lamp.fields = { data = { doc = "Bytes here, numbers elsewhere.", min = 1 } }
    fields(data)[1].values = "ROVK_SAMPLE"
    fields(data)[3].min = -5
    assert.are.equal(2, #read(data).services)
  end)

  for _, case in ipairs(MALFORMED) do
    it("is refused: " .. case[1], function()
      local data = sample.data()
      case[2](data)
      local ok, message = pcall(read, data, case[4])
      assert.is_false(ok)
      -- A file that does not load is named with its folder.
      assert.are.equal(case[3], (message:gsub(folder .. "/", "", 1)))
    end)
  end

  it("ends the program with one line and code 1, and nothing is generated", function()
    local data = sample.data()
    data.lamp.commands[2].opcode = 32
    local paths = sample.write(folder, data)
    local pipe = io.popen(("lua5.1 %s/generator/main.lua %s %s 2>&1; echo code $?"):format(sample.root, folder,
      table.concat(paths, " ")))
    local output = pipe:read("*a")
    pipe:close()
    assert.are.equal("lamp_0040.lua: command 'get': opcode 32 is 'set' already\ncode 1\n", output)
    assert.is_nil(io.open(folder .. "/catalogue_rows.cpp"))
  end)
end)
