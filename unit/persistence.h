// What outlasts a run of the unit: settings and EEPROMs are kept as commands change them, and are there again when
// the unit goes on; files stay in folders beside. keeper.h knows the file that they are kept in.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "unit/keeper.h"
#include "unit/peripherals.h"

namespace rovk::unit {

namespace things {
class Eeprom;
}

class Persistence {
 public:
  // Nothing is kept until begin().
  Persistence(const things::Body& body, const Peripherals& peripherals) : body_(body), peripherals_(peripherals) {}

  // Goes on from what the file at `path` has kept. Throws DescriptionError.
  void begin(const std::string& path, const UnitDescription& unit);
  bool has_begun() const { return keeper_ != nullptr; }

  // Carries out a command that is done when its handler returns, and keeps what it has changed. Throws Refusal.
  void run(Peripheral& peripheral, Call& call, const uint8_t* payload);
  // Puts EEPROMs that the peripheral's command has changed on the disk. Without room there they get back what they
  // had, and it throws a Refusal.
  void keep_memories(const Peripheral& peripheral);
  // What a reset takes back is forgotten.
  void forget(const Peripheral& peripheral);
  void forget_all();

 private:
  std::map<uint8_t, things::Eeprom*> eeproms() const;
  void restore(const Keeper::Setting& setting);

  const things::Body& body_;
  const Peripherals& peripherals_;
  std::unique_ptr<Keeper> keeper_;                    // null: nothing is kept
  std::map<uint8_t, std::vector<uint8_t>> memories_;  // as they are on the disk
};

}  // namespace rovk::unit
