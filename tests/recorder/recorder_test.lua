-- Every function of the module above libraries that only record: each argument arrives in its place
-- and width, each result of the library comes back in its place, and nothing else is called.

local helper = require("helper")
local rovk = require("rovk_message")
local recorder = require("recorder")
local model = helper.model()

-- What the recorder fills outputs with.
local function pattern(position, byte)
  return 128 + (position * 11 + byte * 5) % 128
end

local function pattern_number(position, width, signed, offset)
  local value = 0
  for byte = width - 1, 0, -1 do
    value = value * 256 + pattern(position, (offset or 0) + byte)
  end
  return signed and value - 256 ^ width or value
end

local function pattern_value(position, item)
  if item.kind == "version" then
    return { major = pattern(position, 0), minor = pattern(position, 1) }
  elseif item.kind == "array" then
    local list = {}
    for index = 1, item.count do
      list[index] = pattern_number(position, item.width, false, (index - 1) * item.width)
    end
    return list
  end
  return pattern_number(position, item.width, item.signed)
end

-- What a call gives behind its leading values when the library has filled its outputs, and, with `blank`,
-- when it has left them; `blank` makes an array that did not come.
local function values_of(results, blank, ...)
  local list = { ... }
  for position, item in ipairs(results) do
    local value = pattern_value(position, item)
    if blank then
      value = item.kind == "array" and blank(item) or item.kind == "version" and { major = 0, minor = 0 } or 0
    end
    list[#list + 1] = value
  end
  list.n = #list
  return list
end

local function no_array()
  return {}
end

local function zeros(item)
  return helper.rep(0, item.count)
end

local FURTHER_KEYS = {
  [2] = { "fault_id", 2 }, [4] = { "application_address", 2 }, [6] = { "type", 2 }, [8] = { "payload_index", 2 },
  [9] = { "opcode", 1 }, [11] = { "index", 1 },
}

local function error_table(id)
  if not id then
    return { error_id = 0 }
  end
  local expected = { error_id = id, peripheral_address = pattern_number(1, 2) }
  local key = FURTHER_KEYS[id]
  if key then
    expected[key[1]] = pattern_number(1, key[2], false, 4)
  end
  return expected
end

-- A message whose bytes differ by `seed`, and their text.
local function message(seed)
  local m = rovk.rovk_message()
  m.route.application_address, m.route.peripheral_address = 0xA1B2 + seed, 0xC3D4 + seed
  m.route.uuid, m.route.type = 0xE5F60718 + seed, 0x90 + seed
  local body = ("body %d"):format(seed)
  m.cre.dummy = body
  return m, helper.hex(helper.little(0xA1B2 + seed, 2) .. helper.little(0xC3D4 + seed, 2)
    .. helper.little(0xE5F60718 + seed, 4) .. string.char(0x90 + seed) .. body .. ("\0"):rep(23 - #body))
end

-- A Lua value for an argument, what the recorder shows for it, and what a callback gets: numbers wider
-- than their field and with a fraction, tables with entries of all kinds.
local function sample(argument, position, state)
  local kind = argument.kind
  if kind == "number" and argument.signed then
    local value = -(256 ^ argument.width) / 2 + position
    return value + 0.75, ("%d"):format(math.ceil(value + 0.75)), math.ceil(value + 0.75)
  elseif kind == "number" then
    local value = 256 ^ argument.width - 16 + position
    local wide = argument.width < 4 and value + 3 * 256 ^ argument.width or value
    return wide + 0.75, ("%.0f"):format(value), value
  elseif kind == "table" then
    return { position, 300, "7", {}, -1, 255.9, 0 / 0 }, ("%02x2c070000ff00"):format(position) .. ("00"):rep(15),
      { position, 44, 7, 0, 0, 255 }
  elseif kind == "aliases" then
    return { 0x1F234, -1, position }, ("34f20000%02x00"):format(position) .. ("0000"):rep(7), { 0xF234, 0, position }
  elseif kind == "version" then
    local version = rovk.rovk_version()
    version.major, version.minor = 200 + position, 100 + position
    return version, ("%d.%d"):format(200 + position, 100 + position),
      { major = version.major, minor = version.minor }
  elseif kind == "text" then
    return "text %s", '"text %s"'
  elseif kind == "fn" then
    return state.callback, "function"
  elseif argument.text == "struct rovk_message *" then
    return message(position)
  elseif argument.callback or argument.text == "void **" then
    return nil, "null"
  elseif kind == "opaque" and position == 1 then
    return state.context, "&1"
  elseif kind == "opaque" then
    return state.user, "&2"
  end
  state.record = rovk[argument.text:match("([%w_]+) %*$")]()
  return state.record, "out"
end

-- All arguments of a row, their texts, and what a callback gets for them.
local function samples(item, state)
  local values, texts, passed = { n = #item.arguments }, {}, {}
  for position, argument in ipairs(item.arguments) do
    values[position], texts[position], passed[position] = sample(argument, position, state)
  end
  return values, texts, passed
end

local function new_state(callback)
  recorder.behave {}
  local _, context = rovk.rovktrans_init(nil, nil)
  recorder.reset()
  return { context = context, user = rovk.rovk_version(), callback = callback }
end

-- The library was called once, by this name, with values of these texts and further outputs.
local function check_recorded(name, texts, outputs)
  for _ = 1, outputs or 0 do
    texts[#texts + 1] = "out"
  end
  local got = recorder.calls():gsub("([(, ])[%w_]+=", "%1")
  assert.are.equal(("%s(%s)\n"):format(name, table.concat(texts, ", ")), got)
end

local function call(item, values)
  return helper.pack(rovk[item.name](unpack(values, 1, values.n)))
end

-- The values of a callback, as rows like those of results.
local function callback_values(record)
  local list = {}
  for _, field in ipairs(record and record.values or {}) do
    list[#list + 1] = { kind = field.kind == "record" and "version" or field.kind, width = field.width,
      signed = field.signed, count = field.count }
  end
  return list
end

-- What differs by family.
local check = {}

function check.initialize(item)
  local values, texts = samples(item, new_state())
  recorder.behave { status = -5 }
  assert.are.equal(0, call(item, values).n, item.name)
  check_recorded(item.name, texts)
  local expected = ""
  for byte = 9, 31 do
    expected = expected .. string.char(pattern(1, byte))
  end
  assert.are.equal(expected, values[1].cre.dummy, item.name)
end

local function check_retrieve(item, ...)
  for _, outputs in ipairs { "fill", "untouched" } do
    local values, texts = samples(item, new_state())
    recorder.behave { status = -2147483648, outputs = outputs }
    assert.are.same(values_of(item.results, outputs == "untouched" and zeros, ...), call(item, values), item.name)
    check_recorded(item.name, texts, #item.results)
  end
end

function check.retrieve(item)
  check_retrieve(item)
end

function check.retrieve_status(item)
  check_retrieve(item, -2147483648)
end

function check.status(item)
  local state = new_state(function() end)
  local values, texts = samples(item, state)
  recorder.behave { status = 2147483647 }
  assert.are.same({ n = 1, 2147483647 }, call(item, values), item.name)
  if item.library == "bridge" then -- refused: the reference stays, since the library may call back yet
    texts[4] = texts[4] and "&2, " .. texts[4] or "&2"
    check_recorded((item.name:gsub("_lua$", "")), texts)
    assert.are.equal(1, recorder.deliver())
    recorder.behave { status = 5, at_once = true } -- or has called back already
    assert.are.same({ n = 1, 5 }, call(item, values), item.name)
    recorder.calls()
    return
  end
  check_recorded(item.name, texts)
  if state.record then
    assert.are.equal(pattern_number(1, 2), state.record.error_peripheral_address)
    assert.are.equal(pattern_number(1, 2, false, 2), state.record.id)
  end
end

function check.blocking(item)
  for _, case in ipairs { { "fill", 0 }, { "fill", 12, 9 }, { "untouched", -110, 6 } } do
    local state = new_state()
    local values, texts = samples(item, state)
    recorder.behave { status = case[2], outputs = case[1], error_id = case[3] }
    local expected = values_of(item.results, case[1] == "untouched" and no_array, case[2], error_table(case[3]))
    assert.are.same(expected, call(item, values), item.name)
    table.insert(texts, 3, "out")
    check_recorded(item.name, texts, #item.results)
    assert.are.equal(0, recorder.open_blocks(), item.name)
  end
end

-- An accepted command: nothing is run before the library calls back, then once, then all is released.
local function check_async(item)
  local results = callback_values(item.command.response)
  for _, case in ipairs { { "fill" }, { "untouched", 4 }, { "fill", 11, true } } do
    local got
    local state = new_state(function(...)
      assert.is_nil(got)
      got = helper.pack(...)
    end)
    local values, texts = samples(item, state)
    recorder.behave { outputs = case[1], error_id = case[2], at_once = case[3] }
    assert.are.same({ n = 1, 0 }, call(item, values), item.name)
    texts[4] = texts[4] and "&2, " .. texts[4] or "&2"
    check_recorded((item.name:gsub("_lua$", "")), texts)
    if not case[3] then
      assert.is_nil(got)
      assert.are.equal(1, recorder.deliver())
    end
    assert.are.equal(0, recorder.deliver())
    local expected = values_of(results)
    for position, result in ipairs(results) do -- an array alone may be missing
      expected[position] = case[1] == "untouched" and result.kind == "array" and {} or expected[position]
    end
    expected[#expected + 1] = error_table(case[2])
    expected.n = #expected
    assert.are.same(expected, got, item.name)
  end
end

-- The internal callbacks, called from a script: a nil reference does nothing; that of a subscription
-- runs its function with the values given, and a command's callback releases the function then.
local function check_internal(item, with_error)
  local got = {}
  local state = new_state()
  local context = state.context
  local event = with_error and "rovktrans_common_reset_occurred" or item.name:match("^internal_(.*)_event_callback$")
  local handle = rovk[event .. "_register_callback_lua"](context, 7, function(...)
    got[#got + 1] = helper.pack(...)
  end)
  local values, _, passed = samples(item, state)
  local last = #item.arguments
  values[last] = nil
  recorder.calls()
  assert.are.equal(0, call(item, values).n, item.name)
  assert.are.same({}, got)
  values[last] = handle
  assert.are.equal(0, call(item, values).n, item.name)
  local expected = {}
  for position, result in ipairs(callback_values((item.command or item.event)[with_error and "response" or "event"])) do
    local value = passed[position + (with_error and 3 or 2)]
    for index = result.kind == "array" and #value + 1 or 1, result.count or 0 do
      value[index] = 0
    end
    expected[position] = value
  end
  if with_error then
    expected[#expected + 1] = { error_id = 0, peripheral_address = 0 }
  end
  expected.n = #expected
  assert.are.same({ expected }, got, item.name)
  assert.are.equal("", recorder.calls())
  assert.are.equal(1, recorder.raise())
  assert.are.equal(with_error and 1 or 2, #got)
  if with_error then
    helper.refused(rovk[item.name], unpack(values, 1, values.n))
  end
  local unregister = rovk[event .. "_unregister_callback_lua"]
  helper.refused(unregister, context, 8, handle)
  assert.are.equal(0, unregister(context, 7, handle))
  assert.are.equal(0, recorder.raise())
  helper.refused(unregister, context, 7, handle)
  helper.refused(rovk[item.name], unpack(values, 1, values.n))
  recorder.reset()
end

function check.internal_command(item)
  check_internal(item, true)
end

function check.internal_event(item)
  check_internal(item, false)
end

function check.register(item)
  local base = item.name:gsub("_register_callback_lua$", "")
  local calls, got = 0, nil
  local state = new_state(function(...)
    calls, got = calls + 1, helper.pack(...)
  end)
  local values, texts = samples(item, state)
  recorder.behave { status = 5 }
  assert.are.same({ n = 1 }, call(item, values), item.name)
  texts[4] = "&2"
  check_recorded(base .. "_register_callback", texts)
  assert.are.equal(0, recorder.raise())
  recorder.reset()
  local handle = rovk[item.name](unpack(values, 1, values.n))
  assert.are.equal("userdata", type(handle))
  assert.are.equal("void *", swig_type(handle))
  check_recorded(base .. "_register_callback", texts)
  local results = callback_values(item.event.event)
  local expected = values_of(results)
  for turn = 1, 3 do
    assert.are.equal(1, recorder.raise())
    assert.are.equal(turn, calls)
    assert.are.same(expected, got, item.name)
  end
  recorder.behave { status = -3 }
  assert.are.equal(-3, rovk[base .. "_unregister_callback_lua"](values[1], values[2], handle))
  check_recorded(base .. "_unregister_callback_with_context", texts)
  assert.are.equal(0, recorder.raise())
end

function check.unregister(item) -- the road with a live handle is told by check.register
  local state = new_state()
  local values, texts = samples(item, state)
  values[3], texts[3], texts[4] = nil, "function", "null"
  recorder.behave { status = 8 }
  assert.are.same({ n = 1, 8 }, call(item, values), item.name)
  check_recorded((item.name:gsub("_unregister_callback_lua$", "_unregister_callback_with_context")), texts)
end

describe("above recording libraries", function()
  helper.watch(before_each, after_each)

  local families = {}
  for _, item in ipairs(model.functions) do
    if item.service then
      families[item.family] = families[item.family] or {}
      table.insert(families[item.family], item)
    end
  end

  for family, count in pairs { initialize = 600, retrieve = 279, retrieve_status = 272, blocking = 272,
    status = 51 + 272 + 272 + 63 + 51, register = 21, unregister = 21, internal_command = 272, internal_event = 21 } do
    it(("passes every argument and result of the %d functions of family %s"):format(count, family), function()
      assert.are.equal(count, #families[family])
      for _, item in ipairs(families[family]) do
        check[family](item)
      end
    end)
  end

  it("runs the function of every accepted asynchronous command once", function()
    local count = 0
    for _, item in ipairs(families.status) do
      if item.library == "bridge" then
        count = count + 1
        check_async(item)
      end
    end
    assert.are.equal(272, count)
  end)

  it("keeps few of the records of commands that were refused, though the library may still call back", function()
    local _, context = rovk.rovktrans_init(nil, nil)
    local function refused(action)
      recorder.behave { status = 5, at_once = true }
      assert.are.equal(5, rovk.rovktrans_common_nop_async_lua(context, 1, action, 1))
    end
    for _ = 1, 10 do -- inside each other, and each called back before it is refused
      refused(function() refused(function() end) end)
    end
    local first, last
    for round = 1, 5 do
      for _ = 1, 1100 do
        recorder.behave { status = 5 }
        assert.are.equal(5, rovk.rovktrans_common_nop_async_lua(context, 1, error, 1))
        assert.are.equal(1, recorder.deliver())
      end
      recorder.calls()
      collectgarbage()
      collectgarbage()
      last = recorder.memory() - collectgarbage("count") * 1024
      first = round == 2 and last or first
    end
    assert.is_true(last < first + 50000) -- three times 1100 records are twice that
  end)

  it("reads and writes the version records of the library in place", function()
    for position, variable in ipairs(model.variables) do
      local version = rovk[variable.name]
      assert.are.same({ 255 - position, 128 + position }, { version.major, version.minor }, variable.name)
      local other = rovk.rovk_version()
      other.major, other.minor = position, 99
      rovk[variable.name] = other
      other.major = 0
      assert.are.same({ position, 99 }, { version.major, version.minor }, variable.name)
      rovk[variable.name] = version -- onto itself
      assert.are.same({ position, 99 }, { version.major, version.minor }, variable.name)
      assert.is_true(swig_equals(version, rovk[variable.name]))
      assert.is_nil(rawget(rovk, variable.name))
      version.major, version.minor = 255 - position, 128 + position
    end
  end)
end)
