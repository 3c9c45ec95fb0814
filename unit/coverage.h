// What applications have tried of the protocol: how often each command was heard, each event sent and each
// error answered.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/catalogue.h"

namespace rovk::unit {

class Coverage {
 public:
  Coverage();

  void command(const catalogue::Service& service, const catalogue::Command& row);
  // `service`: of the peripheral that tells.
  void event(const catalogue::Service& service, const catalogue::Event& row);
  void error(const catalogue::Service& service, uint16_t id);

  // A line for each of the catalogue: "command led_0001 set_state 12".
  std::string lines() const;

 private:
  using Counts = std::vector<std::vector<uint32_t>>;  // by service and row
  Counts commands_;
  Counts events_;
  std::map<std::pair<const catalogue::Service*, uint16_t>, uint32_t> errors_;
};

}  // namespace rovk::unit
