-- Opening the module: what is in its table, what reading and writing its names does, opening it again.

local helper = require("helper")
local probe = require("probe")
local rovk = require("rovk_message")

local function count(list)
  local total = 0
  for _ in pairs(list) do
    total = total + 1
  end
  return total
end

describe("the module", function()
  helper.watch(before_each, after_each)

  it("is the global of its name, with two functions beside it", function()
    assert.are.equal(rovk, _G.rovk_message)
    assert.are.equal("function", type(swig_type))
    assert.are.equal("function", type(swig_equals))
    assert.are.equal("userdata", type(debug.getregistry().swig_runtime_data_type_pointer4))
    assert.are.equal("table", type(debug.getregistry().SWIG))
    assert.are.equal(549, count(debug.getregistry().SWIG))
  end)

  it("holds 2480 functions, 549 constructors and 663 numbers as raw keys, and nothing else", function()
    local model = helper.model()
    local wanted = {}
    for kind, list in pairs { ["function"] = model.functions, class = model.classes, number = model.all_constants } do
      for _, item in ipairs(list) do
        assert.is_nil(wanted[item.name], item.name)
        wanted[item.name] = kind
        local value = rawget(rovk, item.name)
        assert.are.equal(kind == "number" and item.value or "function", kind == "number" and value or type(value),
          item.name)
      end
    end
    assert.are.equal(3692, count(wanted))
    for name in next, rovk do
      assert.is_not_nil(wanted[name], name)
    end
    assert.are.same({ 2480, 549, 663 }, { #model.functions, #model.classes, #model.all_constants })
    assert.are.equal(52, #model.variables)
    for _, item in ipairs(model.variables) do
      local version = rovk[item.name]
      assert.are.same(item.version, { major = version.major, minor = version.minor }, item.name)
      assert.is_nil(wanted[item.name])
      assert.is_nil(rawget(rovk, item.name))
    end
  end)

  it("reads unknown names as nil, keeps what is written to them, and lets a script replace the others", function()
    for _, key in ipairs { "no_such_name", "", ".get", "rovk_eeprom_0003_initialize_read_command", 1, 0.5, true,
      "ROVK_MAX_ALIASES", "rovktrans_init" } do
      local old = rawget(rovk, key)
      assert.are.equal(old, rovk[key])
      rovk[key] = "kept"
      assert.are.equal("kept", rawget(rovk, key))
      rawset(rovk, key, old)
    end
    assert.is_nil(rovk.rovk_eeprom_0003_initialize_read_command)
    assert.are.same({ n = 1 }, helper.pack(getmetatable(rovk).__index(rovk, "no_such_name")))
  end)

  it("refuses to run its metatable's functions on anything but a module table", function()
    local meta = getmetatable(rovk)
    for _, wrong in ipairs { 1, "x", true, print, {}, rovk.rovk_version(), io.stdout,
      coroutine.create(function() end), newproxy(), newproxy(true) } do
      helper.refused(meta.__index, wrong, "rovk_protocol_version")
      helper.refused(meta.__newindex, wrong, "rovk_protocol_version", rovk.rovk_version())
    end
    local other = setmetatable({}, {}) -- has a metatable, though no variables
    assert.is_nil(meta.__index(other, "rovk_protocol_version"))
    meta.__newindex(other, "rovk_protocol_version", 5)
    assert.are.equal(5, rawget(other, "rovk_protocol_version"))
  end)

  it("opens again in the same state with a new table, and keeps old objects working", function()
    local version, message = rovk.rovk_version(), rovk.rovk_message()
    local route, meta, classes = message.route, getmetatable(version), debug.getregistry().SWIG
    rovk.kept_in_the_old_table = 1
    local open = assert(package.loadlib(helper.module_path("rovk_message"), "luaopen_rovk_message"))
    local results = helper.pack(open("arguments", "are", "ignored"))
    local again = results[1]
    assert.are.equal(1, results.n)
    assert.are_not.equal(rovk, again)
    assert.are.equal(again, _G.rovk_message)
    assert.are.equal(3692, count(again))
    assert.is_nil(again.kept_in_the_old_table)
    assert.are.equal(classes, debug.getregistry().SWIG)
    assert.are_not.equal(meta, getmetatable(again.rovk_version()))
    assert.are.equal(meta, getmetatable(version))
    version.major, route.uuid = 7, 0xFFFFFFFF
    assert.are.same({ 7, 0xFFFFFFFF }, { version.major, message.route.uuid })
    assert.are.equal("struct rovk_version *|rovk_version *", swig_type(version))
    message.route = again.rovk_message_routing() -- one type, whichever opening made the object
    assert.are.equal(0, route.uuid)
    collectgarbage() -- takes nothing that references to callbacks need
    local context = helper.open()
    assert.are.equal(0, again.rovktrans_common_nop_async_lua(context, 0, function() end, 0))
    helper.close(context)
    _G.rovk_message = rovk
    rovk.kept_in_the_old_table = nil
  end)

  it("opens in a second state of the process", function()
    local text = ([[
      package.cpath = %q
      local m = require("rovk_message")
      local count = 0
      for _ in next, m do count = count + 1 end
      local v = m.rovk_version()
      v.major = 300
      assert(rovk_message == m and swig_equals(v, v))
      m.rovk_protocol_version.minor = 77
      local _, context = m.rovktrans_init("sim?clock=virtual", nil)
      local info = m.rovktrans_common_get_peripheral_info(context, 0)
      assert(m.rovktrans_deinit(context) == 0)
      return count .. " " .. v.major .. " " .. tostring(v):match("^<%%a+_%%a+") .. " " .. info
    ]]):format(package.cpath)
    local minor = rovk.rovk_protocol_version.minor
    for _ = 1, 2 do
      assert.are.equal("3692 44 <rovk_version 0", probe.run(text))
    end
    assert.are.equal(77, rovk.rovk_protocol_version.minor) -- the libraries are one in the process
    rovk.rovk_protocol_version.minor = minor
  end)

  it("runs the embedded text at each opening, and survives one that fails", function()
    local open = ([[
      local probe = require("probe")
      local old = probe.embed(%q, TEXT)
      local m = require("rovk_message")
      local count = 0
      for _ in next, m do count = count + 1 end
      print(old == "", m == rovk_message, count, package.loaded.rovk_message == m)
    ]]):format(helper.module_path("rovk_message"))
    local fine = "true\ttrue\t3692\ttrue\n"
    for _, case in ipairs {
      { '""', "" },
      { "[[io.stderr:write(select('#', ...), type(rovk_message.rovk_version), '\\n') return 1]]", "0function\n" },
      { '"this is no Lua"', '[string "this is no Lua"]:1: \'=\' expected near \'is\'\n' },
      { '"error(\\"text\\", 0)"', "text\n" },
    } do
      local output = helper.process((open:gsub("TEXT", function() return case[1] end)))
      if helper.luajit then
        output = output:gsub("%]:1: .-\n", "]:1: '=' expected near 'is'\n")
      end
      assert.are.equal(case[2] .. fine, output)
    end
    assert.are.equal("nil\n", helper.process("require('rovk_message') print(rovk_message.x)"))
    -- A host that has a definition of its own for what an opening runs last.
    local show = "require('rovk_message') print(opened_by_probe)"
    assert.are.equal("true\n", helper.process(show, "LD_PRELOAD=$LD_PRELOAD:" .. helper.module_path("probe")))
  end)
end)
