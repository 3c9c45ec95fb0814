#include "transport/shared_unit.h"

#include <map>
#include <string>

#include "transport/connection.h"
#include "unit/profiles/reader.h"

namespace rovk::transport {
namespace {

struct Named {
  std::weak_ptr<SharedUnit> unit;
  unit::Options options;
  Options given;
};

// Never destroyed: a context may still be open while the process ends.
struct Names {
  std::mutex mutex;
  std::map<std::string, Named> units;
};

Names& names() {
  static Names* const instance = new Names;
  return *instance;
}

// What is left out is as `otherwise` has it.
unit::Options unit_options(const Options& given, const unit::Options& otherwise) {
  return {given.virtual_clock.value_or(otherwise.virtual_clock), given.latency.value_or(otherwise.latency),
          given.processing.value_or(otherwise.processing)};
}

unit::Options unit_options(const Options& given) {
  const bool is_virtual = given.virtual_clock.value_or(false);
  // Without it a script that asks again and again until something has changed would ask for ever.
  const std::chrono::milliseconds processing(is_virtual ? 1 : 0);
  return unit_options(given, {.virtual_clock = is_virtual, .processing = processing});
}

unit::UnitDescription description_of(const Options& options) {
  unit::UnitDescription description = options.file.empty()
                                          ? unit::profile(options.profile.empty() ? "everything" : options.profile)
                                          : unit::read_unit(options.file);
  if (options.shuffled.value_or(false)) unit::shuffle_addresses(description, options.seed.value_or(1));
  if (options.seed) description.plan.seed = *options.seed;
  return description;
}

bool is_plain(const Options& options) {
  return options.file.empty() && options.profile.empty() && !options.shuffled.value_or(false);
}

// Whether the second is asked for the same unit as the first was made from; what is left out agrees.
bool agree(const Options& first, const Options& second) {
  return (second.profile.empty() || second.profile == first.profile) &&
         (second.file.empty() || second.file == first.file) &&
         (!second.shuffled || second.shuffled == first.shuffled) && (!second.seed || second.seed == first.seed) &&
         (second.state.empty() || second.state == first.state);
}

}  // namespace

SharedUnit::SharedUnit(const Options& options)
    : unit(unit_options(options), is_plain(options) ? unit::everything() : description_of(options)) {
  if (!options.state.empty()) unit.keep_state(options.state);
}

// A due time concerns all; else only those are looked at to whom something has come, however many there are. On a
// virtual clock it is time itself that may have moved.
void SharedUnit::arm_watched(rovk_transport* own) {
  const auto next = unit.clock().is_virtual() ? unit.clock().now() : unit.next_due();
  const std::vector<uint16_t> reached = unit.take_reached();
  if (next != armed_until) {
    armed_until = next;
    for (const auto& [application, connection] : watched) connection->arm();
    return;
  }
  for (const uint16_t application : reached) {
    if (const auto found = watched.find(application); found != watched.end()) found->second->arm();
  }
  if (own && own->watched()) own->arm();
}

std::shared_ptr<SharedUnit> acquire_unit(const Options& options) {
  if (options.unit.empty()) return std::make_shared<SharedUnit>(options);
  const std::lock_guard lock(names().mutex);
  std::erase_if(names().units, [](const auto& entry) { return entry.second.unit.expired(); });
  const auto found = names().units.find(options.unit);
  if (found != names().units.end()) {
    const Named& named = found->second;
    if (auto unit = named.unit.lock()) {
      const bool same = unit_options(options, named.options) == named.options && agree(named.given, options);
      return same ? unit : nullptr;
    }
  }
  auto unit = std::make_shared<SharedUnit>(options);
  names().units[options.unit] = {unit, unit_options(options), options};
  return unit;
}

}  // namespace rovk::transport
