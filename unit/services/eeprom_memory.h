// The bytes of one board's EEPROM and their layout: a table of partitions, and in a tagged partition a
// header, a directory of tags from the front and their data from the back. Nothing but the locks is kept
// beside the bytes, so what is overwritten is really lost, and found by its checksum.
#pragma once

#include <rovk/constants.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "unit/services/view.h"

namespace rovk::unit {

// Why an access fails; `name` is an error of eeprom_partition_table_0013.
struct EepromError {
  const char* name;
};

struct PartitionRow {
  uint16_t id;  // ROVK_EPT_PARTITION_TYPE_*
  bool tagged;
  uint32_t size;    // bytes
  uint32_t offset;  // in the memory
};

struct TagHeader {
  uint16_t id;
  uint16_t size;      // bytes of data
  uint32_t offset;    // of the data, in the partition
  uint32_t checksum;  // CRC-32 of the data
};

struct PartitionState {
  bool valid_header;  // of a plain partition, which has none, always
  uint16_t used_tags;
  uint32_t available;  // data bytes that one more tag can have
};

class EepromMemory {
 public:
  // As it leaves the factory, with the board's tags written.
  explicit EepromMemory(uint8_t location);

  std::span<const uint8_t> bytes() const { return bytes_; }
  // Takes as many bytes as it has.
  void restore(std::span<const uint8_t> bytes) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), bytes_.size()), bytes_.begin());
  }

  // Everything below throws EepromError.
  PartitionRow partition(unsigned index) const;
  std::optional<unsigned> find_partition(uint16_t id) const;
  unsigned partitions() const;

  PartitionState state(const PartitionRow& partition) const;
  // Plain bytes of a partition, headers and directory among them.
  std::span<const uint8_t> read(const PartitionRow& partition, uint32_t offset, uint32_t size) const;
  void write(const PartitionRow& partition, uint32_t offset, std::span<const uint8_t> data);

  TagHeader tag(const PartitionRow& partition, uint16_t id) const;
  TagHeader tag_at(const PartitionRow& partition, uint16_t number) const;
  bool has_tag(const PartitionRow& partition, uint16_t id) const;
  // Fails when any byte of the tag's data has changed under it.
  std::span<const uint8_t> read_tag(const PartitionRow& partition, uint16_t id, uint32_t offset, uint32_t size) const;
  // Makes the checksum anew, which also heals a tag whose data had changed.
  void write_tag(const PartitionRow& partition, uint16_t id, uint32_t offset, std::span<const uint8_t> data);
  // The data of a new tag is erased bytes.
  void append_tag(const PartitionRow& partition, uint16_t id, uint16_t size);

  // Formatting takes time on the board: first everything is erased, at its end the headers are written.
  void erase(const PartitionRow& partition);
  void format(const PartitionRow& partition);
  void erase_all();
  void format_all();

  // Who may change a partition: everybody, or, while it is locked, one application.
  bool locked_for(unsigned partition, uint16_t application) const;
  bool locked(unsigned partition) const { return holders_.count(partition) != 0; }
  void lock(unsigned partition, uint16_t application) { holders_[partition] = application; }
  void unlock(unsigned partition) { holders_.erase(partition); }

 private:
  void write_table();
  void write_factory_tags();
  void add_tag(uint16_t partition_id, uint16_t tag_id, std::string_view text);
  uint16_t used_tags(const PartitionRow& partition) const;
  void write_header(const PartitionRow& partition, uint16_t used_tags);
  void write_tag_header(const PartitionRow& partition, uint16_t number, const TagHeader& header);
  std::optional<std::pair<uint16_t, TagHeader>> search(const PartitionRow& partition, uint16_t id) const;
  uint32_t free_end(const PartitionRow& partition) const;

  uint8_t location_;
  std::vector<uint8_t> bytes_;
  std::map<unsigned, uint16_t> holders_;  // by partition
};

inline constexpr unsigned eeprom_boards = 6;  // one for each ROVK_GPI_LOCATION_*

// The memory of a board, whichever services show it.
EepromMemory& eeprom_of(Host& host, uint8_t location);

}  // namespace rovk::unit
