-- The annotations for editors: each line by the grammar of the Lua language server, and all of them by what the
-- modules really have.

local lpeg = require("lpeg")
local P, R, S, C, Cc, Ct, V = lpeg.P, lpeg.R, lpeg.S, lpeg.C, lpeg.Cc, lpeg.Ct, lpeg.V
local folder = assert(os.getenv("ROVK_ANNOTATIONS"))

local blank = S(" \t") ^ 0
local word = (R("az", "AZ") + "_") * (R("az", "AZ", "09") + "_") ^ 0
local path = word * ("." * word) ^ 0
local quoted = '"' * (1 - S('"\n')) ^ 0 * '"'
local function token(pattern)
  return pattern * blank
end
local function list(item)
  return item * (token(P(",")) * item) ^ 0
end
-- A type; captures the names it is made of.
local kind = P {
  "union",
  union = V("suffixed") * (token(P("|")) * V("suffixed")) ^ 0,
  suffixed = V("primary") * (P("[]") + "?") ^ 0 * blank,
  primary = V("call") + V("table") + quoted + R("09") ^ 1 + token(P("(")) * V("union") * ")" + V("named"),
  named = C(path) * (P("<") * list(V("union")) * ">") ^ -1,
  call = P("fun(") * (list(token(word + "...") * (token(P("?")) ^ -1 * token(P(":")) * V("union")) ^ -1)) ^ -1
    * token(P(")")) * (token(P(":")) * list(V("union"))) ^ -1,
  table = token(P("{")) * list(token(word) * token(P(":")) * V("union")) * "}",
}
local rest = P(1) ^ 0
local note = -S("|([{<?") * rest
local key = C(word) * P("?") ^ -1 + P('["') * C(word) * '"]'
local annotation = P("---@") * (
  Cc("meta") * token(P("meta")) * (path + "_") * -1
  + Cc("class") * token(P("class")) * token(P("(exact)")) ^ -1 * C(path) * blank
    * Ct((token(P(":")) * list(token(C(path)))) ^ -1) * -1
  + Cc("field") * token(P("field")) * token(key) * Ct(kind) * note
  + Cc("param") * token(P("param")) * token(C(word + "...") * P("?") ^ -1) * Ct(kind) * note
  + Cc("return") * token(P("return")) * Cc("") * Ct(kind) * (word + "...") ^ -1 * blank * note
  + Cc("overload") * token(P("overload")) * Cc("") * Ct(kind) * -1
  + Cc("alias") * token(P("alias")) * C(path) * blank * Ct(kind ^ -1) * -1
  + Cc("generic") * token(P("generic")) * C(word) * blank * token(P(":")) * Ct(kind) * -1
  + Cc("type") * token(P("type")) * Cc("") * Ct(kind) * -1)
local member = P("---|") * blank * quoted * blank * (P("#") * note + -1)

local BUILT_IN = { integer = true, number = true, string = true, boolean = true, userdata = true, table = true,
  any = true, ["nil"] = true, ["function"] = true, ["true"] = true }

local function read(name)
  local file = assert(io.open(folder .. "/" .. name, "rb"))
  local text = file:read("*a")
  file:close()
  return text
end

local function lines_of(text)
  return text:gmatch("([^\n]*)\n")
end

describe("annotations", function()
  local files, defined, used, members, fields = {}, {}, {}, {}, {}

  -- One file: its grammar, and that functions and what is said of their arguments agree.
  local function parse(name)
    local params, generics, class, number = {}, {}, nil, 0
    for line in lines_of(files[name]) do
      number = number + 1
      local where = ("%s:%d: %s"):format(name, number, line)
      local what, subject, kinds = annotation:match(line)
      if line:match("^%-%-%-|") then
        assert.is_truthy(member:match(line), where)
      elseif line:match("^%-%-%-@") then
        assert.is_truthy(what, where)
        if what == "class" or what == "alias" then
          defined[subject], class = true, subject
        elseif what == "generic" then
          generics[subject] = true
        elseif what == "param" and subject ~= "self" then
          params[#params + 1] = subject
        elseif what == "field" then
          fields[class] = fields[class] or {}
          fields[class][subject] = true
        end
        for _, each in ipairs(type(kinds) == "table" and kinds or {}) do
          used[each] = not generics[each] and where or used[each]
        end
      elseif not line:match("^%-%-") then
        local owner, called, arguments = line:match("^function ([%w_]+)[.:]([%w_]+)%((.*)%) end$")
        if owner then
          arguments = arguments:gsub("^self, ", "")
          assert.are.equal(table.concat(params, ", "), arguments, where)
        else
          owner, called = line:match("^(rovk_message)%.([%w_]+) = ")
        end
        if owner then
          members[owner] = members[owner] or {}
          members[owner][called] = true
          params, generics = {}, {}
        end
      end
    end
  end

  setup(function()
    local listing = assert(io.popen(("ls '%s/library'"):format(folder)))
    for name in listing:lines() do
      files[name] = read("library/" .. name)
    end
    listing:close()
    for name in pairs(files) do
      parse(name)
    end
  end)

  it("keep to the grammar, below the server's limit, and name only types that there are", function()
    for name, text in pairs(files) do
      assert.is_true(#text < 500e3, name)
      assert.is_truthy(loadstring(text, name))
      assert.is_truthy(text:match("%-%-%-@meta"), name)
    end
    for name, where in pairs(used) do
      assert.is_truthy(BUILT_IN[name] or defined[name], where)
    end
    for _, wrong in ipairs { "---@field on", "---@param 3 integer", "---@class", "---@return fun(",
      "---@param a integer|" } do
      assert.is_nil(annotation:match(wrong), wrong)
    end
  end)

  it("have all that the modules have, and nothing else", function()
    local rovk = require("rovk_message")
    local real = {}
    for name in pairs(rovk) do
      real[name] = true
    end
    for name in pairs(getmetatable(rovk)[".get"]) do
      real[name] = true
    end
    assert.are.same(real, members.rovk_message)
    for _, module in ipairs { "rovk_loop", "rovk_unit", "rovk.names" } do
      for name in pairs(require(module)) do
        local file = module:gsub("%.", "_")
        assert.is_truthy(files[file .. ".lua"]:find(("[.]%s%%("):format(name)), module .. "." .. name)
      end
    end
    local unit = require("rovk").open("sim?clock=virtual")
    for name in pairs(getmetatable(unit).__index) do
      assert.is_truthy(name:match("^__") or fields["rovk.unit"][name]
        or files["rovk.lua"]:find(("unit:%s%%("):format(name)), "unit:" .. name)
    end
    unit:close()
  end)

  it("let luacheck report a wrong name", function()
    local luacheck = os.getenv("ROVK_LUACHECK")
    if luacheck == "" or luacheck:match("NOTFOUND") then
      return pending("luacheck is not installed")
    end
    local config, script = os.tmpname(), os.tmpname()
    local function put(name, text)
      local file = assert(io.open(name, "w"))
      file:write(text)
      file:close()
    end
    put(config, ("stds.rovk = dofile(%q)\nstd = 'lua51+rovk'"):format(folder .. "/luacheck.lua"))
    put(script, "print(rovk_message.ROVK_LED_0001_COMMAND_SET_STATE, rovk_message.rovktrans_init)\n"
      .. "print(rovk_message.ROVK_LED_0001_COMMAND_SET_STAT)\nrovk_message.rovktrans_init = nil\n")
    local run = io.popen(("%s --no-color --config %s %s 2>&1"):format(luacheck, config, script))
    local said = run:read("*a")
    run:close()
    os.remove(config)
    os.remove(script)
    assert.is_truthy(said:find(":2:%d+: accessing undefined field 'ROVK_LED_0001_COMMAND_SET_STAT' of"), said)
    assert.is_truthy(said:find(":3:%d+: setting read%-only field 'rovktrans_init' of"), said)
    assert.is_falsy(said:find(":1:%d+:"), said)
  end)
end)
