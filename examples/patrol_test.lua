-- How a script is tested: ./rovk test-script examples/patrol_test.lua
-- On a virtual clock the patrol's minutes pass in no time, and the same way every time.
local rovk = require "rovk"
local hand = require "rovk_unit"
local patrol = require "patrol"

describe("the patrol", function()
  local unit, visits

  before_each(function()
    unit, visits = rovk.open "sim?clock=virtual", {}
  end)
  after_each(function()
    unit:close()
  end)

  local A, B = { pan = 30000, tilt = 0, zoom = 10 }, { pan = 90000, tilt = -10000, zoom = 20 }

  local function go(rounds)
    return unit:spawn(patrol.run, unit, { A, B }, rounds, 1000, function(place, when)
      local head = unit:device("positioning_002a", "POSITIONING_OPTICAL")
      assert.are.equal(place.pan, head:get_position().pan_millidegrees)
      visits[#visits + 1] = when
    end)
  end

  it("visits the places in their order", function()
    go(2)
    assert.are.equal("done", unit:run())
    assert.are.equal(4, #visits)
    assert.is_true(visits[2] - visits[1] > 3000) -- sixty degrees at thirty a second, and the rest before
  end)

  it("stays while the alarm is closed", function()
    assert(hand.close(unit.context, 0))
    unit:after(20000, function()
      assert(hand.open(unit.context, 0))
    end)
    go(1)
    unit:run()
    assert.is_true(visits[1] > 20000)
  end)

  it("ends with an error that says what the head refused", function()
    assert(hand.fault(unit.context, unit:device("positioning_002a", "POSITIONING_OPTICAL").address, 17))
    go(1)
    local ok, err = pcall(unit.run, unit)
    assert.is_false(ok)
    assert.are.same({ "set_position", "fault_exists", 17 }, { err.command, err.error, err.detail.fault_id })
  end)
end)
