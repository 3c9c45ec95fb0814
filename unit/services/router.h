// The router: it knows the ways to the peripherals, who hears whose events, and who holds which
// peripheral for itself.
#pragma once

#include <map>
#include <span>
#include <vector>

#include "unit/services/view.h"

namespace rovk::unit {

class Router : public View {
 public:
  // `peripherals` are the addresses of the unit's own peripherals, the router's included.
  Router(const Setup& setup, const std::vector<uint16_t>& peripherals);

  // Forgets routes that were added and enables all transports. Registrations and reservations belong
  // to the applications and stay.
  void reset() override;

  // The applications that hear the events of the peripheral, in their order.
  std::span<const uint16_t> hearers(uint16_t peripheral) const;
  // The application that holds the peripheral, 0 for none.
  uint16_t holder(uint16_t peripheral) const;
  // Whether there is a way to the address, be it to a peripheral that is not fitted.
  bool leads_to(uint16_t peripheral) const;
  // Releases all that an application holds.
  void forget(uint16_t application);

 private:
  struct Route {
    uint16_t peripheral;
    uint16_t through;
  };

  void get_route(Call& call) const;
  void add_route(const Call& call);
  void register_event(const Call& call);
  void unregister_event(const Call& call);
  void reserve(const Call& call);
  void release(const Call& call);
  void enable_transport(const Call& call);
  uint16_t known_peripheral(const Call& call) const;

  const std::size_t own_routes_;
  std::vector<Route> routes_;
  std::map<uint16_t, std::vector<uint16_t>> hearers_;  // by peripheral
  std::map<uint16_t, uint16_t> holders_;               // by peripheral
  // What enable_transport was told last. The way to the simulated unit is none of these transports, so
  // nothing is cut by it.
  std::vector<bool> transports_;
};

}  // namespace rovk::unit
