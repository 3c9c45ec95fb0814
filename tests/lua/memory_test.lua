-- Want of memory at every point where a script's call needs some: a Lua error or a status, nothing lost,
-- and all works as before when there is memory again.

local helper = require("helper")
local probe = require("probe")
local scenarios = require("scenarios")

describe("without memory", function()
  helper.watch(before_each, after_each)

  for name, text in pairs(scenarios.texts) do
    it("nothing is lost: " .. name, function()
      local script = scenarios.frame:format(package.cpath, package.path, text)
      local turns = probe.starve(script, name == "opening" and 97 or 1)
      assert.is_true(turns == nil or turns > 3, turns)
    end)

    if name ~= "opening" then -- which would take seconds
      it("nothing is freed that is in use, with a collection at each allocation: " .. name, function()
        probe.run(([[
          local scenario, check = (function() %s end)()
          collectgarbage("setpause", 0)
          collectgarbage("setstepmul", 1000000)
          for _ = 1, 3 do
            scenario()
            check()
          end
        ]]):format(scenarios.frame:format(package.cpath, package.path, text)))
      end)
    end
  end
end)
