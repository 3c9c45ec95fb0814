-- Helper of busted for tests of scripts: an error in a callback, which nobody waits for, is shown where it happens
-- and fails the run.

local failed = false
require("rovk_loop").on_error(function(value, traceback)
  failed = true
  io.stderr:write("rovk: error in a callback: ", tostring(value), "\n", traceback, "\n")
end)

local exit = os.exit
-- luacheck: globals os.exit
function os.exit(code, ...)
  if failed and (code == nil or code == true or code == 0) then
    code = 1
  end
  return exit(code, ...)
end
