#include "unit/coverage.h"

#include <functional>
#include <span>

namespace rovk::unit {
namespace {

std::size_t place_of(const catalogue::Service& service) {
  return static_cast<std::size_t>(&service - catalogue::services().data());
}

// The rows of a service are made when it is first heard of: most scripts speak with a few.
template <typename Row>
void count(std::vector<uint32_t>& counts, std::span<const Row> rows, const Row& row) {
  if (counts.empty()) counts.resize(rows.size());
  ++counts[static_cast<std::size_t>(&row - rows.data())];
}

// Whether the row is one of these, not one of the common service's.
template <typename Row>
bool is_among(std::span<const Row> rows, const Row& row) {
  return !rows.empty() && !std::less<>()(&row, &rows.front()) && !std::less<>()(&rows.back(), &row);
}

std::string line(const char* kind, const catalogue::Service& service, const char* name, uint32_t times) {
  return std::string(kind) + " " + service.name + " " + name + " " + std::to_string(times) + "\n";
}

template <typename Row>
std::string lines_of(const char* kind, const catalogue::Service& service, std::span<const Row> rows,
                     const std::vector<uint32_t>& counts) {
  std::string all;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    all += line(kind, service, rows[row].name, counts.empty() ? 0 : counts[row]);
  }
  return all;
}

}  // namespace

Coverage::Coverage() : commands_(catalogue::services().size()), events_(catalogue::services().size()) {}

void Coverage::command(const catalogue::Service& service, const catalogue::Command& row) {
  count(commands_[place_of(service)], service.commands, row);
}

void Coverage::event(const catalogue::Service& service, const catalogue::Event& row) {
  const catalogue::Service& home = is_among(service.events, row) ? service : catalogue::common();
  count(events_[place_of(home)], home.events, row);
}

void Coverage::error(const catalogue::Service& service, uint16_t id) {
  const bool own = catalogue::find_error(service, id) != nullptr;
  ++errors_[{own ? &service : &catalogue::common(), id}];
}

std::string Coverage::lines() const {
  std::string all;
  for (const catalogue::Service& service : catalogue::services()) {
    all += lines_of("command", service, service.commands, commands_[place_of(service)]);
    all += lines_of("event", service, service.events, events_[place_of(service)]);
    for (const catalogue::Error& row : service.errors) {
      const auto found = errors_.find({&service, row.id});
      all += line("error", service, row.name, found == errors_.end() ? 0 : found->second);
    }
  }
  return all;
}

}  // namespace rovk::unit
