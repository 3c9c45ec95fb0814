-- Every example of the reference, run as its reader would on the simulated unit: what it shows must be what happens.

local examples = require("examples")
local loop = require("rovk_loop")

describe("examples of the reference", function()
  local unit, failed

  setup(function()
    unit = examples.open()
    loop.on_error(function(value)
      failed = value
    end)
  end)
  teardown(function()
    loop.on_error(nil)
    unit:close()
  end)

  local function run(what, prelude, text)
    failed = nil
    local ok, printed = pcall(examples.run, prelude, text)
    assert.is_true(ok and not failed, ("%s: %s\n%s%s"):format(what, tostring(failed or printed), prelude, text))
    return printed
  end

  for _, service in ipairs(examples.services()) do
    it("work for " .. service.name, function()
      local with_companion, with_plain = examples.preludes(unit, service)
      for _, command in ipairs(service.commands) do
        local example = examples.command(unit, command)
        local what = service.name .. "." .. command.name
        local id = example.refused and service.errors[example.refused].id or 0
        local printed = run(what, with_companion, example.companion)
        assert.are.equal(#command.values > 0 or id > 0, printed ~= "", what)
        -- Status and error id, then as many values as there are; the callback has run.
        local plain, async = run(what, with_plain, example.plain), run(what, with_plain, example.async)
        assert.are.equal(("%d  %d"):format(id, id), plain:match("^%-?%d+  %d+"), what .. "\n" .. example.plain)
        assert.are.equal(tostring(id), async:match("^%d+"), what .. "\n" .. example.async)
        assert.are.equal(#command.values, select(2, plain:gsub("  ", "")) - 1, what)
      end
      for _, event in ipairs(service.events) do
        local example = examples.event(event)
        run(event.name, with_companion, example.companion)
        run(event.name, with_plain, example.plain)
      end
    end)
  end
end)
