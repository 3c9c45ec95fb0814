-- How a Lua number becomes a field: cut, saturated, narrowed; and how it comes back. The same rules
-- hold for attributes and for arguments of functions.

local helper = require("helper")
local rovk = require("rovk_message")

local INF, NAN = 1 / 0, 0 / 0

-- Input; what 8, 16 and 32 bits give. No results: refused.
local UNSIGNED = {
  { 0, 0, 0, 0 }, { -0, 0, 0, 0 }, { 0.9, 0, 0, 0 }, { 1e-300, 0, 0, 0 }, { 255, 255, 255, 255 },
  { 255.999, 255, 255, 255 }, { 256, 0, 256, 256 }, { 300, 44, 300, 300 }, { 65535, 255, 65535, 65535 },
  { 65536, 0, 0, 65536 }, { 70000, 112, 4464, 70000 }, { 2147483647, 255, 65535, 2147483647 },
  { 2147483648, 0, 0, 2147483648 }, { 4294967040, 0, 65280, 4294967040 }, { 4294967295, 255, 65535, 4294967295 },
  { 4294967295.5, 255, 65535, 4294967295 }, { 4294967296, 255, 65535, 4294967295 },
  { 4294967297, 255, 65535, 4294967295 }, { 2 ^ 53, 255, 65535, 4294967295 }, { 2 ^ 63, 255, 65535, 4294967295 },
  { 2 ^ 64, 255, 65535, 4294967295 }, { 1e300, 255, 65535, 4294967295 }, { INF, 255, 65535, 4294967295 },
  { "12", 12, 12, 12 }, { "0x1234", 0x34, 0x1234, 0x1234 }, { " 7 ", 7, 7, 7 }, { "1e2", 100, 100, 100 },
  { -0.5 }, { -1e-300 }, { -1 }, { -256 }, { -4294967296 }, { -INF }, { NAN }, { "-1" },
}

local SIGNED = {
  { 0, 0, 0, 0 }, { -0, 0, 0, 0 }, { 0.9, 0, 0, 0 }, { -0.9, 0, 0, 0 }, { -1, -1, -1, -1 }, { -2.9, -2, -2, -2 },
  { 127, 127, 127, 127 }, { 128, -128, 128, 128 }, { 200, -56, 200, 200 }, { 255, -1, 255, 255 },
  { 300, 44, 300, 300 }, { -128, -128, -128, -128 }, { -129, 127, -129, -129 }, { 32767, -1, 32767, 32767 },
  { 32768, 0, -32768, 32768 }, { 65535, -1, -1, 65535 }, { -32768, 0, -32768, -32768 }, { -32769, -1, 32767, -32769 },
  { 2147483647, -1, -1, 2147483647 }, { 2147483647.9, -1, -1, 2147483647 }, { 2147483648, -1, -1, 2147483647 },
  { 4294967295, -1, -1, 2147483647 }, { 2 ^ 63, -1, -1, 2147483647 }, { 1e300, -1, -1, 2147483647 },
  { INF, -1, -1, 2147483647 }, { -2147483648, 0, 0, -2147483648 }, { -2147483648.9, 0, 0, -2147483648 },
  { -2147483649, 0, 0, -2147483648 }, { -2 ^ 63, 0, 0, -2147483648 }, { -1e300, 0, 0, -2147483648 },
  { -INF, 0, 0, -2147483648 }, { NAN, 0, 0, 0 }, { "-12", -12, -12, -12 }, { "200", -56, 200, 200 },
}

local NO_NUMBERS = { "x", "", "1x", "0x", " ", true, {}, print, io.stdout }

local function types_record()
  return rovk.rovk_command_payload_unittest_ffff_add_one_to_types()
end

describe("numbers", function()
  helper.watch(before_each, after_each)

  it("are converted by attributes and by arguments", function()
    local m, record = rovk.rovk_message(), types_record()
    local build = rovk.rovk_unittest_ffff_initialize_add_one_to_types_command
    local read = rovk.rovk_unittest_ffff_retrieve_add_one_to_types_command
    for signed, cases in pairs { [0] = UNSIGNED, SIGNED } do
      for _, case in ipairs(cases) do
        for width = 1, 3 do
          local inputs = { 1, 2, 3, 4, 5, 6 }
          local position = width * 2 - signed
          local field = "i" .. position
          inputs[position], record[field] = case[1], 0x55
          if case[2] then
            record[field] = case[1]
            assert.are.equal(case[width + 1], record[field], ("%s from %s"):format(field, tostring(case[1])))
            build(m, 1, unpack(inputs))
            inputs[position] = case[width + 1]
            assert.are.same(inputs, { read(m) })
          else
            helper.fails("number must not be negative", function() record[field] = case[1] end)
            helper.fails("number must not be negative", build, m, 1, unpack(inputs))
            assert.are.equal(0x55, record[field])
          end
        end
      end
    end
    for _, case in ipairs(UNSIGNED) do
      if case[2] then
        rovk.rovk_initialize_message_struct(m, case[1], case[1], case[1])
        assert.are.same({ case[3], case[2], case[2] }, { m.route.peripheral_address, m.route.type, m.cre.c.opcode })
      end
    end
  end)

  it("of byte tables and aliases are cut without a refusal", function()
    local m, response = rovk.rovk_message(), rovk.rovk_message()
    local entries = { 300, -1, 255.9, "44", "x", {}, NAN, INF, -INF, true, 256, 4294967296 }
    rovk.rovk_common_initialize_echo_command(m, 1, entries)
    assert.are.same({ 44, 0, 255, 44, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 },
      rovk.rovk_common_retrieve_echo_command(m))
    rovk.rovk_common_initialize_get_aliases_command(m, 1)
    for given, stored in pairs { [-1] = 0, [70000] = 4464, [0.9] = 0, ["300"] = 300, [-INF] = 0 } do
      rovk.rovk_common_initialize_get_aliases_response(response, m, 1, given)
      local status, count, list = rovk.rovk_common_retrieve_get_aliases_response(response)
      assert.are.same({ 0, 1, { stored, 0, 0, 0, 0, 0, 0, 0, 0, 0 } }, { status, count, list })
    end
    for count, list in pairs { [10] = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 65535 }, [65535] = helper.rep(0, 10) } do
      rovk.rovk_common_initialize_get_aliases_response(response, m, count, count == 10 and list or {})
      assert.are.same({ 0, count, list }, { rovk.rovk_common_retrieve_get_aliases_response(response) })
    end
  end)

  it("are what lua_isnumber takes and nothing else", function()
    local record, m = types_record(), rovk.rovk_message()
    for _, value in ipairs(NO_NUMBERS) do
      local got = swig_type(value)
      for position, field in ipairs { "i1", "i2", "i3", "i4", "i5", "i6" } do
        local text = ({ "int8_t", "uint8_t", "int16_t", "uint16_t", "int32_t", "uint32_t" })[position]
        record[field] = 7
        local class = "rovk_command_payload_unittest_ffff_add_one_to_types"
        helper.fails(("Error in %s::%s (arg 2), expected '%s' got '%s'"):format(class, field, text, got),
          function() record[field] = value end)
        assert.are.equal(7, record[field])
        local inputs = { 1, 2, 3, 4, 5, 6 }
        inputs[position] = value
        local build = "rovk_unittest_ffff_initialize_add_one_to_types_command"
        helper.fails(("Error in %s (arg %d), expected '%s' got '%s'"):format(build, position + 2, text, got),
          rovk[build], m, 1, unpack(inputs))
      end
    end
  end)
end)
