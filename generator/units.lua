-- Units stand in the names of fields: `duty_cycle_on_ms`, `max_velocity_deciX_per_second`. A field whose name
-- says none may declare one, from the same list.

local units = {}

-- The longest ending that fits counts. The text is what a script is shown behind a number.
local ENDINGS = {
  ms = "ms", ds = "0.1 s", seconds = "s", microseconds = "us",
  hz = "Hz", millihertz = "mHz", rpm = "rpm",
  percent = "%", percentage = "%", decipercent = "0.1 %",
  millidegrees = "0.001 deg", millidegrees_per_second = "0.001 deg/s",
  deciX = "0.1 x", deciX_per_second = "0.1 x/s",
  milliwatts = "mW", milliWatts = "mW", microwatts = "uW", millivolts = "mV", millivolt = "mV", milliamps = "mA",
  millidegree_celsius = "0.001 deg C", millilux = "mlx",
}

units.DECLARED = { bytes = true, pixels = true, steps = true }
for _, text in pairs(ENDINGS) do
  units.DECLARED[text] = true
end

-- The unit that a name ends with, or nil.
function units.of(name)
  if ENDINGS[name] then
    return ENDINGS[name]
  end
  for place in name:gmatch("()_") do
    local unit = ENDINGS[name:sub(place + 1)]
    if unit then
      return unit
    end
  end
  return nil
end

return units
