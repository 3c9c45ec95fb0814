-- Asynchronous commands: when the function runs, with what, and how often.

local helper = require("helper")
local rovk = require("rovk_message")
local loop = require("rovk_loop")

local SELF = rovk.ROVK_UNITTEST_PERIPHERAL_ADDRESS

-- What a blocking command gives, whatever the answer was: status, error table, each value in its range.
local function check_form(name, fields, results)
  local status, errors = results[1], results[2]
  assert.are.equal(2 + #fields, results.n, name)
  assert.are.equal(math.max(status, 0), status < 0 and 0 or errors.error_id, name)
  assert.are.equal(status == 0 and "nil" or "number", type(errors.peripheral_address), name)
  for position, field in ipairs(fields) do
    local value = results[position + 2]
    if field.kind == "record" then
      assert.are.same({ "number", "number" }, { type(value.major), type(value.minor) }, name)
    elseif field.kind == "array" then
      assert.are.equal(status == 0 and field.count or 0, #value, name)
    else
      assert.are.equal(status == 0 and helper.to_width(value, field.width, field.signed) or 0, value, name)
    end
  end
end

-- A callback that keeps what it got, call by call.
local function keeper()
  local got = {}
  return got, function(...)
    got[#got + 1] = helper.pack(...)
  end
end

describe("asynchronous commands", function()
  helper.watch(before_each, after_each)

  it("bring what the blocking form brings, each of the 272", function()
    for _, input in ipairs(helper.aggressive and { 1 } or { 0, 1, 77 }) do
      local one, other = helper.open(), helper.open()
      local at = helper.addresses(one)
      helper.addresses(other)
      local count = 0
      for _, service in ipairs(helper.model().services) do
        for _, command in ipairs(service.commands) do
          local name = "rovktrans_" .. service.name .. "_" .. command.name
          local address = at[service.name] or 0
          local inputs = {}
          for _, field in ipairs(command.command and command.command.values or {}) do
            inputs[#inputs + 1] = field.kind == "array" and helper.rep(input, 5) or input
          end
          local blocking = helper.pack(rovk[name](one, address, unpack(inputs)))
          check_form(name, command.response and command.response.values or {}, blocking)
          local got, keep = keeper()
          local results = helper.pack(rovk[name .. "_async_lua"](other, address, keep, unpack(inputs)))
          assert.are.same({ n = 1, 0 }, results, name)
          assert.are.equal(0, #got, name)
          for _ = 1, 200 do
            if #got > 0 or loop.dispatch(other, 60000) == 0 then
              break
            end
          end
          assert.are.equal(1, #got, name)
          assert.are.equal(blocking.n - 1, got[1].n, name)
          assert.are.same(blocking[2], got[1][got[1].n], name)
          for position = 1, got[1].n - 1 do
            -- Two units that serve files at the same time have a port each.
            local differs = command.name == "http_port"
            if not differs and (blocking[1] == 0 or type(got[1][position]) == "number") then
              assert.are.same(blocking[position + 2], got[1][position], name)
            end
          end
          count = count + 1
        end
      end
      assert.are.equal(272, count)
    end
  end)

  it("keep their function until it has run, and no longer", function()
    local context = helper.open()
    local weak, calls = setmetatable({}, { __mode = "v" }), 0
    local function ask(index)
      local marker = {}
      local function action(_, errors)
        calls = calls + (marker and errors.error_id == 0 and 1 or 0)
        if index == 2 then
          error(marker)
        end
      end
      weak[index] = action
      assert.are.equal(0, rovk.rovktrans_unittest_ffff_add_one_async_lua(context, SELF, action, index))
    end
    for index = 1, 3 do
      ask(index)
    end
    collectgarbage()
    collectgarbage()
    assert.are.same({ "function", "function", "function" }, { type(weak[1]), type(weak[2]), type(weak[3]) })
    helper.deliver(context, 1000)
    assert.are.equal(3, calls)
    assert.are.equal(1, #helper.take_errors())
    collectgarbage()
    collectgarbage()
    assert.is_nil(next(weak))
  end)
end)
