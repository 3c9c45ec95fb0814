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
  void event(const catalogue::Service& service, uint8_t id);
  void error(const catalogue::Service& service, uint16_t id);

  // A line for each of the catalogue: "command led_0001 set_state 12".
  std::string lines() const;

 private:
  std::vector<std::vector<uint32_t>> commands_;  // by service and row
  std::map<std::pair<const catalogue::Service*, uint16_t>, uint32_t> events_;
  std::map<std::pair<const catalogue::Service*, uint16_t>, uint32_t> errors_;
};

}  // namespace rovk::unit
