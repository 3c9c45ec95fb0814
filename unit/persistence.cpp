#include "unit/persistence.h"

#include <rovk/constants.h>

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "unit/things/eeprom.h"
#include "unit/things/file_store.h"

namespace rovk::unit {
namespace {

std::string kept_name(const Peripheral& peripheral) {
  const Setup& setup = peripheral.view->setup();
  return Keeper::name_of(setup.board.name(), setup.description);
}

bool is_setting(const Peripheral& peripheral, const catalogue::Command& row) {
  return std::string_view(row.name).starts_with("set_") && !peripheral.view->takes_time(row);
}

Keeper::Setting setting_of(const Peripheral& peripheral, const Call& call, const uint8_t* payload) {
  // Commands that set one of many things: a parameter, a triangle.
  uint32_t place = 0;
  for (const char* picks : {"param", "triangle_index", "index"}) {
    if (call.has(picks)) place = place << 8 | static_cast<uint32_t>(call.number(picks));
  }
  return {kept_name(peripheral), call.command().opcode, {payload, payload + ROVK_MESSAGE_PAYLOAD_SIZE}, place};
}

bool has_memory(const Peripheral& peripheral) {
  return std::string_view(peripheral.view->service().name).starts_with("eeprom_");
}

}  // namespace

void Persistence::begin(const std::string& path, const UnitDescription& unit) {
  auto kept = std::make_unique<Keeper>(path, unit);
  const auto boards = eeproms();
  for (const auto& [location, bytes] : kept->memories()) {
    if (const auto eeprom = boards.find(location); eeprom != boards.end()) eeprom->second->memory().restore(bytes);
  }
  for (const Keeper::Setting& setting : kept->settings()) restore(setting);
  for (unsigned i = 0; i < body_.count<things::FileStore>(); ++i) {
    body_.find<things::FileStore>(i)->keep_in(path + ".files" + (i == 0 ? "" : "." + std::to_string(i)));
  }
  for (const auto& [location, eeprom] : boards) {
    const auto bytes = eeprom->memory().bytes();
    memories_[location].assign(bytes.begin(), bytes.end());
  }
  keeper_ = std::move(kept);
}

void Persistence::restore(const Keeper::Setting& setting) {
  for (const auto& peripheral : peripherals_.all()) {
    const catalogue::Service& service = peripheral->view->service();
    const catalogue::Command* const row = catalogue::find_command(service, setting.opcode);
    if (!row || kept_name(*peripheral) != setting.peripheral) continue;
    std::vector<uint8_t> payload = setting.payload;
    payload.resize(ROVK_MESSAGE_PAYLOAD_SIZE);
    Call call(service, *row, payload, 0);
    try {
      peripheral->view->run(call);
    } catch (const Refusal&) {
      // A limit that has changed since: the device stays as it is made.
    }
  }
}

void Persistence::run(Peripheral& peripheral, Call& call, const uint8_t* payload) {
  const bool kept = is_setting(peripheral, call.command());
  if (kept && !keeper_->prepare(setting_of(peripheral, call, payload))) throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
  try {
    peripheral.view->run(call);
  } catch (const Refusal&) {
    if (kept) keeper_->discard();
    throw;
  }
  // The device has the setting already; who made it learns that it will not last.
  if (kept && !keeper_->commit()) throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
  keep_memories(peripheral);
}

void Persistence::keep_memories(const Peripheral& peripheral) {
  if (!has_memory(peripheral)) return;
  for (const auto& [location, eeprom] : eeproms()) {
    if (!eeprom->touched()) continue;
    things::EepromMemory& memory = eeprom->memory();
    const std::span<const uint8_t> bytes = memory.bytes();
    std::vector<uint8_t>& known = memories_[location];
    if (std::equal(bytes.begin(), bytes.end(), known.begin(), known.end())) continue;
    if (!keeper_->prepare_memory(location, bytes) || !keeper_->commit()) {
      memory.restore(known);
      throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
    }
    known.assign(bytes.begin(), bytes.end());
  }
}

void Persistence::forget(const Peripheral& peripheral) {
  if (keeper_ && keeper_->prepare_forgetting(kept_name(peripheral))) keeper_->commit();
}

void Persistence::forget_all() {
  if (keeper_ && keeper_->prepare_forgetting("")) keeper_->commit();
}

// The first of every board, by the board's location.
std::map<uint8_t, things::Eeprom*> Persistence::eeproms() const {
  std::map<uint8_t, things::Eeprom*> all;
  for (const auto& board : body_.boards()) {
    if (board->count<things::Eeprom>() > 0) all.try_emplace(board->location(), board->find<things::Eeprom>());
  }
  return all;
}

}  // namespace rovk::unit
