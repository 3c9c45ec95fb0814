-- Error tables of errors that a unit really answers with, on both roads. Every id through every decoder
-- is in tests/recorder/decoders_test.lua.

local helper = require("helper")
local rovk = require("rovk_message")
local unit = require("rovk_unit")
local loop = require("rovk_loop")

-- Status, error table and count of results of a command, run blocking and asynchronously.
local function both(context, name, address, ...)
  local blocking = helper.pack(rovk[name](context, address, ...))
  local later
  assert.are.equal(0, rovk[name .. "_async_lua"](context, address, function(...)
    later = helper.pack(...)
  end, ...))
  for _ = 1, 100 do
    if later then
      break
    end
    loop.dispatch(context, 1000)
  end
  assert.are.equal(blocking.n - 1, later.n)
  assert.are.same(blocking[2], later[later.n], name)
  for position = 1, later.n - 1 do -- an array that did not come may look either way
    if type(later[position]) == "number" then
      assert.are.equal(blocking[position + 2], later[position], name)
    end
  end
  return blocking[1], blocking[2]
end

describe("errors", function()
  helper.watch(before_each, after_each)

  it("of the self-check service come with the key of their id", function()
    local context = helper.open()
    local self = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS
    for id, key in pairs { [2] = "fault_id", [11] = "index", [33] = "value", [12] = false, [32] = false } do
      local expected = { error_id = id, peripheral_address = self }
      expected[key or "error_id"] = id
      local status, errors = both(context, "rovktrans_unittest_ffff_fail", self, id)
      assert.are.same({ id, expected }, { status, errors })
    end
    assert.are.same({ 0, { error_id = 0 } }, { both(context, "rovktrans_unittest_ffff_fail", self, 0) })
    local _, refused = both(context, "rovktrans_unittest_ffff_fail", self, 99)
    assert.are.same({ error_id = 8, peripheral_address = self, payload_index = 0 }, refused)
  end)

  it("come from faults, reservations, unknown peripherals and time-outs", function()
    local context = helper.open()
    local at = helper.addresses(context)
    local led = at.led_0001
    assert.is_true(unit.fault(context, led, 0xBEEF))
    local status, errors = both(context, "rovktrans_led_0001_get_state", led, 0)
    assert.are.same({ 2, { error_id = 2, peripheral_address = led, fault_id = 0xBEEF } }, { status, errors })
    assert.are.equal(0xBEEF, select(3, rovk.rovktrans_common_get_fault(context, led)))
    assert.are.same({ 12, 12 }, { rovk.rovktrans_common_self_test(context, led, 0), select(2,
      rovk.rovktrans_common_self_test(context, led, 0)).error_id })
    assert.are.equal(0, (rovk.rovktrans_common_clear_fault(context, led)))
    assert.are.equal(0, (both(context, "rovktrans_led_0001_get_state", led, 0)))

    status, errors = both(context, "rovktrans_led_0001_get_state", 0x7777, 0)
    assert.are.equal(rovk.ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL, status)
    assert.are.equal(5, errors.error_id)
    status, errors = both(context, "rovktrans_led_0001_get_state", led, 9) -- no such device
    assert.are.same({ 8, { error_id = 8, peripheral_address = led, payload_index = 0 } }, { status, errors })

    assert.is_true(unit.disturb(context, "lose", 2))
    status, errors = both(context, "rovktrans_led_0001_get_state", led, 0)
    assert.are.equal(-110, status) -- ETIMEDOUT
    assert.are.equal(rovk.ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, errors.error_id)
    assert.are.equal(led, errors.peripheral_address)
    assert.are.equal("number", type(errors.type))
    assert.are.equal(0, (both(context, "rovktrans_led_0001_get_state", led, 0)))
  end)
end)
