// Keeps settings and EEPROMs of a unit in a file, from one run to the next. A setting is the last set_
// command of its kind that a device has taken. What is kept is on the disk before the command is answered,
// and whole: it is written beside the file and takes its place at once, so a crash leaves the old or the new.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "unit/profiles/description.h"

namespace rovk::unit {

class Keeper {
 public:
  struct Setting {
    std::string peripheral;  // "BOARD/NAME"
    uint8_t opcode;
    std::vector<uint8_t> payload;
    uint32_t place;  // of what it sets: the device, and what else its inputs pick beside it
  };

  // Reads what is there. Throws DescriptionError in a line that names the file when that is damaged, of
  // another unit, or in use; it is left as it is then.
  Keeper(std::string path, const UnitDescription& unit);
  ~Keeper();
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;

  static std::string name_of(const std::string& board, const PeripheralDescription& peripheral);

  // In the order in which they were made.
  const std::vector<Setting>& settings() const { return settings_; }
  const std::map<uint8_t, std::vector<uint8_t>>& memories() const { return memories_; }  // by location

  // Each puts the change on the disk, ready to be made: commit() makes it, and nothing that comes before
  // that changes what is kept. False: there is no room for it, or the disk fails.
  bool prepare(const Setting& setting);
  bool prepare_memory(uint8_t location, std::span<const uint8_t> bytes);
  bool prepare_forgetting(const std::string& peripheral);  // "": of all
  bool commit();  // false: the file cannot be replaced, nothing has changed there
  void discard();

 private:
  bool write(std::vector<Setting> settings, std::map<uint8_t, std::vector<uint8_t>> memories);
  void read();
  [[noreturn]] void fail(const std::string& text) const;

  std::string path_;
  std::string beside_;  // what is written before it takes the file's place; gone with the keeper, without memory too
  std::string identity_;
  std::vector<Setting> settings_;
  std::map<uint8_t, std::vector<uint8_t>> memories_;
  std::vector<Setting> next_settings_;
  std::map<uint8_t, std::vector<uint8_t>> next_memories_;
  int file_ = -1;  // the one that is in force, locked
  int next_ = -1;  // the one that is ready
};

}  // namespace rovk::unit
