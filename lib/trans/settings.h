// The options of a context that are the transactions' own. They stand among the transport's in one
// text; they are taken out here, and the transport gets the rest and judges it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace rovk::trans {

struct Settings {
  std::string way;                   // what is left for the transport
  uint64_t limit_ns = 2000'000'000;  // "timeout_ms", from 1 up: time for a command's answer
};

// Empty: an own option is malformed or given twice; `wrong` then tells what and how it should be.
std::optional<Settings> parse_settings(const char* text, const char*& wrong);

}  // namespace rovk::trans
