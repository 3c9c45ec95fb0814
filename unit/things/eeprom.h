// The EEPROM of a board. The bytes and their layout of partitions and tags stand in EepromMemory; here is
// what happens to it over time, and what it starts with.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "unit/things/eeprom_memory.h"
#include "unit/things/timeline.h"
#include "unit/things/watchers.h"

namespace rovk::unit::things {

struct EepromBuild {
  using Partition = PartitionPlan;
  using Tag = TagPlan;
  uint32_t size = 16'384;
  // Empty: the factory's layout for a processor board or an imager board, by the board's location.
  std::vector<PartitionPlan> partitions = {};
  std::vector<TagPlan> tags = {};         // in place of the factory's
  std::optional<std::string> image = {};  // path of a file with the bytes, in place of all that
  int64_t partition_format_ms = 100;
  int64_t format_ms = 500;
};

class Eeprom {
 public:
  // Most who open a unit never look into its EEPROMs: `make` gives the bytes when somebody does.
  Eeprom(Timeline& timeline, const EepromBuild& build, std::function<EepromMemory()> make);

  EepromMemory& memory();
  // Whether somebody has looked, so that the bytes may be others than at the start.
  bool touched() const { return memory_.has_value(); }

  // First everything is erased; at the end the headers are written, then `done` is called. One at a time.
  void format(const PartitionRow& partition, std::function<void()> done);
  void format_all(std::function<void()> done);
  bool formatting() const { return format_.running(); }

  // Who may change a partition: everybody, or, while it is locked, its holder alone. Holders are numbers
  // that the caller gives out. Locking again makes the time start anew.
  bool locked(unsigned partition) const { return locks_.contains(partition); }
  bool locked_for(unsigned partition, uint16_t who) const;
  bool any_locked_for(uint16_t who) const;
  void lock(unsigned partition, uint16_t holder, Time timeout);
  void unlock(unsigned partition) { locks_.erase(partition); }

  // Locks and a format that is under way end; the bytes stay as they are.
  void reset();

  Watchers<unsigned> lock_timed_out;

 private:
  struct Lock {
    Lock(uint16_t given, Timeline& timeline) : holder(given), timer(timeline) {}
    uint16_t holder;
    Timer timer;
  };
  void finish_format(int64_t ms, std::function<void()> finish);

  const EepromBuild build_;
  Timeline& timeline_;
  std::function<EepromMemory()> make_;
  std::optional<EepromMemory> memory_;
  std::map<unsigned, Lock> locks_;  // by partition
  Timer format_;
};

}  // namespace rovk::unit::things
