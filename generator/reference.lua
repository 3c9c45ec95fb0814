-- Generates what is read about the catalogue, not compiled: annotations for editors, pages, manual pages.
--   lua5.1 generator/reference.lua annotations|pages|man OUTPUT_FOLDER PROTOCOL_FILE SERVICE_FILE...
-- LUA_PATH leads to the companions and the catalogue's modules in the build folder, for pages also to rovk_message.

local folder = arg[0]:match("^(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path

local KINDS = {
  annotations = function(model, output)
    require("emit_annotations")(model, output .. "/library")
    require("emit_std")(model, output .. "/luacheck.lua")
  end,
  pages = function(model, output)
    require("emit_pages")(model, output)
  end,
  man = function(model, output)
    require("emit_manual")(model, output)
  end,
}

local kind, output, protocol = unpack(arg, 1, 3)
if not protocol or not KINDS[kind] then
  io.stderr:write("usage: reference.lua annotations|pages|man OUTPUT_FOLDER PROTOCOL_FILE SERVICE_FILE...\n")
  os.exit(2)
end
local ok, message = pcall(function()
  KINDS[kind](require("derive").derive(require("reader").read(protocol, { unpack(arg, 4) })), output)
end)
if not ok then
  io.stderr:write(tostring(message), "\n")
  os.exit(1)
end
