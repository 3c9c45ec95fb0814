-- What is in the EEPROM of the processor board: the first bytes as they lie there, the partitions, and
-- the tags of each partition; then a tag of our own.
local rovk = require "rovk_message"

local function check(status, errors, ...)
  assert(status == 0, ("status %d, error id %d"):format(status, errors.error_id))
  return ...
end

local status, context = rovk.rovktrans_init(nil, nil)
assert(status == 0, "no unit")

local function find(service, device)
  local found = rovk.rovktrans_find_device(context, rovk["ROVK_" .. service:upper() .. "_PERIPHERAL_ID"],
    rovk["ROVK_PERIPHERAL_DEVICE_ID_" .. device])
  if not found then
    io.stderr:write(("%s has no device %s on this unit\n"):format(service, device))
    os.exit(1)
  end
  return found
end

local raw = find("eeprom_raw_0012", "EEPROM_RAW_PROCESSOR_BOARD")
local address = find("eeprom_partition_table_0013", "EEPROM_PARTITION_TABLE_PROCESSOR_BOARD").address

print(("%d bytes, beginning with"):format(check(rovk.rovktrans_eeprom_raw_0012_size(context, raw.address, raw.index))))
for from = 0, 32, 16 do
  local bytes = check(rovk.rovktrans_eeprom_raw_0012_read(context, raw.address, 16, raw.index, from))
  print(("  %04x" .. (" %02x"):rep(16)):format(from, unpack(bytes, 1, 16)))
end

-- Reads a whole tag: an answer holds 22 bytes of it at most.
local function read_tag(partition, tag, size)
  local parts = {}
  for offset = 0, size - 1, 22 do
    local count = math.min(22, size - offset)
    local bytes =
      check(rovk.rovktrans_eeprom_partition_table_0013_read_tag(context, address, tag, partition, count, offset))
    parts[#parts + 1] = string.char(unpack(bytes, 1, count))
  end
  return table.concat(parts)
end

-- A command carries ROVK_EPT_WRITE_SIZE bytes at most.
local function write_tag(partition, tag, text)
  for from = 1, #text, rovk.ROVK_EPT_WRITE_SIZE do
    local part = text:sub(from, from + rovk.ROVK_EPT_WRITE_SIZE - 1)
    check(rovk.rovktrans_eeprom_partition_table_0013_write_tag(context, address, tag, partition, #part, from - 1,
      { part:byte(1, -1) }))
  end
end

local function show_partition(partition, id, size, free, tagged, used)
  print(("partition %d: type %d, %d bytes, %d free, %d tags"):format(partition, id, size, free, used))
  for number = 0, tagged ~= 0 and used - 1 or -1 do
    local tag_size, offset, checksum, tag =
      check(rovk.rovktrans_eeprom_partition_table_0013_get_tag_info_num(context, address, number, partition))
    print(("  tag %d: %d bytes at %d, checksum %08x: %s"):format(tag, tag_size, offset, checksum,
      (read_tag(partition, tag, tag_size):gsub("[^%w%p ]", "."))))
  end
end

-- Partitions are numbered without a gap; the first number that is refused as none ends the walk.
local own
for partition = 0, 255 do
  local result, errors, id, size, free, tagged, used =
    rovk.rovktrans_eeprom_partition_table_0013_get_partition_info(context, address, partition)
  if result == rovk.ROVK_EEPROM_PARTITION_TABLE_0013_ERROR_PARTITION_ACCESS then
    break
  end
  check(result, errors)
  show_partition(partition, id, size, free, tagged, used)
  own = own or (tagged ~= 0 and free > 100 and partition)
end

-- Several writes that belong together: nobody else gets in between while the partition is locked. The
-- lock ends by itself after two seconds, should this script die.
local text = "written by an example, longer than one command carries"
check(rovk.rovktrans_eeprom_partition_table_0013_lock(context, address, 2000, own))
check(rovk.rovktrans_eeprom_partition_table_0013_append_tag(context, address, 0x4711, #text, own))
write_tag(own, 0x4711, text)
check(rovk.rovktrans_eeprom_partition_table_0013_unlock(context, address, own))
print(("tag %d of partition %d now reads: %s"):format(0x4711, own, read_tag(own, 0x4711, #text)))
assert(rovk.rovktrans_deinit(context) == 0)
