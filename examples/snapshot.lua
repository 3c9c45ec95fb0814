-- Pictures of what the unit sees, fetched from its server and left as PNG files:
--   ./rovk run examples/snapshot.lua [FOLDER]
-- By day and by night, at two zooms. docs/frames.md tells what a frame's bytes are.
local rovk = require "rovk"
local hand = require "rovk_unit"
local found, http = pcall(require, "socket.http")
if not found then
  io.stderr:write("socket.http is missing: install the Debian package lua-socket\n")
  os.exit(1)
end

local folder = arg and arg[1] or "."
local step = 3 -- every third pixel both ways: a person need not see all

-- A PNG file without compression. Its checksum wants an exclusive or, which Lua has not: a table of all.
local xor = {}
for a = 0, 255 do
  for b = 0, 255 do
    local bits, left, right, value = 0, a, b, 1
    while left ~= right do
      if left % 2 ~= right % 2 then
        bits = bits + value
      end
      left, right, value = math.floor(left / 2), math.floor(right / 2), value * 2
    end
    xor[a * 256 + b] = bits
  end
end

local function big_endian(number)
  return string.char(math.floor(number / 2 ^ 24), math.floor(number / 65536) % 256, math.floor(number / 256) % 256,
    number % 256)
end

-- The checksum's table, in bytes from the lowest: the polynomial is 0xedb88320.
local table_0, table_1, table_2, table_3 = {}, {}, {}, {}
for byte = 0, 255 do
  local a, b, c, d = byte, 0, 0, 0
  for _ = 1, 8 do
    local odd = a % 2 == 1
    a = math.floor(a / 2) + b % 2 * 128
    b = math.floor(b / 2) + c % 2 * 128
    c = math.floor(c / 2) + d % 2 * 128
    d = math.floor(d / 2)
    if odd then
      a, b, c, d = xor[a * 256 + 0x20], xor[b * 256 + 0x83], xor[c * 256 + 0xb8], xor[d * 256 + 0xed]
    end
  end
  table_0[byte], table_1[byte], table_2[byte], table_3[byte] = a, b, c, d
end

local function chunk(kind, data)
  local a, b, c, d = 255, 255, 255, 255
  data = kind .. data
  for i = 1, #data do
    local at = xor[a * 256 + data:byte(i)]
    a, b, c, d = xor[b * 256 + table_0[at]], xor[c * 256 + table_1[at]], xor[d * 256 + table_2[at]], table_3[at]
  end
  return big_endian(#data - 4) .. data .. string.char(255 - d, 255 - c, 255 - b, 255 - a)
end

-- `rows`: texts of red, green and blue of each pixel.
local function write_png(path, width, rows)
  local blocks, low, high = {}, 1, 0
  for number, row in ipairs(rows) do
    row = "\0" .. row
    for i = 1, #row do
      low = low + row:byte(i)
      high = high + low
    end
    low, high = low % 65521, high % 65521
    local size = #row
    blocks[number] = string.char(number == #rows and 1 or 0, size % 256, math.floor(size / 256), 255 - size % 256,
      255 - math.floor(size / 256)) .. row
  end
  local file = assert(io.open(path, "wb"))
  file:write("\137PNG\r\n\26\n", chunk("IHDR", big_endian(width) .. big_endian(#rows) .. "\8\2\0\0\0"),
    chunk("IDAT", "\120\1" .. table.concat(blocks) .. big_endian(high * 65536 + low)), chunk("IEND", ""))
  assert(file:close())
end

local function level(number)
  return math.max(0, math.min(255, math.floor(number + 0.5)))
end

-- Brightness of each pixel, then two colour differences for each two by two of them.
local function rows_of(frame, width, height)
  assert(#frame == width * height * 3 / 2, "a frame has another size than the sensor")
  local rows = {}
  for y = 0, height - 1, step do
    local pixels = {}
    for x = 0, width - 1, step do
      local bright = frame:byte(y * width + x + 1)
      local pair = width * height + math.floor(y / 2) * width + x - x % 2
      local blue, red = frame:byte(pair + 1, pair + 2)
      blue, red = blue - 128, red - 128
      pixels[#pixels + 1] = string.char(level(bright + 1.402 * red), level(bright - 0.344 * blue - 0.714 * red),
        level(bright + 1.772 * blue))
    end
    rows[#rows + 1] = table.concat(pixels)
  end
  return rows
end

local unit = rovk.open "sim?clock=virtual"
local files, sensor = unit:need("bulk_dump_000c"), unit:need("sensor_0023", "SENSOR_OPTICAL")
local focus = unit:need("lens_focus_001f", "FOCUS_OPTICAL")
local head = unit:need("positioning_002a", "POSITIONING_OPTICAL")
local size = sensor:get_dimensions()
files:http_enable(1)
local server = "http://127.0.0.1:" .. files:http_port().port

local function snapshot(name)
  files:get_frame { bayer = 0, filename = name }
  local frame, answer = http.request(server .. "/" .. name)
  assert(answer == 200, "no frame from the server: " .. tostring(answer))
  files:delete_file(name)
  local path = ("%s/%s.png"):format(folder, name)
  write_png(path, math.ceil(size.width / step), rows_of(frame, size.width, size.height))
  print(("%s: %d bytes of %d x %d pixels"):format(path, #frame, size.width, size.height))
end

for _, time in ipairs { { "day", 320000 }, { "night", 40 } } do
  assert(hand.set(unit.context, "light", 0, time[2]))
  for _, zoom_decix in ipairs { 10, 50 } do
    -- To where the chart hangs, and sharp there; exposure and filter take their time as well.
    head:set_position { pan_millidegrees = 0, tilt_millidegrees = 0, zoom_deciX = zoom_decix,
      pan_millidegrees_per_second = 45000, tilt_millidegrees_per_second = 20000, zoom_deciX_per_second = 20 }
    unit:sleep(60000)
    focus:do_auto_focus()
    unit:sleep(10000)
    snapshot(("%s-%dx"):format(time[1], zoom_decix / 10))
  end
end
print("a name that leaves the folder: " .. select(2, http.request(server .. "/../secret")))
unit:close()
