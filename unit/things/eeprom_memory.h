// The bytes of one board's EEPROM and their layout: a table of partitions, and in a tagged partition a
// header, a directory of tags from the front and their data from the back. The bytes alone decide: what is
// overwritten is really lost, and found by its checksum. What was read from them is kept beside them until
// they change, so that a checksum is worked out once and not for every row that is looked up.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace rovk::unit::things {

// What an EEPROM is laid out with.
struct PartitionPlan {
  uint16_t id;  // ROVK_EPT_PARTITION_TYPE_*
  bool tagged;
  uint32_t size;
};
struct TagPlan {
  uint16_t partition_id;
  uint16_t id;
  std::string data;
};

// Why an access fails, by the name that the protocol has for it.
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
  // Throws EepromError when the layout or a tag does not fit.
  EepromMemory(uint32_t size, std::vector<PartitionPlan> layout, std::span<const TagPlan> tags);

  std::span<const uint8_t> bytes() const { return bytes_; }
  // Takes the bytes of an image; what it leaves out is erased. False: it is longer than the memory.
  bool restore(std::span<const uint8_t> image);

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

 private:
  // What a tagged partition's header and directory say.
  struct Tag {
    TagHeader header;
    bool valid_header;
    std::optional<bool> valid_data;  // empty: not looked at since it has changed
  };
  struct Directory {
    bool valid_header;
    std::vector<Tag> tags;
  };

  void write_table();
  // The rows of a valid table. Empty: there is none.
  const std::optional<std::vector<PartitionRow>>& table() const;
  Directory& directory(const PartitionRow& partition) const;
  void changed(const PartitionRow& partition, uint32_t offset, std::size_t size) const;
  uint16_t used_tags(const PartitionRow& partition) const;
  void write_header(const PartitionRow& partition, uint16_t used_tags);
  void write_tag_header(const PartitionRow& partition, uint16_t number, const TagHeader& header);
  std::optional<std::pair<uint16_t, TagHeader>> search(const PartitionRow& partition, uint16_t id) const;
  uint32_t free_end(const PartitionRow& partition) const;

  std::vector<PartitionPlan> layout_;
  std::vector<uint8_t> bytes_;
  // Read from the bytes when it is asked for, and dropped when they change.
  mutable bool table_read_ = false;
  mutable std::optional<std::vector<PartitionRow>> table_;
  mutable std::map<uint32_t, Directory> directories_;  // by offset of the partition
};

}  // namespace rovk::unit::things
