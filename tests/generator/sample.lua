-- A catalogue of two services, small enough to read at a glance: what the generator makes of it, and
-- what it says about it when something is wrong.

local lfs = require("lfs")

local sample = {}

local here = debug.getinfo(1, "S").source:match("^@(.*)/[^/]*$") or "."
sample.folder = here
sample.root = here .. "/../.."
package.path = sample.root .. "/generator/?.lua;" .. package.path

local function read_file(path)
  local file = assert(io.open(path, "rb"))
  local text = file:read("*a")
  file:close()
  return text
end
sample.read_file = read_file

-- An empty folder of its own for every caller.
function sample.scratch()
  local path = os.tmpname()
  os.remove(path)
  assert(lfs.mkdir(path))
  return path
end

function sample.remove(folder)
  for name in lfs.dir(folder) do
    if name ~= "." and name ~= ".." then
      local path = folder .. "/" .. name
      if lfs.attributes(path, "mode") == "directory" then
        sample.remove(path)
      else
        os.remove(path)
      end
    end
  end
  lfs.rmdir(folder)
end

local function write_value(out, value)
  if type(value) ~= "table" then
    out[#out + 1] = type(value) == "string" and ("%q"):format(value) or tostring(value)
    return
  end
  out[#out + 1] = "{"
  for key, item in pairs(value) do
    out[#out + 1] = "["
    write_value(out, key)
    out[#out + 1] = "]="
    write_value(out, item)
    out[#out + 1] = ","
  end
  out[#out + 1] = "}"
end

local function write_data(path, value)
  local out = { "return " }
  if type(value) == "table" then
    write_value(out, value)
  else
    out = { value }
  end
  local file = assert(io.open(path, "wb"))
  file:write(table.concat(out))
  file:close()
end

-- The data of the sample, to be changed: protocol, common, lamp. A text in the place of a table is
-- written into the file as it is.
function sample.data()
  return {
    protocol = dofile(sample.root .. "/lualib/protocol.lua"),
    common = dofile(here .. "/sample/common.lua"),
    lamp = dofile(here .. "/sample/lamp_0040.lua"),
  }
end

-- Writes the data into a folder and returns the paths as the generator takes them. `names` gives a
-- service another file name; false leaves its file away.
function sample.write(folder, data, names)
  names = names or {}
  local paths = { folder .. "/protocol.lua" }
  write_data(paths[1], data.protocol)
  for _, part in ipairs { { "common", "common.lua" }, { "lamp", "lamp_0040.lua" }, { "extra", "extra_0041.lua" } } do
    local name = names[part[1]]
    if data[part[1]] and name ~= false then
      paths[#paths + 1] = folder .. "/" .. (name or part[2])
      write_data(paths[#paths], data[part[1]])
    end
  end
  return paths
end

return sample
