#include "transport/shared_unit.h"

#include <map>
#include <string>

#include "transport/connection.h"

namespace rovk::transport {
namespace {

struct Named {
  std::weak_ptr<SharedUnit> unit;
  bool virtual_clock;
  std::chrono::milliseconds latency;
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

std::chrono::milliseconds latency_of(const Options& options) {
  return options.latency.value_or(std::chrono::milliseconds(0));
}

}  // namespace

SharedUnit::SharedUnit(const Options& options)
    : unit(unit::Options{options.virtual_clock.value_or(false), latency_of(options)}) {}

void SharedUnit::changed() {
  for (rovk_transport* connection : connections) connection->arm();
  woken.notify_all();
}

std::shared_ptr<SharedUnit> acquire_unit(const Options& options) {
  if (options.unit.empty()) return std::make_shared<SharedUnit>(options);
  const std::lock_guard lock(names().mutex);
  std::erase_if(names().units, [](const auto& entry) { return entry.second.unit.expired(); });
  const auto found = names().units.find(options.unit);
  if (found != names().units.end()) {
    const Named& named = found->second;
    if (auto unit = named.unit.lock()) {
      const bool agrees = options.virtual_clock.value_or(named.virtual_clock) == named.virtual_clock &&
                          options.latency.value_or(named.latency) == named.latency;
      return agrees ? unit : nullptr;
    }
  }
  auto unit = std::make_shared<SharedUnit>(options);
  names().units[options.unit] = {unit, options.virtual_clock.value_or(false), latency_of(options)};
  return unit;
}

}  // namespace rovk::transport
