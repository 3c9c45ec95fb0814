-- Hundreds of commands at once, results in the order of the questions.
local rovk = require "rovk"

-- Ten milliseconds for each answer: one after the other this would take four seconds.
local unit = rovk.open "sim?latency_ms=10"
local led = unit:need("led_0001", "LED_FRONT_PANEL_RED")

local questions = {}
for number = 1, 400 do
  questions[number] = function()
    local bytes = led:echo({ number % 256, math.floor(number / 256) }).payload_out
    return bytes[1] + 256 * bytes[2]
  end
end
local start = unit:now()
local results = unit:all(questions)

local right = 0
for number, result in ipairs(results) do
  right = right + (result == number and 1 or 0)
end
print(right .. " of " .. #questions .. " results in their places")
print("in " .. (unit:now() - start < 1000 and "less" or "more") .. " than a second")
unit:close()
