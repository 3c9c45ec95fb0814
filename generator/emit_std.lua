-- What luacheck is to know of the globals that rovk_message sets: a wrong name is reported. For .luacheckrc:
-- stds.rovk = dofile("FOLDER/luacheck.lua")

local writer = require("writer")

return function(model, path)
  local out = writer.new(path, "--")
  out:line("return { read_globals = { swig_type = {}, swig_equals = {}, rovk_message = { fields = {")
  for _, list in ipairs { model.all_constants, model.variables, model.classes, model.functions } do
    for _, item in ipairs(list) do
      -- Variables are the one thing that a script may assign to.
      local form = list == model.variables and "{ read_only = false, other_fields = true }" or "{}"
      out:line("  %s = %s,", item.name, form)
    end
  end
  out:line("} } } }")
  out:close()
end
