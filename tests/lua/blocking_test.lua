-- Blocking commands against the simulated unit, by example. All of them are run in async_test.lua, beside
-- their other form.

local helper = require("helper")
local rovk = require("rovk_message")

describe("blocking commands", function()
  helper.watch(before_each, after_each)

  it("of the self-check service do their arithmetic", function()
    local context = helper.open()
    local self = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS
    local ok = { error_id = 0 }
    for _, case in ipairs {
      { "add_one", { 41 }, { 42 } }, { "add_one", { 255 }, { 0 } }, { "add_one", { 300.9 }, { 45 } },
      { "add_two", { 70000 }, { 4466 } }, { "group_in_both", { 3, 250 }, { 3, 250 } }, { "fail", { 0 }, {} },
      { "add_one_to_types", { -1, 254, -1, 65534, -1, 4294967294 }, { 0, 255, 0, 65535, 0, 4294967295 } },
      { "add_one_to_types", { 127, 255, 32767, 65535, 2147483647, 4294967295 },
        { -128, 0, -32768, 0, -2147483648, 0 } },
      { "add_one_to_types", { 200, 300, 40000, 70000, 3e9, 5e9 }, { -55, 45, -25535, 4465, -2147483648, 0 } },
    } do
      assert.are.same({ n = 2 + #case[3], 0, ok, unpack(case[3]) },
        helper.pack(rovk["rovktrans_unittest_ffff_" .. case[1]](context, self, unpack(case[2]))), case[1])
    end
    assert.are.equal(4, helper.pack(rovk.rovktrans_unittest_ffff_group_in_response(context, self)).n)
    local mixed = helper.pack(rovk.rovktrans_unittest_ffff_mixed_groups_in_both(context, self, 1, 2, 3, 4, 5, 6))
    assert.are.same({ 9, 1, 2, 3, 4, 5, 6 }, { mixed.n, unpack(mixed, 4, 9) })
  end)

  it("give the values in the order of the records, not of the settings", function()
    local context = helper.open()
    local at = helper.addresses(context)
    assert.are.equal(0, (rovk.rovktrans_relay_0005_set_configuration(context, at.relay_0005, 0, 1, 20, 0, 1, 30, 40,
      5)))
    assert.are.same({ 0, { error_id = 0 }, 1, 0, 20, 1, 5, 30, 40 },
      { rovk.rovktrans_relay_0005_get_configuration(context, at.relay_0005, 256) }) -- the index is cut to 8 bits
    assert.are.equal(0, (rovk.rovktrans_white_balance_001b_set_auto_red_offset(context, at.white_balance_001b, 0, -5)))
    assert.are.equal(-5, (select(3, rovk.rovktrans_white_balance_001b_get_auto_red_offset(context,
      at.white_balance_001b, 0))))
  end)

  it("carry byte tables both ways", function()
    local context = helper.open()
    local bytes = helper.rep(0, 22)
    assert.are.same({ 0, { error_id = 0 }, bytes }, { rovk.rovktrans_common_echo(context, 0, {}) })
    bytes[1], bytes[2], bytes[5] = 65, 44, 2
    assert.are.same({ 0, { error_id = 0 }, bytes },
      { rovk.rovktrans_common_echo(context, 0, { "65", 300, "x", -1, 2.9 }) })
    local status, _, count, aliases = rovk.rovktrans_common_get_aliases(context, 0)
    assert.are.same({ 0, 10, true }, { status, #aliases, count <= 10 })
  end)

  it("allocate nothing that stays", function()
    local context = helper.open()
    local function work()
      for _ = 1, 200 do
        rovk.rovktrans_led_0001_get_state(context, 0x7777, 1)
        rovk.rovktrans_common_echo(context, 0, {})
      end
      collectgarbage()
      collectgarbage()
      return collectgarbage("count")
    end
    local before, growth = work(), math.huge
    for _ = 1, 4 do -- a leak shows every time, what else happens in the heap does not
      local now = work()
      growth, before = math.min(growth, now - before), now
    end
    assert.is_true(growth < 1, growth)
  end)
end)
