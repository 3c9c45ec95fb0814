#include "unit/things/eeprom.h"

#include <algorithm>
#include <utility>

namespace rovk::unit::things {

Eeprom::Eeprom(Timeline& timeline, const EepromBuild& build, std::function<EepromMemory()> make)
    : build_(build), timeline_(timeline), make_(std::move(make)), format_(timeline) {}

EepromMemory& Eeprom::memory() {
  if (!memory_) memory_.emplace(make_());
  return *memory_;
}

void Eeprom::finish_format(int64_t ms, std::function<void()> finish) {
  format_.set(timeline_.now() + ms * 1ms, std::move(finish));
}

void Eeprom::format(const PartitionRow& partition, std::function<void()> done) {
  memory().erase(partition);
  finish_format(build_.partition_format_ms, [this, partition, done = std::move(done)] {
    memory().format(partition);
    done();
  });
}

void Eeprom::format_all(std::function<void()> done) {
  memory().erase_all();
  finish_format(build_.format_ms, [this, done = std::move(done)] {
    memory().format_all();
    done();
  });
}

bool Eeprom::locked_for(unsigned partition, uint16_t who) const {
  const auto lock = locks_.find(partition);
  return lock != locks_.end() && lock->second.holder != who;
}

bool Eeprom::any_locked_for(uint16_t who) const {
  return std::any_of(locks_.begin(), locks_.end(), [who](const auto& lock) { return lock.second.holder != who; });
}

void Eeprom::lock(unsigned partition, uint16_t holder, Time timeout) {
  Lock& made = locks_.try_emplace(partition, holder, timeline_).first->second;
  made.holder = holder;
  made.timer.set(timeline_.now() + timeout, [this, partition] {
    locks_.erase(partition);
    lock_timed_out.tell(partition);
  });
}

void Eeprom::reset() {
  locks_.clear();
  format_.stop();
}

}  // namespace rovk::unit::things
