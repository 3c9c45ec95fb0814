#include "unit/coverage.h"

namespace rovk::unit {
namespace {

template <typename Counts>
uint32_t count(const Counts& counts, const catalogue::Service& service, uint16_t id) {
  const auto found = counts.find({&service, id});
  return found == counts.end() ? 0 : found->second;
}

std::string line(const char* kind, const catalogue::Service& service, const char* name, uint32_t times) {
  return std::string(kind) + " " + service.name + " " + name + " " + std::to_string(times) + "\n";
}

}  // namespace

// The rows of a service are made when it is first heard of: most scripts speak with a few.
Coverage::Coverage() : commands_(catalogue::services().size()) {}

void Coverage::command(const catalogue::Service& service, const catalogue::Command& row) {
  auto& counts = commands_[static_cast<std::size_t>(&service - catalogue::services().data())];
  if (counts.empty()) counts.resize(service.commands.size());
  ++counts[static_cast<std::size_t>(&row - service.commands.data())];
}

void Coverage::event(const catalogue::Service& service, uint8_t id) {
  const bool own = catalogue::find_event(service, id) != nullptr;
  ++events_[{own ? &service : &catalogue::common(), id}];
}

void Coverage::error(const catalogue::Service& service, uint16_t id) {
  const bool own = catalogue::find_error(service, id) != nullptr;
  ++errors_[{own ? &service : &catalogue::common(), id}];
}

std::string Coverage::lines() const {
  std::string all;
  std::size_t place = 0;
  for (const catalogue::Service& service : catalogue::services()) {
    const std::vector<uint32_t>& counts = commands_[place++];
    for (std::size_t row = 0; row < service.commands.size(); ++row) {
      all += line("command", service, service.commands[row].name, counts.empty() ? 0 : counts[row]);
    }
    for (const catalogue::Event& row : service.events)
      all += line("event", service, row.name, count(events_, service, row.id));
    for (const catalogue::Error& row : service.errors)
      all += line("error", service, row.name, count(errors_, service, row.id));
  }
  return all;
}

}  // namespace rovk::unit
