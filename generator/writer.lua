-- Collects the lines of one generated file and writes it only when its text has changed, so that a
-- build does not compile again what is the same.

local writer = {}
writer.__index = writer

local NOTICE = "%s Generated from lualib/catalogue. Change the catalogue or generator/, not this file."

-- `marker` begins a comment in the language of the file.
function writer.new(path, marker)
  local self = setmetatable({ path = path, lines = {} }, writer)
  self:line(NOTICE, marker or "//")
  return self
end

function writer:line(format, ...)
  self.lines[#self.lines + 1] = select("#", ...) > 0 and format:format(...) or format
end

function writer:close()
  local text = table.concat(self.lines, "\n") .. "\n"
  local old = io.open(self.path, "rb")
  if old then
    local same = old:read("*a") == text
    old:close()
    if same then
      return
    end
  end
  local file, message = io.open(self.path, "wb")
  if not file then
    error(("cannot write %s"):format(message), 0)
  end
  file:write(text)
  file:close()
end

return writer
