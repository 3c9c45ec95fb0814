-- What is in the EEPROM of the processor board: the first bytes as they lie there, the partitions, and the tags of
-- each partition; then a tag of our own.
local rovk = require "rovk"

local unit = rovk.open()
local raw = unit:need("eeprom_raw_0012", "EEPROM_RAW_PROCESSOR_BOARD")
local table_of = unit:need("eeprom_partition_table_0013", "EEPROM_PARTITION_TABLE_PROCESSOR_BOARD")

print(raw:size())
for from = 0, 32, 16 do
  print(("  %04x "):format(from) .. rovk.hex(raw:read({ size = 16, read_address = from }).data):sub(1, 47))
end

-- Reads a whole tag: an answer holds 22 bytes of it at most.
local function read_tag(partition, tag, size)
  local parts = {}
  for offset = 0, size - 1, 22 do
    local count = math.min(22, size - offset)
    local bytes = table_of:read_tag(tag, partition, count, offset).data
    parts[#parts + 1] = string.char(unpack(bytes, 1, count))
  end
  return table.concat(parts)
end

-- A command carries 16 bytes at most.
local function write_tag(partition, tag, text)
  for from = 1, #text, 16 do
    local part = text:sub(from, from + 15)
    table_of:write_tag(tag, partition, #part, from - 1, part)
  end
end

-- Partitions are numbered without a gap; the first number without one ends the walk.
local own
for partition = 0, 255 do
  local info = table_of:try_get_partition_info(partition)
  if not info then
    break
  end
  print(("partition %d: %s"):format(partition, tostring(info)))
  for number = 0, info.tagged ~= 0 and info.used_tags - 1 or -1 do
    local tag = table_of:get_tag_info_num(number, partition)
    print(("  tag %d: %d bytes at %d, checksum %08x: %s"):format(tag.tag_id, tag.size, tag.offset, tag.checksum,
      (read_tag(partition, tag.tag_id, tag.size):gsub("[^%w%p ]", "."))))
  end
  own = own or (info.tagged ~= 0 and info.available_tag_data_size > 100 and partition)
end

-- Several writes that belong together: nobody else gets in between while the partition is locked. The lock ends by
-- itself after two seconds, should this script die.
local text = "written by an example, longer than one command carries"
table_of:lock { timeout_ms = 2000, partition_index = own }
table_of:append_tag { tag_id = 0x4711, size = #text, partition_index = own }
write_tag(own, 0x4711, text)
table_of:unlock { partition_index = own }
print(("tag %d of partition %d now reads: %s"):format(0x4711, own, read_tag(own, 0x4711, #text)))
unit:close()
