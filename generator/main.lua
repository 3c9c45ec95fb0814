-- Generates everything that follows from the catalogue.
--   lua5.1 generator/main.lua OUTPUT_FOLDER PROTOCOL_FILE SERVICE_FILE...
-- The folder has the places of the artefacts already. Exit code 1 and one line on the standard error
-- stream when the catalogue is not sound.

local folder = arg[0]:match("^(.*)/[^/]*$") or "."
package.path = folder .. "/?.lua;" .. package.path

local EMITTERS = {
  { "emit_headers", "include/rovk" },
  { "emit_catalogue", "catalogue_rows.cpp" },
  { "emit_lua_catalogue", "lua/rovk_catalogue" },
  { "emit_constants", "catalogue_constants.cpp" },
  { "emit_message", "message_stubs.cpp" },
  { "emit_trans", "trans_stubs.cpp" },
  { "emit_message_calls", "tests/message_calls.cpp" },
  { "emit_module", "module_rows.cpp" },
  { "emit_bridge", "." },
  { "emit_recorder", "tests/recorder_functions.cpp" },
}

local function main(output, protocol, ...)
  local model = require("derive").derive(require("reader").read(protocol, { ... }))
  for _, emitter in ipairs(EMITTERS) do
    require(emitter[1])(model, output .. "/" .. emitter[2])
  end
end

if #arg < 3 then
  io.stderr:write("usage: main.lua OUTPUT_FOLDER PROTOCOL_FILE SERVICE_FILE...\n")
  os.exit(2)
end
local ok, message = pcall(main, unpack(arg))
if not ok then
  io.stderr:write(tostring(message), "\n")
  os.exit(1)
end
