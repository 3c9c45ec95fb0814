-- What rovk_unit has for bad days, as a script uses it.

require("helper")
local rovk = require("rovk_message")
local unit = require("rovk_unit")

describe("a hand for bad days", function()
  local context, led

  before_each(function()
    local status
    local way = "sim?clock=virtual&timeout_ms=50&profile=newer&addresses=shuffled&seed=7"
    status, context = rovk.rovktrans_init(way, nil)
    assert.equal(0, status)
    led = rovk.rovktrans_find_device(context, rovk.ROVK_LED_0001_PERIPHERAL_ID,
      rovk.ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED)
    assert.is_true(led.address ~= 0x0101)
  end)

  after_each(function()
    rovk.rovktrans_deinit(context)
  end)

  local function blink()
    local status, errors = rovk.rovktrans_led_0001_set_state(context, led.address, led.index, 1, 200, 800)
    return status, errors.error_id
  end

  it("plans what messages meet with and reports it", function()
    assert(unit.plan(context, {
      seed = 5,
      { on = "command", service = "led_0001", command = "set_state", ["do"] = "refuse", error = "busy", times = 1 },
      { on = "answer", address = led.address, nth = 2, ["do"] = "drop" },
    }))
    assert.same({ 1, 1 }, { blink() })
    assert.same({ 0, 0 }, { blink() })
    assert.same({ -110, 6 }, { blink() })
    local report = unit.report(context)
    assert.same({ 1, 1 }, report.injected)
    assert.same({ 2, 1, 0 }, {
      report.commands["led_0001.set_state"], report.errors["common.busy"], report.commands["led_0001.get_state"],
    })
    for rule, text in pairs {
      [{ ["do"] = "dorp" }] = "rule:2: 'dorp' is none of drop, ",
      [{ ["do"] = "drop", ['a"\n'] = 1 }] = "rule:2: no key 'a\"\n' belongs here",
      [{ ["do"] = "delay" }] = "rule:2: it wants 'ms'",
    } do
      local done, message, status = unit.plan(context, { { ["do"] = "drop" }, rule })
      assert.same({ nil, text, -22 }, { done, message:sub(1, #text), status })
    end
    assert.same({ 0, 0 }, { blink() }, "the plan before is still there, and has struck")
  end)

  it("looks at things at other times than now", function()
    blink()
    local now = unit.now(context)
    assert.same({ 1, 0, 1 }, {
      unit.probe(context, "light", led.index), unit.probe(context, "light", led.index, now + 300),
      unit.probe(context, "light", led.index, now + 1100),
    })
    assert.same({ -2, -6, -22 }, {
      select(3, unit.probe(context, "lihgt")), (select(3, unit.probe(context, "light", 9))),
      (select(3, unit.probe(context, "switch", 0, 5))),
    })
  end)

  it("sees where lens and head are, and lets go what it has set", function()
    local device = require("rovk").attach(context)
    local head, iris = device:device("positioning_002a", "POSITIONING_OPTICAL"), device:peripheral("iris_0010")
    local focus = device:device("linear_actuator_0028", "LINEAR_ACTUATOR_FOCUS")
    local night = device:peripheral("day_night_001d")
    local function seen()
      local list = {}
      for place, what in ipairs { "pan", "tilt", "zoom", "focus", "iris", "filter" } do
        list[place] = assert(unit.probe(context, what))
      end
      return list
    end
    head:set_position(10000, -5000, 45000, 45000, 30, 20)
    iris:set_position { index = 0, position = 250 }
    night:set_manual_filter_position_day { index = 0, day = 0 }
    night:set_manual_mode_enable { index = 0, enable = 1 }
    assert(unit.advance(context, 10000)) -- the filter has the lens focus again
    focus:set_position(1234, 2000)
    assert(unit.advance(context, 5000))
    assert.same({ 10000, -5000, 200, 1234, 250, 1000 }, seen())
    local own = unit.get(context, "temperature", 0)
    assert(unit.set(context, "temperature", 0, 80000))
    assert.equal(80000, unit.probe(context, "temperature"))
    assert(unit.set(context, "temperature", 0, nil))
    assert.is_true(math.abs(unit.probe(context, "temperature") - own) < 1000)
    assert.equal(-22, select(3, unit.set(context, "button", 0, nil)))
    device:close()
  end)

  it("calls at a time of the clock, in order, and frees what never runs", function()
    local calls = {}
    local start = unit.now(context)
    local kept = setmetatable({}, { __mode = "v" })
    local function act(ms, work)
      assert(unit.at(context, start + ms, function()
        calls[#calls + 1] = unit.now(context) - start
        work()
      end))
    end
    act(200, function()
      assert(unit.power(context, true))
    end)
    act(100, function()
      assert(unit.power(context, false))
      calls[#calls + 1] = blink()
    end)
    local never = function() end
    kept[1] = never
    assert(unit.at(context, start + 1e9, never))
    never = nil -- luacheck: ignore
    unit.advance(context, 150)
    assert.same({ 100, -16 }, calls)
    assert.equal(-110, (blink()))
    unit.advance(context, 2000)
    assert.same({ 100, -16, 200 }, calls)
    assert.equal(0, (blink()))
    assert(unit.at(context, unit.now(context), function()
      rovk.rovktrans_deinit(context)
    end))
    blink()
    assert.equal(-22, select(3, unit.advance(context, 0)))
    collectgarbage()
    collectgarbage()
    assert.is_nil(kept[1])
  end)
end)
