// The text that names the way to the simulated unit: null, "", "sim", or "sim?" and options joined by '&'.
//   clock=real|virtual  the clock of the unit; real when left out
//   latency_ms=N        time from a command to its answer; 0 when left out
//   processing_ms=N     time that the unit works on a command, by which a command moves a virtual clock;
//                       1 when left out with a virtual clock, else 0
//   unit=NAME           contexts of this process that give the same name share one unit
//   profile=NAME        a shipped unit; everything when left out
//   file=PATH           the unit that a file describes, in place of a shipped one
//   addresses=shuffled  other addresses for all peripherals; described when left out
//   seed=N              which ones, and the seed of the unit file's faults; 1 when left out
//   state=PATH          a file that keeps settings and EEPROMs from one run to the next
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace rovk::transport {

struct Options {
  std::optional<bool> virtual_clock;
  std::optional<std::chrono::nanoseconds> latency;
  std::optional<std::chrono::nanoseconds> processing;
  std::string unit;  // empty: a unit of one's own
  std::string profile;
  std::string file;
  std::optional<bool> shuffled;
  std::optional<uint32_t> seed;
  std::string state;  // empty: nothing is kept
};

// That the way is this one is known. Empty: an unknown option, a malformed value, an option given twice; the
// reason is left in reason.h.
std::optional<Options> parse_options(const char* text);

}  // namespace rovk::transport
