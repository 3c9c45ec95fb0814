// Reading and writing of the layout. All numbers lie least significant byte first.
//
// Table, at 0:        magic 4, partitions 2, reserved 2, CRC-32 of the rows 4; then the rows, 12 bytes
//                     each: id 2, tagged 2, offset 4, size 4.
// Partition header:   magic 2, id 2, tags 2, reserved 2, CRC-32 of the eight bytes before 4.
// Tag header:         id 2, size 2, offset 4, CRC-32 of the data 4, CRC-32 of the twelve bytes before 4.
#include "unit/services/eeprom_memory.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "catalogue/fields.h"

namespace rovk::unit {
namespace {

using catalogue::load;
using catalogue::store;

constexpr uint8_t erased = 0xff;
constexpr uint32_t table_magic = 0x54504531;
constexpr uint32_t table_header_size = 12;
constexpr uint32_t table_row_size = 12;
constexpr uint32_t table_size = 256;  // kept free for the table
constexpr uint32_t partition_magic = 0x5048;
constexpr uint32_t partition_header_size = 12;
constexpr uint32_t tag_header_size = 16;

struct PartitionPlan {
  uint16_t id;
  bool tagged;
  uint32_t size;
};

constexpr uint32_t processor_size = 16384;
constexpr PartitionPlan processor_plan[] = {
    {ROVK_EPT_PARTITION_TYPE_PFIX, true, 1024},  {ROVK_EPT_PARTITION_TYPE_PFRU, true, 1024},
    {ROVK_EPT_PARTITION_TYPE_PSKU, true, 512},   {ROVK_EPT_PARTITION_TYPE_PQCD, true, 1024},
    {ROVK_EPT_PARTITION_TYPE_PERR, false, 2048}, {ROVK_EPT_PARTITION_TYPE_P__U, false, 4096},
    {ROVK_EPT_PARTITION_TYPE_P__T, true, 4096},
};

constexpr uint32_t imager_size = 8192;
constexpr PartitionPlan imager_plan[] = {
    {ROVK_EPT_PARTITION_TYPE_IFIX, true, 512},   {ROVK_EPT_PARTITION_TYPE_IFRU, true, 512},
    {ROVK_EPT_PARTITION_TYPE_ICAL, true, 1024},  {ROVK_EPT_PARTITION_TYPE_IQCD, true, 512},
    {ROVK_EPT_PARTITION_TYPE_IERR, false, 1024}, {ROVK_EPT_PARTITION_TYPE_I__U, false, 2048},
    {ROVK_EPT_PARTITION_TYPE_I__T, true, 1024},  {ROVK_EPT_PARTITION_TYPE_ICBK, true, 1024},
};

// Tags that the factory writes.
constexpr uint16_t serial_number_tag = 1;
constexpr uint16_t part_number_tag = 2;
constexpr uint16_t test_date_tag = 1;

std::span<const PartitionPlan> plan_of(uint8_t location) {
  if (location == ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD) return processor_plan;
  return imager_plan;
}

uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = 0xffffffff;
  for (const uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320 & (0U - (crc & 1)));
  }
  return ~crc;
}

uint16_t load16(const uint8_t* bytes) { return static_cast<uint16_t>(load(bytes, 2)); }

}  // namespace

EepromMemory::EepromMemory(uint8_t location)
    : location_(location),
      bytes_(location == ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD ? processor_size : imager_size, erased) {
  format_all();
  write_factory_tags();
}

void EepromMemory::write_factory_tags() {
  const bool processor = location_ == ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD;
  const std::string serial = "RV-24-0017" + std::to_string(40 + location_);
  add_tag(processor ? ROVK_EPT_PARTITION_TYPE_PFIX : ROVK_EPT_PARTITION_TYPE_IFIX, serial_number_tag, serial);
  add_tag(processor ? ROVK_EPT_PARTITION_TYPE_PFRU : ROVK_EPT_PARTITION_TYPE_IFRU, serial_number_tag, serial);
  add_tag(processor ? ROVK_EPT_PARTITION_TYPE_PFRU : ROVK_EPT_PARTITION_TYPE_IFRU, part_number_tag,
          processor ? "RV-PB-2" : "RV-IB-4");
  add_tag(processor ? ROVK_EPT_PARTITION_TYPE_PQCD : ROVK_EPT_PARTITION_TYPE_IQCD, test_date_tag, "2024-03-11");
}

void EepromMemory::add_tag(uint16_t partition_id, uint16_t tag_id, std::string_view text) {
  const PartitionRow row = partition(*find_partition(partition_id));
  append_tag(row, tag_id, static_cast<uint16_t>(text.size()));
  write_tag(row, tag_id, 0, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

// ---- table

void EepromMemory::write_table() {
  const std::span<const PartitionPlan> plan = plan_of(location_);
  uint8_t* row = bytes_.data() + table_header_size;
  uint32_t offset = table_size;
  for (const PartitionPlan& planned : plan) {
    store(row, 2, planned.id);
    store(row + 2, 2, planned.tagged);
    store(row + 4, 4, offset);
    store(row + 8, 4, planned.size);
    row += table_row_size;
    offset += planned.size;
  }
  store(bytes_.data(), 4, table_magic);
  store(bytes_.data() + 4, 2, static_cast<uint32_t>(plan.size()));
  store(bytes_.data() + 6, 2, 0);
  store(bytes_.data() + 8, 4, crc32({bytes_.data() + table_header_size, plan.size() * table_row_size}));
}

unsigned EepromMemory::partitions() const {
  const uint32_t count = load(bytes_.data() + 4, 2);
  const uint32_t rows = count * table_row_size;
  if (load(bytes_.data(), 4) != table_magic || rows > table_size - table_header_size ||
      load(bytes_.data() + 8, 4) != crc32({bytes_.data() + table_header_size, rows})) {
    throw EepromError{"invalid_partition_table"};
  }
  return count;
}

PartitionRow EepromMemory::partition(unsigned index) const {
  if (index >= partitions()) throw EepromError{"partition_access"};
  const uint8_t* row = bytes_.data() + table_header_size + index * table_row_size;
  return {load16(row), load(row + 2, 2) != 0, load(row + 8, 4), load(row + 4, 4)};
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
  std::copy(data.begin(), data.end(), bytes_.begin() + partition.offset + offset);
}

// ---- header of a tagged partition

uint16_t EepromMemory::used_tags(const PartitionRow& partition) const {
  if (!partition.tagged) throw EepromError{"partition_access"};
  const uint8_t* header = bytes_.data() + partition.offset;
  const uint16_t tags = load16(header + 4);
  if (load(header, 2) != partition_magic || load16(header + 2) != partition.id ||
      load(header + 8, 4) != crc32({header, 8}) || tags * tag_header_size > partition.size - partition_header_size) {
    throw EepromError{"invalid_partition_header"};
  }
  return tags;
}

void EepromMemory::write_header(const PartitionRow& partition, uint16_t used_tags) {
  uint8_t* header = bytes_.data() + partition.offset;
  store(header, 2, partition_magic);
  store(header + 2, 2, partition.id);
  store(header + 4, 2, used_tags);
  store(header + 6, 2, 0);
  store(header + 8, 4, crc32({header, 8}));
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
}

TagHeader EepromMemory::tag_at(const PartitionRow& partition, uint16_t number) const {
  if (number >= used_tags(partition)) throw EepromError{"tag_not_found"};
  const uint8_t* bytes = bytes_.data() + partition.offset + partition_header_size + number * tag_header_size;
  const TagHeader header = {load16(bytes), load16(bytes + 2), load(bytes + 4, 4), load(bytes + 8, 4)};
  if (load(bytes + 12, 4) != crc32({bytes, 12}) || header.offset > partition.size ||
      header.size > partition.size - header.offset) {
    throw EepromError{"invalid_tag_header"};
  }
  return header;
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
  const TagHeader header = tag(partition, id);
  const std::span<const uint8_t> data = read(partition, header.offset, header.size);
  if (offset > data.size() || size > data.size() - offset) throw EepromError{"tag_overflow"};
  if (crc32(data) != header.checksum) throw EepromError{"tag_checksum"};
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
  std::fill_n(bytes_.begin() + partition.offset + offset, size, erased);
  write_tag_header(partition, tags, {id, size, offset, crc32(read(partition, offset, size))});
  write_header(partition, static_cast<uint16_t>(tags + 1));
}

// ---- formatting

void EepromMemory::erase(const PartitionRow& partition) {
  std::fill_n(bytes_.begin() + partition.offset, partition.size, erased);
}

void EepromMemory::format(const PartitionRow& partition) {
  erase(partition);
  if (partition.tagged) write_header(partition, 0);
}

void EepromMemory::erase_all() { std::fill(bytes_.begin(), bytes_.end(), erased); }

void EepromMemory::format_all() {
  erase_all();
  write_table();
  const unsigned count = partitions();
  for (unsigned i = 0; i < count; ++i) format(partition(i));
}

bool EepromMemory::locked_for(unsigned partition, uint16_t application) const {
  const auto holder = holders_.find(partition);
  return holder != holders_.end() && holder->second != application;
}

}  // namespace rovk::unit
