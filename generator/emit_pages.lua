-- The reference as pages to browse: a page a service, one for what belongs to none, and the index with the guides.
-- The examples are run here, and what they print stands below them.

local catalogue = require("rovk_catalogue")
local examples = require("examples")
local pages = require("pages")
local styles = require("page_styles")

-- Guides in this order; any other that lies in the folder follows.
local GUIDES = { "rovk", "guide", "console", "editors", "testing", "unit", "unit-file", "faults", "frames",
  "integrators", "catalogue", "protocol" }

local function put(path, text)
  local file = assert(io.open(path, "wb"))
  file:write(text)
  file:close()
end

local function guides(folder)
  local list, known = {}, {}
  for place, name in ipairs(GUIDES) do
    list[place], known[name] = name, true
  end
  for name in io.popen(("cd '%s' && ls -- *.md"):format(folder)):lines() do
    name = name:gsub("%.md$", "")
    if not known[name] then
      list[#list + 1] = name
    end
  end
  return list
end

local function index(folder)
  local out = styles.rst()
  out:heading(1, "rovk_message")
  out:raw("Command of the peripherals of an embedded unit, from Lua: every service with its commands, events, errors, "
    .. "constants and records. The search box finds each of them by name.")
  local function tree(caption, names)
    out:raw((".. toctree::\n   :caption: %s\n   :hidden:\n\n   %s"):format(caption, table.concat(names, "\n   ")))
  end
  tree("Guides", guides(folder))
  local names, list = {}, {}
  for place, service in ipairs(catalogue.services) do
    names[place] = "services/" .. service.name
    list[place] = (":doc:`services/%s`\n   %s"):format(service.name, out.text_of(service.doc or "\\ "))
  end
  names[#names + 1] = "services/protocol"
  list[#list + 1] = ":doc:`services/protocol`\n   Functions, statuses, constants and records of the message."
  tree("Services", names)
  out:raw(table.concat(list, "\n\n"))
  return out:result()
end

return function(_, folder)
  put(folder .. "/index.rst", index(folder))
  put(folder .. "/services/protocol.rst", pages.protocol(styles.rst()))
  local unit = examples.open()
  for _, service in ipairs(catalogue.services) do
    local companion_prelude
    local of_examples = {
      preludes = function()
        local plain
        companion_prelude, plain = examples.preludes(unit, service)
        return companion_prelude, plain
      end,
      command = function(command)
        local example = examples.command(unit, command)
        return example, examples.run(companion_prelude, example.companion)
      end,
      event = examples.event,
    }
    put(("%s/services/%s.rst"):format(folder, service.name), pages.service(styles.rst(), service, of_examples))
  end
  unit:close()
end
