// Looks at unit files: what is wrong with one, and what it describes.
//   rovk-unit check FILE...   exit code 1 and a line for each file that is no good
//   rovk-unit list            the shipped units
//   rovk-unit show NAME|FILE  the peripherals with their addresses and devices
//   rovk-unit --version
#include <rovk/version.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string_view>

#include "unit/fittings.h"
#include "unit/profiles/reader.h"
#include "unit/unit.h"

namespace {

using rovk::unit::UnitDescription;

UnitDescription find(const std::string& name) {
  const auto names = rovk::unit::profile_names();
  return std::find(names.begin(), names.end(), name) != names.end() ? rovk::unit::profile(name)
                                                                    : rovk::unit::read_unit(name);
}

bool check(const std::string& name) {
  try {
    // Only making it shows whether all is there that is wired to something.
    const rovk::unit::Unit unit({.virtual_clock = true}, find(name));
    std::printf("%s: no fault, %zu boards, %zu peripherals\n", name.c_str(), unit.description().boards.size(),
                rovk::unit::fittings(unit.description()).size());
    return true;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return false;
  }
}

bool show(const std::string& name) {
  if (!check(name)) return false;
  const UnitDescription unit = find(name);
  for (const rovk::unit::Fitting& fitting : rovk::unit::fittings(unit)) {
    std::printf("0x%04x %-30s %-12s devices", fitting.address, fitting.service->name,
                unit.boards[fitting.board].name.c_str());
    for (const uint32_t device : fitting.devices) std::printf(" %u", device);
    std::printf("\n");
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view command = count > 1 ? arguments[1] : "";
  if (command == "list" && count == 2) {
    for (const std::string& name : rovk::unit::profile_names()) std::printf("%s\n", name.c_str());
    return 0;
  }
  if (command == "--version") {
    std::printf("rovk-unit %s\n", ROVK_VERSION);
    return 0;
  }
  if ((command == "check" && count > 2) || (command == "show" && count == 3)) {
    bool good = true;
    for (int i = 2; i < count; ++i) good = (command == "check" ? check(arguments[i]) : show(arguments[i])) && good;
    return good ? 0 : 1;
  }
  std::fprintf(stderr, "usage: rovk-unit check FILE... | list | show NAME|FILE | --version\n");
  return 2;
}
