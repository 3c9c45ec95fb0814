-- The reference as manual pages, in the Markdown that pandoc takes: rovk-<service>.7.md, and at the end of the guide
-- that is rovk.7 the list of them.

local catalogue = require("rovk_catalogue")
local pages = require("pages")
local styles = require("page_styles")

local function put(path, title, name, text)
  local file = assert(io.open(path, "wb"))
  local version = os.getenv("ROVK_VERSION") or ""
  file:write(("---\ntitle: %s\nsection: 7\nheader: rovk_message\nfooter: rovk_message %s\n---\n\n"):format(
    title:upper(), version), ("# NAME\n\n%s\n\n"):format(name), text)
  file:close()
end

-- Headings of a guide one step up, its title left out.
local function guide(path)
  local file = assert(io.open(path, "rb"))
  local text = "\n" .. file:read("*a")
  file:close()
  text = text:gsub("^\n# [^\n]*\n", "\n"):gsub("\n##(#* )", "\n#%1"):gsub("%[([^%]]*)%]%([%w_]+%.md%)", "%1")
  return text
end

return function(_, folder)
  local out = styles.markdown()
  out:heading(2, "See also")
  local list = {}
  for place, service in ipairs(catalogue.services) do
    list[place] = { ("rovk-%s(7)"):format(service.name), nil, service.doc }
    put(("%s/rovk-%s.7.md"):format(folder, service.name), "rovk-" .. service.name, ("rovk-%s - %s"):format(service.name,
      (service.doc or ""):gsub("%.$", "")), pages.service(styles.markdown(), service))
  end
  out:definitions(nil, list)
  local root = arg[0]:match("^(.*)/generator/[^/]*$") or "."
  put(folder .. "/rovk.7.md", "rovk", "rovk - a home for Lua scripts that command a unit's peripherals",
    guide(root .. "/docs/rovk.md") .. "\n\n" .. out:result())
end
