#include "unit/services/router.h"

#include <rovk/constants.h>

#include <algorithm>

namespace rovk::unit {
namespace {

constexpr std::size_t most_routes = 256;
constexpr std::size_t transport_count = ROVK_ROUTER_TRANSPORT_POSIX_MESSAGE_QUEUE + 1;

}  // namespace

Router::Router(const Setup& setup, const std::vector<uint16_t>& peripherals)
    : View(setup, {}), own_routes_(peripherals.size()), transports_(transport_count, true) {
  for (const uint16_t peripheral : peripherals) routes_.push_back({peripheral, ROVK_ROUTER_PERIPHERAL_ADDRESS});

  on("get_count", [this](Call& call) { call.set("count", static_cast<int64_t>(routes_.size())); });
  on("get_route", [this](Call& call) { get_route(call); });
  on("add_route", [this](Call& call) { add_route(call); });
  on("register_event", [this](Call& call) { register_event(call); });
  on("unregister_event", [this](Call& call) { unregister_event(call); });
  on("reserve", [this](Call& call) { reserve(call); });
  on("release", [this](Call& call) { release(call); });
  on("enable_transport", [this](Call& call) { enable_transport(call); });
  // The unit listens on TCP already, as far as anyone can tell from here.
  on("tcp", [](Call&) {});
}

void Router::reset() {
  View::reset();
  routes_.resize(own_routes_);
  transports_.assign(transport_count, true);
}

std::span<const uint16_t> Router::hearers(uint16_t peripheral) const {
  const auto found = hearers_.find(peripheral);
  if (found == hearers_.end()) return {};
  return found->second;
}

uint16_t Router::holder(uint16_t peripheral) const {
  const auto found = holders_.find(peripheral);
  return found == holders_.end() ? uint16_t{0} : found->second;
}

bool Router::leads_to(uint16_t peripheral) const {
  return std::any_of(routes_.begin(), routes_.end(),
                     [=](const Route& route) { return route.peripheral == peripheral; });
}

void Router::forget(uint16_t application) {
  for (auto& [peripheral, hearers] : hearers_) std::erase(hearers, application);
  std::erase_if(holders_, [=](const auto& hold) { return hold.second == application; });
}

void Router::get_route(Call& call) const {
  const auto index = static_cast<std::size_t>(call.number("index"));
  if (index >= routes_.size()) call.refuse_input("index");
  call.set("peripheral_address", routes_[index].peripheral);
  call.set("routing_peripheral_address", routes_[index].through);
}

// A peripheral has one route, and it leads through one that can be reached.
void Router::add_route(const Call& call) {
  const auto peripheral = static_cast<uint16_t>(call.number("peripheral_address"));
  const auto through = static_cast<uint16_t>(call.number("routing_peripheral_address"));
  if (leads_to(peripheral)) call.refuse_input("peripheral_address");
  if (!leads_to(through)) call.refuse_input("routing_peripheral_address");
  if (routes_.size() >= most_routes) call.refuse("no_resources");
  routes_.push_back({peripheral, through});
}

// Registering twice is registering once.
void Router::register_event(const Call& call) {
  std::vector<uint16_t>& hearers = hearers_[known_peripheral(call)];
  const auto place = std::lower_bound(hearers.begin(), hearers.end(), call.application());
  if (place == hearers.end() || *place != call.application()) hearers.insert(place, call.application());
}

void Router::unregister_event(const Call& call) {
  const auto found = hearers_.find(known_peripheral(call));
  if (found != hearers_.end()) std::erase(found->second, call.application());
}

// Taking twice is taking once; the router itself serves everybody and cannot be taken.
void Router::reserve(const Call& call) {
  const uint16_t peripheral = known_peripheral(call);
  if (peripheral == ROVK_ROUTER_PERIPHERAL_ADDRESS) call.refuse_input("peripheral_address");
  const auto [held, fresh] = holders_.try_emplace(peripheral, call.application());
  if (!fresh && held->second != call.application()) call.refuse("reservation_exists", {held->second});
}

// Giving back what one does not hold is harmless, giving back another's is refused.
void Router::release(const Call& call) {
  const uint16_t peripheral = known_peripheral(call);
  const uint16_t held_by = holder(peripheral);
  if (held_by != 0 && held_by != call.application()) call.refuse("reservation_exists", {held_by});
  holders_.erase(peripheral);
}

void Router::enable_transport(const Call& call) {
  const int64_t enabled = call.within("enabled", 0, 1);
  const int64_t transport = call.within("transport", 0, static_cast<int64_t>(transport_count) - 1);
  transports_[static_cast<std::size_t>(transport)] = enabled != 0;
}

uint16_t Router::known_peripheral(const Call& call) const {
  const auto peripheral = static_cast<uint16_t>(call.number("peripheral_address"));
  if (!leads_to(peripheral)) call.refuse("unknown_peripheral");
  return peripheral;
}

}  // namespace rovk::unit
