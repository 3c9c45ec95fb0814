// Reads unit files: what a unit is made of, as TOML. All that is wrong with one is told in a line with
// its file and line, by a DescriptionError.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "unit/profiles/description.h"

namespace rovk::unit {

UnitDescription read_unit(const std::string& path);
// The same from a text; `file` is its name in what is told of it, and the folder from which others are found.
UnitDescription read_unit_text(std::string_view text, const std::string& file);
// The rules of a text that has nothing else, as in [[fault]] tables.
PlanDescription read_plan(std::string_view text, const std::string& file);

// A shipped unit.
UnitDescription profile(const std::string& name);
std::vector<std::string> profile_names();

// Gives every peripheral an address that nobody could have guessed, the same for the same seed. The router
// and the self-check service keep theirs.
void shuffle_addresses(UnitDescription& unit, uint64_t seed);

}  // namespace rovk::unit
