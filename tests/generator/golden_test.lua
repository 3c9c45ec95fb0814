-- What the generator writes for the sample, to the letter. After a change that is meant, run this
-- file with ROVK_GOLDEN=write and look at the difference in golden/.

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
package.path = here .. "/?.lua;" .. package.path
local sample = require("sample")
local derive = require("derive")
local reader = require("reader")

local GOLDEN = here .. "/golden"
local EMITTED = {
  { "emit_headers", "", { "records.h", "message_services.h", "trans_services.h" } },
  { "emit_catalogue", "/catalogue_rows.cpp", { "catalogue_rows.cpp" } },
  { "emit_message", "/message_stubs.cpp", { "message_stubs.cpp" } },
}

describe("generated text", function()
  local folder

  setup(function()
    folder = sample.scratch()
    local model = derive.derive(reader.read(sample.root .. "/lualib/protocol.lua",
      { here .. "/sample/lamp_0040.lua", here .. "/sample/common.lua" }))
    for _, emitter in ipairs(EMITTED) do
      require(emitter[1])(model, folder .. emitter[2])
    end
  end)

  teardown(function()
    sample.remove(folder)
  end)

  for _, emitter in ipairs(EMITTED) do
    for _, name in ipairs(emitter[3]) do
      it("is that of golden/" .. name .. ".txt", function()
        local path = GOLDEN .. "/" .. name .. ".txt"
        local text = sample.read_file(folder .. "/" .. name)
        if os.getenv("ROVK_GOLDEN") == "write" then
          local file = assert(io.open(path, "wb"))
          file:write(text)
          file:close()
        end
        assert.are.equal(sample.read_file(path), text)
      end)
    end
  end
end)
