-- Error tables: every id through every service's decoder, on both roads, and which of them report an id
-- that they do not know. That report goes to the standard output, so the work is done in a process of
-- its own, over the recording libraries that this one was started with.

local helper = require("helper")

local IDS = { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 20, 31, 32, 33, 34, 35, 36, 40, 255, 256, 514, 65535 }

-- Address and detail of the record that the recorder answers with.
local ADDRESS, WORD, BYTE = 0x908B, 0xA49F, 0x9F
local COMMON_KEYS = {
  [2] = { "fault_id", WORD }, [4] = { "application_address", WORD }, [6] = { "type", WORD },
  [8] = { "payload_index", WORD }, [9] = { "opcode", BYTE }, [11] = { "index", BYTE },
}
local OWN_KEYS = {
  calibration_0015 = { [34] = { "efl_cal_value", WORD }, [35] = { "z_cal_value", WORD } },
  unittest_ffff = { [33] = { "value", BYTE } },
}
-- Services with errors of their own say nothing about ids that they do not know.
local OWN_ERRORS = { bulk_dump_000c = true, eeprom_raw_0012 = true, eeprom_partition_table_0013 = true,
  calibration_0015 = true, auto_back_focus_0020 = true, unittest_ffff = true }

-- Runs one command without inputs or with zeros of each service that has any.
local SCRIPT = [[
local rovk, recorder = require("rovk_message"), require("recorder")
local _, context = rovk.rovktrans_init(nil, nil)
local function show(list)
  local text = {}
  for key, value in pairs(list) do
    text[#text + 1] = key .. "=" .. value
  end
  table.sort(text)
  io.write(table.concat(text, " "), "\n")
end
for _, case in ipairs(CASES) do
  for _, id in ipairs(IDS) do
    recorder.behave { status = 1, error_id = id }
    local inputs = {}
    for position = 1, case[2] do
      inputs[position] = 0
    end
    io.write(case[1], " ", id, "\n")
    show((select(2, rovk[case[1] ](context, 1, unpack(inputs)))))
    recorder.behave { error_id = id }
    rovk[case[1] .. "_async_lua"](context, 1, function(...) show((select(select("#", ...), ...))) end, unpack(inputs))
    recorder.deliver()
  end
end
]]

local function expected_table(service, id)
  local keys = { "error_id=" .. id, "peripheral_address=" .. ADDRESS }
  local further = id < 32 and COMMON_KEYS[id] or (OWN_KEYS[service] or {})[id]
  if further then
    keys[#keys + 1] = further[1] .. "=" .. further[2]
  end
  table.sort(keys)
  return table.concat(keys, " ")
end

describe("error tables", function()
  helper.watch(before_each, after_each)

  it("hold the keys of the id, and strict services report what they do not know", function()
    local cases, expected = {}, {}
    for _, service in ipairs(helper.model().services) do
      local chosen
      for _, command in ipairs(service.commands) do
        local inputs = command.command and command.command.values or {}
        local plain = true
        for _, field in ipairs(inputs) do
          plain = plain and field.kind == "number"
        end
        chosen = chosen or plain and { "rovktrans_" .. service.name .. "_" .. command.name, #inputs }
      end
      if chosen then
        cases[#cases + 1] = ("{ %q, %d }"):format(chosen[1], chosen[2])
        for _, id in ipairs(IDS) do
          local strict = service.name ~= "common" and not OWN_ERRORS[service.name] and id >= 32
          expected[#expected + 1] = ("%s %d\n%s%s\n%s\n"):format(chosen[1], id,
            strict and ("FAIL WITH BAD ERROR VALUE %d\n"):format(id) or "", expected_table(service.name, id),
            expected_table(service.name, id))
        end
      end
    end
    assert.are.equal(49, #cases)
    local script = SCRIPT:gsub("CASES", "{ " .. table.concat(cases, ", ") .. " }", 1)
      :gsub("IDS", "{ " .. table.concat(IDS, ", ") .. " }", 1)
    local got, position = helper.process(script), 1
    for _, text in ipairs(expected) do
      assert.are.equal(text, got:sub(position, position + #text - 1))
      position = position + #text
    end
    assert.are.equal("", got:sub(position))
  end)
end)
