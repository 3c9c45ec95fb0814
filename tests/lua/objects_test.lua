-- Wrapped objects: ownership, metatables, printing, what lies inside what, and calls of the
-- metatables' functions that no ordinary access makes.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

local function own(object)
  return select(2, probe.object(object))
end

local function address(object)
  return (select(3, probe.object(object)))
end

-- Is the value behind a weak reference still there after collections? A chain of parents goes one
-- link a cycle.
local function alive(weak)
  for _ = 1, 16 do
    collectgarbage()
  end
  return weak[1] ~= nil
end

local function weak_reference(value)
  return setmetatable({ value }, { __mode = "v" })
end

local function types(list)
  local kinds = {}
  for key, value in pairs(list) do
    kinds[key] = type(value)
  end
  return kinds
end

local function read(object, key)
  return object[key]
end

local function write(object, key, value)
  object[key] = value
end

describe("wrapped objects", function()
  helper.watch(before_each, after_each)

  it("are made, read, written, printed and disowned", function()
    local v = rovk.rovk_version()
    assert.are.same({ 0, 0 }, { v.major, v.minor })
    v.major = 2
    assert.are.same({ 2, 0 }, { v.major, v.minor })
    v.major = 511
    assert.are.equal(255, v.major)
    assert.is_nil(v.nothing)
    v.nothing = 1
    assert.is_nil(v.nothing)
    assert.is_nil(v[1])
    assert.are.equal("_p_rovk_version", (probe.object(v)))
    assert.are.equal(("<rovk_version userdata: %X>"):format(select(4, probe.object(v))), tostring(v))
    assert.is_true(own(v))
    assert.are.equal(0, helper.pack(v:__disown()).n)
    assert.is_false(own(v))
    assert.are.equal(255, v.major)
    local record, gone = address(v), weak_reference(v)
    v = nil
    assert.is_nil(v)
    assert.is_false(alive(gone))
    assert.are.equal("\255\0", probe.bytes(record, 2)) -- nobody has freed it
    probe.free(record)
  end)

  it("are told apart by swig_equals, named by swig_type", function()
    local o, p, m = rovk.rovk_version(), rovk.rovk_version(), rovk.rovk_message()
    for _, case in ipairs {
      { true, o, o }, { false, o, p }, { true, m.route, m.route }, { true, m, m.route }, { true, m.cre, m.cre.e },
      { false, m, m.cre }, { false, o, io.stdout }, { false, io.stdout, o }, { false, o, newproxy() },
      { false, newproxy(), newproxy() }, { false, o, probe.light() }, { false, io.stdout, probe.light() },
    } do
      assert.are.same({ n = 1, case[1] }, helper.pack(swig_equals(case[2], case[3])))
    end
    for _, case in ipairs { { o, 1 }, { 1, o }, { nil, o }, { o }, {}, { "x", {} } } do
      assert.are.equal(0, select("#", swig_equals(case[1], case[2])))
    end
    assert.is_false(o == p)
    assert.is_false(m.route == m.route)
    for text, value in pairs {
      ["struct rovk_version *|rovk_version *"] = o, ["userdata (unknown type)"] = io.stdout, number = 1, string = "x",
      table = {}, boolean = false, ["function"] = print, thread = coroutine.create(function() end),
    } do
      assert.are.equal(text, swig_type(value))
    end
    assert.are.same({ "nil", "no value" }, { swig_type(nil), (swig_type()) })
    for _, foreign in ipairs { newproxy(), newproxy(true), probe.light() } do
      assert.are.equal("userdata (unknown type)", swig_type(foreign))
    end
    for object, part in pairs { [m.cre] = "rovk_message_cre *", [m.cre.c.payload] = "uint8_t *",
      [rovk.rovk_response_payload_common_get_aliases().alias] = "rovk_address *",
      [rovk.rovk_device_address()] = "rovk_device_address *" } do
      assert.is_not_nil(("|" .. swig_type(object) .. "|"):find("|" .. part .. "|", 1, true), swig_type(object))
    end
  end)

  it("have one metatable a class, of eight fields", function()
    local registry = debug.getregistry().SWIG
    for _, class in ipairs(helper.model().classes) do
      local meta = registry[class.name]
      local wanted = {}
      for _, field in ipairs(class.record.fields) do
        wanted[field.name] = "function"
      end
      assert.are.same({ [".type"] = "string", [".get"] = "table", [".set"] = "table", [".fn"] = "table",
        __index = "function", __newindex = "function", __gc = "function", __tostring = "function" }, types(meta))
      assert.are.same({ class.name, { __disown = "function" }, wanted, wanted },
        { meta[".type"], types(meta[".fn"]), types(meta[".get"]), types(meta[".set"]) })
    end
    local v = rovk.rovk_version()
    assert.are.equal(registry.rovk_version, getmetatable(v))
    assert.are.equal("function", type(v.__disown))
    for _, key in ipairs { "__gc", "__index", ".get", ".type", "__eq", "__len" } do
      assert.is_nil(v[key])
    end
  end)

  it("keep a record apart from others, and sub-records inside their parent", function()
    local m, other = rovk.rovk_message(), rovk.rovk_message()
    local base = address(m)
    for offset, part in pairs { [0] = m.route, [9] = m.cre, [10] = m.cre.c.payload, [14] = m.cre.r.pei.ei.payload } do
      assert.are.equal(base + offset, address(part))
      assert.is_false(own(part))
    end
    m.route.application_address = 0x1234
    m.cre.c.opcode = 0xAB
    assert.are.equal("\52\18", probe.bytes(m, 2))
    assert.are.same({ 0xAB, 0xAB, 0xAB }, { m.cre.c.opcode, m.cre.r.error, m.cre.e.id })
    assert.are.equal(("\0"):rep(32), probe.bytes(other, 32))
    local route = rovk.rovk_message_routing()
    route.uuid, route.type = 0x01020304, 5
    other.route = route
    assert.are.equal("\0\0\0\0\4\3\2\1\5", probe.bytes(other, 9))
    route.uuid = 0
    assert.are.equal(0x01020304, other.route.uuid)
    other.route = other.route -- onto itself
    assert.are.equal("\0\0\0\0\4\3\2\1\5", probe.bytes(other, 9))
  end)

  it("keep the parent of a part alive", function()
    local version = rovk.rovk_response_payload_common_get_peripheral_info().protocol
    local message = rovk.rovk_message()
    local kept = weak_reference(message)
    local payload = message.cre.r.pei.ei.payload
    message = nil
    assert.is_true(alive(kept))
    kept[1].cre.dummy = "through the parent"
    version.major = 9
    for _ = 1, 200 do
      rovk.rovk_message()
    end
    collectgarbage()
    assert.are.equal("gh the parent", probe.bytes(payload, 13)) -- five bytes behind the body's first
    assert.are.equal(9, version.major)
    assert.are.equal("struct rovk_version *|rovk_version *", swig_type(version))
    payload = message
    assert.is_nil(payload)
    assert.is_false(alive(kept))
  end)

  it("find their parent where it was while a state is being closed", function()
    local text, code = helper.process([[
      local proxy = newproxy(true) -- older than the objects, so finalized after them
      local part = require("rovk_message").rovk_message().route
      getmetatable(proxy).__gc = function()
        -- Not in steps: LuaJIT frees what is in use when a state that closes in mid-cycle goes on with the cycle.
        collectgarbage()
        local texts = {}
        for number = 100, 600 do
          texts[number] = ("x"):rep(52) .. number -- takes the place of what is freed
        end
        local read, message = pcall(function() return part.type end)
        print(read, tostring(message):match("got 'nil'"))
      end
    ]])
    assert.are.same({ "false\tgot 'nil'\n", 0 }, { text, code })
  end)

  -- Frees an object's record in a finalizer that the first allocation within `action` runs. Other
  -- interpreters and collectors may run it before, and then the record is gone already; pcall itself
  -- allocates here.
  local function freed_within(object, action, ...)
    local freed, free = false, getmetatable(object).__gc
    local collect, step = collectgarbage, collectgarbage("setstepmul", 1000000)
    collect()
    collect("stop")
    local guard = newproxy(true)
    getmetatable(guard).__gc = function()
      free(object)
      freed = true
    end
    guard = nil -- luacheck: ignore
    collect("restart")
    local result
    if helper.luajit or helper.aggressive then
      result = select(2, pcall(action, ...))
    else
      result = action(...)
      assert.is_true(freed)
    end
    collect("setstepmul", step)
    collect()
    assert.is_true(freed)
    return result
  end

  it("do not read a record that a finalizer frees while it is used", function()
    local parent, body, record = rovk.rovk_message(), rovk.rovk_message_cre(), rovk.rovk_error_common_error()
    local get = getmetatable(parent)[".get"].route
    local part = freed_within(parent, get, parent)
    if type(part) == "userdata" then
      assert.is_false((pcall(function() return part.uuid end)))
    end
    assert.is_false((pcall(get, parent)))
    -- A number becomes a text, which allocates.
    local set = getmetatable(body)[".set"].dummy
    local set_text = coroutine.create(function(...) set(...) end) -- raises in there: busted's pcall allocates
    assert.are_not.equal(true, freed_within(body, coroutine.resume, set_text, body, 12.5))
    -- The table of an array's elements is made before they are read.
    local echo, elements = rovk.rovk_command_payload_common_echo(), require("rovk_companion").elements
    local take = coroutine.create(function(array) return elements(array) end)
    assert.are_not.equal(true, freed_within(echo, coroutine.resume, take, echo.payload_in))
    -- The values of a callback are pushed before its error record is read.
    local context, bytes, got = helper.open(), {}, nil
    local handle = rovk.rovktrans_common_reset_occurred_register_callback_lua(context, 0, function(_, e) got = e end)
    record.error_peripheral_address, record.id = 7, 11
    freed_within(record, rovk.internal_rovktrans_common_echo_callback, context, 0, record, bytes, handle)
    if not (helper.luajit or helper.aggressive) then
      assert.are.same({ error_id = 11, peripheral_address = 7, index = 0 }, got)
    end
    assert.are.equal(0, rovk.rovktrans_common_reset_occurred_unregister_callback_lua(context, 0, handle))
  end)

  it("copy an array only from a source that covers the field", function()
    local m, echo = rovk.rovk_message(), rovk.rovk_command_payload_common_echo()
    local file, write_record = rovk.rovk_command_payload_bulk_dump_000c_get_frame(),
      rovk.rovk_command_payload_eeprom_partition_table_0013_write()
    local detail, aliases = rovk.rovk_error_common_error(), rovk.rovk_response_payload_common_get_aliases()
    m.cre.dummy = "0abcdefghijklmnopqrstu"
    m.cre.c.opcode = 0
    local payload = m.cre.c.payload -- 22 bytes
    echo.payload_in = payload
    assert.are.equal("abcdefghijklmnopqrstu\0", probe.bytes(echo, 22))
    file.filename = payload
    assert.are.equal("\0abcdefghijklmnopqrstu", probe.bytes(file, 22))
    write_record.data = payload
    assert.are.equal("abcdefghijklmnop", probe.bytes(write_record, 22):sub(7))
    m.cre.r.pei.ei.payload = payload -- 18 bytes, overlapping
    assert.are.equal("abcdabcdefghijklmnopqr", probe.bytes(m, 32):sub(11))
    for _, case in ipairs {
      { echo, "payload_in", file.filename }, { echo, "payload_in", write_record.data },
      { echo, "payload_in", detail.data.payload }, { file, "filename", write_record.data },
      { m.cre.r.pei.ei, "payload", write_record.data },
      { echo, "payload_in", aliases.alias }, { aliases, "alias", payload },
      { aliases, "alias", rovk.rovktrans_find_peripheral(helper.open(), 0) },
      { echo, "payload_in", nil }, { m, "route", nil }, { m.cre.r.pei, "ei", nil }, { echo, "payload_in", "text" },
      { echo, "payload_in", io.stdout }, { echo, "payload_in", newproxy() }, { echo, "payload_in", probe.light() },
    } do
      local before = probe.bytes(echo, 22)
      helper.refused(write, case[1], case[2], case[3])
      assert.are.equal(before, probe.bytes(echo, 22))
    end
  end)

  it("refuse writes of read-only attributes", function()
    local m, e = rovk.rovk_message(), rovk.rovk_error_led_0001_error()
    for _, case in ipairs { { m, "cre" }, { m.cre, "c" }, { m.cre, "r" }, { m.cre, "e" }, { m.cre.r, "pei" },
      { e, "data" } } do
      for _, value in ipairs { 1, case[1][case[2]], false } do
        helper.fails("This variable is immutable", write, case[1], case[2], value or nil)
      end
    end
  end)

  it("store text in the body as characters", function()
    local m = rovk.rovk_message()
    local cre = m.cre
    assert.are.equal("", cre.dummy)
    for value, stored in pairs { abc = "abc", [("x"):rep(30)] = ("x"):rep(22), [12.5] = "12.5", [""] = "",
      ["a\0b"] = "a" } do
      cre.dummy = ("z"):rep(22)
      cre.dummy = value
      assert.are.equal(stored, cre.dummy)
      assert.are.equal(0, probe.bytes(cre, 23):byte(23))
      assert.is_nil(probe.bytes(cre, 23):sub(#tostring(value) + 1):find("z", 1, true))
    end
    cre.dummy = "abcdef"
    cre.dummy = nil
    assert.are.equal("", cre.dummy)
    assert.are.equal("\0bcdef", probe.bytes(cre, 6))
    cre.e.payload = cre.c.payload
    assert.are.equal("", cre.dummy)
    cre.c.opcode = 65
    assert.are.equal("Abcdef", cre.dummy)
  end)

  it("of a type without a class can be passed but not indexed", function()
    local context = helper.open()
    for _, object in ipairs { context, rovk.rovk_message().cre.c.payload,
      rovk.rovk_response_payload_common_get_aliases().alias } do
      assert.is_nil(getmetatable(object))
      assert.is_not_nil(tostring(object):match("^userdata: "))
      assert.is_not_nil(helper.refused(read, object, 1):find("attempt to index", 1, true))
      helper.refused(write, object, 1, 1)
    end
    assert.are.equal("void *", swig_type(context))
    assert.is_true(own(context))
  end)

  -- The functions of a metatable are within a script's reach.
  describe("called out of turn", function()
    local function wrong_values()
      return { 1, "x", true, {}, print, io.stdout, newproxy(), newproxy(true), probe.light(),
        coroutine.create(function() end), setmetatable({}, getmetatable(rovk.rovk_version())) }
    end

    it("refuse whatever is no object", function()
      local meta = getmetatable(rovk.rovk_version())
      for _, action in ipairs { meta.__index, meta.__newindex, meta.__gc, meta.__tostring, meta[".fn"].__disown } do
        helper.refused(action)
        helper.refused(action, nil, "major", 1)
        for _, wrong in ipairs(wrong_values()) do
          helper.refused(action, wrong, "major", 1)
        end
      end
      for _, wrong in ipairs(wrong_values()) do
        helper.refused(meta[".fn"].__disown, wrong)
        helper.refused(meta[".fn"].__disown, rovk.rovk_version(), wrong)
      end
      -- An object without a class owns nothing and has no metatable to look into.
      local payload = rovk.rovk_message().cre.c.payload
      meta.__gc(payload)
      helper.refused(meta.__index, payload, "major")
      helper.refused(meta.__newindex, payload, "major", 1)
      helper.refused(meta.__tostring, payload)
    end)

    it("free a record once", function()
      for _, name in ipairs { "rovk_version", "rovk_message", "rovk_error_common_error" } do
        local object = rovk[name]()
        local gc = getmetatable(object).__gc
        assert.are.same({ 0, 0 }, { select("#", gc(object)), select("#", gc(object)) })
        assert.is_false(own(object))
        assert.are.equal("string", type(tostring(object)))
      end
      local v = rovk.rovk_version()
      local part = rovk.rovk_message().route
      getmetatable(part).__gc(part) -- owns nothing
      assert.are.equal(0, part.uuid)
      getmetatable(v).__gc(v)
      helper.refused(read, v, "major") -- its memory is somebody else's now
      write(v, "major", 1) -- as with nil for the object
      local other = rovk.rovk_version()
      getmetatable(other).__gc(other)
      assert.is_false(swig_equals(v, other))
      other = rovk.rovk_version()
      helper.refused(rovk.rovk_common_initialize_get_peripheral_info_response, rovk.rovk_message(),
        rovk.rovk_message(), 1, other, v, other, 1, 2, 3, 4)
      local m = rovk.rovk_message()
      local route = m.route
      getmetatable(m).__gc(m)
      collectgarbage()
      helper.refused(read, m, "route")
      pcall(read, route, "uuid") -- must not reach freed memory, which a checked run would show
    end)

    it("check the object of every accessor", function()
      local registry = debug.getregistry().SWIG
      for _, class in ipairs(helper.model().classes) do
        local wrong = class.name == "rovk_version" and rovk.rovk_message() or rovk.rovk_version()
        local meta = registry[class.name]
        for _, field in ipairs(class.record.fields) do
          local get, set = meta[".get"][field.name], meta[".set"][field.name]
          local where = ("Error in %s::%s"):format(class.name, field.name)
          local prefix = ("Error in %s_%s"):format(class.name, field.name)
          local pretty = class.struct and class.text .. "|" .. class.name .. " *" or class.text
          local text = field.text .. (field.kind == "record" and " *" or "")
          local object = rovk[class.name]()
          helper.fails(where .. " expected 1..1 args, got 2", get, object, 1)
          helper.fails(("%s (arg 1), expected '%s' got 'number'"):format(where, class.text), get, 1)
          helper.fails(("%s_get (arg 1), expected '%s' got '%s'"):format(prefix, pretty, swig_type(wrong)), get, wrong)
          helper.refused(get, io.stdout)
          assert.is_not_nil(helper.refused(get, nil):find("got 'nil'", 1, true))
          if not field.readonly then
            local value = field.kind == "number" and 1 or field.kind == "text" and "x" or object[field.name]
            helper.fails(where .. " expected 2..2 args, got 1", set, object)
            helper.fails(("%s (arg 1), expected '%s' got 'string'"):format(where, class.text), set, "x", 1)
            helper.fails(("%s (arg 2), expected '%s' got 'table'"):format(where, text), set, object, {})
            helper.fails(("%s_set (arg 1), expected '%s' got '%s'"):format(prefix, pretty, swig_type(wrong)), set,
              wrong, value)
            if field.kind == "number" then
              assert.are.equal(0, helper.pack(set(nil, 1)).n)
            else
              helper.refused(set, nil, value)
            end
          end
        end
      end
    end)
  end)
end)
