// All peripherals of a unit: made by its description, each with its view, and found by address or by service.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "unit/peripheral.h"
#include "unit/services/router.h"

namespace rovk::unit {

class Peripherals {
 public:
  // Makes them on things that are there already. Throws DescriptionError. They refer to all that is given.
  void fit(const UnitDescription& unit, const things::Body& body, Host& host, Answers& answers);

  // Null: nobody stands there.
  Peripheral* find(uint16_t address) const {
    const auto found = by_address_.find(address);
    return found == by_address_.end() ? nullptr : found->second;
  }
  View* find(std::string_view service) const;
  const catalogue::Service* service_at(uint16_t address) const;

  Router& router() const { return *router_; }
  // By address.
  const std::vector<std::unique_ptr<Peripheral>>& all() const { return all_; }

 private:
  std::vector<std::unique_ptr<Peripheral>> all_;
  std::unordered_map<uint16_t, Peripheral*> by_address_;  // with their aliases
  Router* router_ = nullptr;
};

}  // namespace rovk::unit
