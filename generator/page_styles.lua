-- What pages are written in: reStructuredText for the pages to browse, Markdown for the manual pages. Both offer the
-- same few elements, so that what a page says is decided in one place, pages.lua.

local styles = {}

-- Of a text of the catalogue only `code` is more than letters.
local function each_part(text, plain, code)
  local out, at = {}, 1
  for before, inside, after in text:gmatch("([^`]*)`([^`]+)`()") do
    out[#out + 1] = plain(before) .. code(inside)
    at = after
  end
  return table.concat(out) .. plain(text:sub(at))
end

local function new(style)
  return setmetatable({ lines = {}, margin = "" }, { __index = style })
end

local shared = {}

function shared:line(text)
  self.lines[#self.lines + 1] = text == "" and "" or self.margin .. text
end

-- Lines as they stand, in a block of their own.
function shared:indented(text, indent)
  for line in (text .. "\n"):gmatch("([^\n]*)\n") do
    self:line(line == "" and "" or indent .. line)
  end
  self:line("")
end

function shared:paragraph(text)
  if text and text ~= "" then
    self:line(self.text_of(text))
    self:line("")
  end
end

function shared:result()
  return table.concat(self.lines, "\n") .. "\n"
end

-- reStructuredText ------------------------------------------------------------------------------------

local rst = setmetatable({}, { __index = shared })

function rst.text_of(text)
  return each_part(text, function(plain)
    return (plain:gsub("[\\*|]", "\\%0"):gsub("_%f[^%w_]", "\\_"))
  end, function(code)
    return "``" .. code .. "``"
  end)
end

function rst:heading(level, text)
  self:line(text)
  self:line((level == 1 and "=" or level == 2 and "-" or "~"):rep(#text))
  self:line("")
end

function rst:code(text)
  self:line(".. code-block:: lua")
  self:line("")
  self:indented(text, "   ")
end

function rst:literal(text)
  self:line("::")
  self:line("")
  self:indented(text, "   ")
end

--- A list of { term, note, text }: the term stands as code, the note beside it.
function rst:definitions(title, list)
  if #list == 0 then
    return
  end
  if title then
    self:line(".. rubric:: " .. title)
    self:line("")
  end
  for _, item in ipairs(list) do
    self:line(("``%s``%s"):format(item[1], item[2] and " – " .. self.text_of(item[2]) or ""))
    self:line("   " .. (item[3] and item[3] ~= "" and self.text_of(item[3]) or "\\ "))
    self:line("")
  end
end

--- What has a name that can be searched and linked: a command, an event, an error, a constant, a record.
function rst:open(kind, name, shown)
  self:line((".. %s:: %s"):format(kind, shown or name))
  self:line("")
  self.margin = self.margin .. "   "
end

function rst:close()
  self.margin = self.margin:sub(4)
end

--- Names of one kind that stand on another page or this one.
function rst.links(_, kind, names)
  local parts = {}
  for place, name in ipairs(names) do
    parts[place] = (":%s:`%s`"):format(kind, name)
  end
  return table.concat(parts, ", ")
end

-- Written already, with links in it.
function rst:raw(text)
  self:line(text)
  self:line("")
end

function styles.rst()
  return new(rst)
end

-- Markdown --------------------------------------------------------------------------------------------

local markdown = setmetatable({}, { __index = shared })

function markdown.text_of(text)
  return each_part(text, function(plain)
    return (plain:gsub("[\\*_<>%[%]]", "\\%0"))
  end, function(code)
    return "`" .. code .. "`"
  end)
end

function markdown:heading(level, text)
  -- The first one is the title, which a manual page has in its frame.
  self:line(level == 1 and "# DESCRIPTION" or ("#"):rep(level - 1) .. " " .. self.text_of(text:upper()))
  self:line("")
end

-- Code goes to paper as it stands, so long lines are folded here.
local function fold(text, width)
  local lines = {}
  for line in (text .. "\n"):gmatch("([^\n]*)\n") do
    local margin = ""
    while #line > width do
      local head = line:sub(1, width):match("^(.*%S) ")
      if not head or head:match("^ *$") then
        break
      end
      lines[#lines + 1] = head
      margin = line:match("^ *") .. (margin == "" and "  " or "")
      line = margin .. line:sub(#head + 2)
    end
    lines[#lines + 1] = line
  end
  return table.concat(lines, "\n")
end

function markdown:code(text)
  self:indented(fold(text, 66), "    ")
end

markdown.literal = markdown.code

function markdown:definitions(title, list)
  if #list == 0 then
    return
  end
  if title then
    self:line(("*%s*"):format(title))
    self:line("")
  end
  for _, item in ipairs(list) do
    self:line(("`%s`%s"):format(item[1], item[2] and ", " .. self.text_of(item[2]) or ""))
    self:line(":   " .. (item[3] and item[3] ~= "" and self.text_of(item[3]) or "-"))
    self:line("")
  end
end

function markdown:open(_, name, shown)
  self:line("## " .. self.text_of(shown or name))
  self:line("")
end

function markdown.close()
end

function markdown:links(_, names)
  return self.text_of(table.concat(names, ", "))
end

markdown.raw = rst.raw

function styles.markdown()
  return new(markdown)
end

return styles
