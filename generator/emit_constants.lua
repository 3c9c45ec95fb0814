-- The constants by name, for programs that read the names at run time.

local writer = require("writer")

return function(model, path)
  local out = writer.new(path)
  out:line('#include "catalogue/constants.h"')
  out:line("")
  out:line("namespace rovk::catalogue {")
  out:line("namespace {")
  out:line("constexpr Constant rows[] = {")
  for _, constant in ipairs(model.all_constants) do
    out:line('    {"%s", %d},', constant.name, constant.value)
  end
  out:line("};")
  out:line("}  // namespace")
  out:line("")
  out:line("std::span<const Constant> constants() { return rows; }")
  out:line("")
  out:line("}  // namespace rovk::catalogue")
  out:close()
end
