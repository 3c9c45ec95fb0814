// Reading and writing of the layout. All numbers lie least significant byte first.
//
// Table, at 0:        magic 4, partitions 2, reserved 2, CRC-32 of the rows 4; then the rows, 12 bytes
//                     each: id 2, tagged 2, offset 4, size 4.
// Partition header:   magic 2, id 2, tags 2, reserved 2, CRC-32 of the eight bytes before 4.
// Tag header:         id 2, size 2, offset 4, CRC-32 of the data 4, CRC-32 of the twelve bytes before 4.
#include "unit/things/eeprom_memory.h"

#include <algorithm>
#include <array>

namespace rovk::unit::things {
namespace {

constexpr uint8_t erased = 0xff;
constexpr uint32_t table_magic = 0x54504531;
constexpr uint32_t table_header_size = 12;
constexpr uint32_t table_row_size = 12;
constexpr uint32_t table_size = 256;  // kept free for the table
constexpr uint32_t partition_magic = 0x5048;
constexpr uint32_t partition_header_size = 12;
constexpr uint32_t tag_header_size = 16;

uint32_t load(const uint8_t* bytes, unsigned width) {
  uint32_t value = 0;
  for (unsigned i = width; i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

void store(uint8_t* bytes, unsigned width, uint32_t value) {
  for (unsigned i = 0; i < width; ++i, value >>= 8) bytes[i] = static_cast<uint8_t>(value);
}

constexpr std::array<uint32_t, 256> make_crc32_of_byte() {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320 & (0U - (crc & 1)));
    table[byte] = crc;
  }
  return table;
}
constexpr std::array<uint32_t, 256> crc32_of_byte = make_crc32_of_byte();

uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = 0xffffffff;
  for (const uint8_t byte : bytes) crc = (crc >> 8) ^ crc32_of_byte[(crc ^ byte) & 0xff];
  return ~crc;
}

uint16_t load16(const uint8_t* bytes) { return static_cast<uint16_t>(load(bytes, 2)); }

}  // namespace

EepromMemory::EepromMemory(uint32_t size, std::vector<PartitionPlan> layout, std::span<const TagPlan> tags)
    : layout_(std::move(layout)), bytes_(size, erased) {
  uint64_t wanted = table_size;
  bool headers_fit = true;
  for (const PartitionPlan& planned : layout_) {
    wanted += planned.size;
    headers_fit = headers_fit && (!planned.tagged || planned.size >= partition_header_size);
  }
  if (!headers_fit || wanted > size || layout_.size() > (table_size - table_header_size) / table_row_size) {
    throw EepromError{"partition_overflow"};
  }
  format_all();
  for (const TagPlan& planned : tags) {
    const auto index = find_partition(planned.partition_id);
    if (!index || planned.data.size() > UINT16_MAX) throw EepromError{"partition_access"};
    const PartitionRow row = partition(*index);
    append_tag(row, planned.id, static_cast<uint16_t>(planned.data.size()));
    write_tag(row, planned.id, 0, {reinterpret_cast<const uint8_t*>(planned.data.data()), planned.data.size()});
  }
}

bool EepromMemory::restore(std::span<const uint8_t> image) {
  if (image.size() > bytes_.size()) return false;
  erase_all();
  std::copy(image.begin(), image.end(), bytes_.begin());
  return true;
}

// ---- table

void EepromMemory::write_table() {
  uint8_t* row = bytes_.data() + table_header_size;
  uint32_t offset = table_size;
  for (const PartitionPlan& planned : layout_) {
    store(row, 2, planned.id);
    store(row + 2, 2, planned.tagged);
    store(row + 4, 4, offset);
    store(row + 8, 4, planned.size);
    row += table_row_size;
    offset += planned.size;
  }
  store(bytes_.data(), 4, table_magic);
  store(bytes_.data() + 4, 2, static_cast<uint32_t>(layout_.size()));
  store(bytes_.data() + 6, 2, 0);
  store(bytes_.data() + 8, 4, crc32({bytes_.data() + table_header_size, layout_.size() * table_row_size}));
  table_read_ = false;
}

// A table that an image brought may have a right checksum and partitions that reach beyond the memory or into one
// another.
const std::optional<std::vector<PartitionRow>>& EepromMemory::table() const {
  if (table_read_) return table_;
  table_read_ = true;
  table_.reset();
  if (bytes_.size() < table_size) return table_;
  const uint32_t count = load(bytes_.data() + 4, 2);
  const uint32_t size = count * table_row_size;
  if (load(bytes_.data(), 4) != table_magic || size > table_size - table_header_size ||
      load(bytes_.data() + 8, 4) != crc32({bytes_.data() + table_header_size, size})) {
    return table_;
  }
  std::vector<PartitionRow> rows;
  const uint8_t* row = bytes_.data() + table_header_size;
  for (uint32_t i = 0; i < count; ++i, row += table_row_size) {
    const PartitionRow read = {load16(row), load(row + 2, 2) != 0, load(row + 8, 4), load(row + 4, 4)};
    const bool inside =
        read.offset >= table_size && read.offset <= bytes_.size() && read.size <= bytes_.size() - read.offset;
    const bool overlaps = std::any_of(rows.begin(), rows.end(), [&read](const PartitionRow& other) {
      return read.offset < other.offset + other.size && other.offset < read.offset + read.size;
    });
    if (!inside || overlaps || (read.tagged && read.size < partition_header_size)) return table_;
    rows.push_back(read);
  }
  table_ = std::move(rows);
  return table_;
}

unsigned EepromMemory::partitions() const {
  if (!table()) throw EepromError{"invalid_partition_table"};
  return static_cast<unsigned>(table()->size());
}

PartitionRow EepromMemory::partition(unsigned index) const {
  if (index >= partitions()) throw EepromError{"partition_access"};
  return (*table())[index];
}

std::optional<unsigned> EepromMemory::find_partition(uint16_t id) const {
  const unsigned count = partitions();
  for (unsigned i = 0; i < count; ++i) {
    if (partition(i).id == id) return i;
  }
  return std::nullopt;
}

// ---- bytes of a partition

std::span<const uint8_t> EepromMemory::read(const PartitionRow& partition, uint32_t offset, uint32_t size) const {
  if (offset > partition.size || size > partition.size - offset) throw EepromError{"partition_overflow"};
  return {bytes_.data() + partition.offset + offset, size};
}

void EepromMemory::write(const PartitionRow& partition, uint32_t offset, std::span<const uint8_t> data) {
  if (offset > partition.size || data.size() > partition.size - offset) throw EepromError{"partition_overflow"};
  std::copy(data.begin(), data.end(), bytes_.data() + partition.offset + offset);
  changed(partition, offset, data.size());
}

// ---- header of a tagged partition

EepromMemory::Directory& EepromMemory::directory(const PartitionRow& partition) const {
  const auto [place, fresh] = directories_.try_emplace(partition.offset);
  Directory& read = place->second;
  if (!fresh) return read;
  const uint8_t* header = bytes_.data() + partition.offset;
  const uint16_t count = load16(header + 4);
  read.valid_header = load(header, 2) == partition_magic && load16(header + 2) == partition.id &&
                      load(header + 8, 4) == crc32({header, 8}) &&
                      count * tag_header_size <= partition.size - partition_header_size;
  for (uint16_t number = 0; read.valid_header && number < count; ++number) {
    const uint8_t* bytes = header + partition_header_size + number * tag_header_size;
    const TagHeader tag = {load16(bytes), load16(bytes + 2), load(bytes + 4, 4), load(bytes + 8, 4)};
    const bool valid = load(bytes + 12, 4) == crc32({bytes, 12}) && tag.offset <= partition.size &&
                       tag.size <= partition.size - tag.offset;
    read.tags.push_back({tag, valid, std::nullopt});
  }
  return read;
}

// Bytes in front of the data are headers; among the data the tags that are hit are to be looked at again.
void EepromMemory::changed(const PartitionRow& partition, uint32_t offset, std::size_t size) const {
  const auto found = directories_.find(partition.offset);
  if (found == directories_.end() || size == 0) return;
  if (offset < partition_header_size + found->second.tags.size() * tag_header_size) {
    directories_.erase(found);
    return;
  }
  for (Tag& tag : found->second.tags) {
    if (offset < tag.header.offset + tag.header.size && tag.header.offset < offset + size) tag.valid_data.reset();
  }
}

uint16_t EepromMemory::used_tags(const PartitionRow& partition) const {
  if (!partition.tagged) throw EepromError{"partition_access"};
  const Directory& read = directory(partition);
  if (!read.valid_header) throw EepromError{"invalid_partition_header"};
  return static_cast<uint16_t>(read.tags.size());
}

void EepromMemory::write_header(const PartitionRow& partition, uint16_t used_tags) {
  uint8_t* header = bytes_.data() + partition.offset;
  store(header, 2, partition_magic);
  store(header + 2, 2, partition.id);
  store(header + 4, 2, used_tags);
  store(header + 6, 2, 0);
  store(header + 8, 4, crc32({header, 8}));
  directories_.erase(partition.offset);
}

PartitionState EepromMemory::state(const PartitionRow& partition) const {
  if (!partition.tagged) return {true, 0, 0};
  PartitionState state = {false, 0, 0};
  try {
    state.used_tags = used_tags(partition);
    state.valid_header = true;
    const uint32_t begin = partition_header_size + (state.used_tags + 1U) * tag_header_size;
    const uint32_t end = free_end(partition);
    state.available = end > begin ? end - begin : 0;
  } catch (const EepromError&) {
    // What could not be found out stays 0.
  }
  return state;
}

// ---- tags

void EepromMemory::write_tag_header(const PartitionRow& partition, uint16_t number, const TagHeader& header) {
  uint8_t* bytes = bytes_.data() + partition.offset + partition_header_size + number * tag_header_size;
  store(bytes, 2, header.id);
  store(bytes + 2, 2, header.size);
  store(bytes + 4, 4, header.offset);
  store(bytes + 8, 4, header.checksum);
  store(bytes + 12, 4, crc32({bytes, 12}));
  directories_.erase(partition.offset);
}

TagHeader EepromMemory::tag_at(const PartitionRow& partition, uint16_t number) const {
  if (number >= used_tags(partition)) throw EepromError{"tag_not_found"};
  const Tag& read = directory(partition).tags[number];
  if (!read.valid_header) throw EepromError{"invalid_tag_header"};
  return read.header;
}

// A header that is wrong ends the search: the tag that is looked for may be the one behind it.
std::optional<std::pair<uint16_t, TagHeader>> EepromMemory::search(const PartitionRow& partition, uint16_t id) const {
  const uint16_t tags = used_tags(partition);
  for (uint16_t number = 0; number < tags; ++number) {
    const TagHeader header = tag_at(partition, number);
    if (header.id == id) return std::pair{number, header};
  }
  return std::nullopt;
}

TagHeader EepromMemory::tag(const PartitionRow& partition, uint16_t id) const {
  const auto found = search(partition, id);
  if (!found) throw EepromError{"tag_not_found"};
  return found->second;
}

bool EepromMemory::has_tag(const PartitionRow& partition, uint16_t id) const {
  return search(partition, id).has_value();
}

// Data grows downwards, so the last tag's begins where the free bytes end.
uint32_t EepromMemory::free_end(const PartitionRow& partition) const {
  const uint16_t tags = used_tags(partition);
  return tags == 0 ? partition.size : tag_at(partition, static_cast<uint16_t>(tags - 1)).offset;
}

std::span<const uint8_t> EepromMemory::read_tag(const PartitionRow& partition, uint16_t id, uint32_t offset,
                                                uint32_t size) const {
  const auto found = search(partition, id);
  if (!found) throw EepromError{"tag_not_found"};
  const auto& [number, header] = *found;
  const std::span<const uint8_t> data = read(partition, header.offset, header.size);
  if (offset > data.size() || size > data.size() - offset) throw EepromError{"tag_overflow"};
  std::optional<bool>& valid = directory(partition).tags[number].valid_data;
  if (!valid) valid = crc32(data) == header.checksum;
  if (!*valid) throw EepromError{"tag_checksum"};
  return data.subspan(offset, size);
}

void EepromMemory::write_tag(const PartitionRow& partition, uint16_t id, uint32_t offset,
                             std::span<const uint8_t> data) {
  const auto found = search(partition, id);
  if (!found) throw EepromError{"tag_not_found"};
  auto [number, header] = *found;
  if (offset > header.size || data.size() > header.size - offset) throw EepromError{"tag_overflow"};
  write(partition, header.offset + offset, data);
  header.checksum = crc32(read(partition, header.offset, header.size));
  write_tag_header(partition, number, header);
}

void EepromMemory::append_tag(const PartitionRow& partition, uint16_t id, uint16_t size) {
  if (has_tag(partition, id)) throw EepromError{"tag_exists"};
  const uint16_t tags = used_tags(partition);
  const uint32_t end = free_end(partition);
  if (partition_header_size + (tags + 1U) * tag_header_size + size > end) throw EepromError{"partition_overflow"};
  const uint32_t offset = end - size;
  std::fill_n(bytes_.data() + partition.offset + offset, size, erased);
  write_tag_header(partition, tags, {id, size, offset, crc32(read(partition, offset, size))});
  write_header(partition, static_cast<uint16_t>(tags + 1));
}

// ---- formatting

void EepromMemory::erase(const PartitionRow& partition) {
  std::fill_n(bytes_.data() + partition.offset, partition.size, erased);
  directories_.erase(partition.offset);
}

void EepromMemory::format(const PartitionRow& partition) {
  erase(partition);
  if (partition.tagged) write_header(partition, 0);
}

void EepromMemory::erase_all() {
  std::fill(bytes_.begin(), bytes_.end(), erased);
  table_read_ = false;
  directories_.clear();
}

void EepromMemory::format_all() {
  erase_all();
  write_table();
  const unsigned count = partitions();
  for (unsigned i = 0; i < count; ++i) format(partition(i));
}

}  // namespace rovk::unit::things
