// The shipped unit files, which the library carries with it so that they are found wherever it lies.
#pragma once

#include <span>
#include <string_view>

namespace rovk::unit {

struct Shipped {
  std::string_view name;
  std::string_view text;
};

std::span<const Shipped> shipped();

}  // namespace rovk::unit
