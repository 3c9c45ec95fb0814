// Services that are nothing but values kept, and which of them are meant to be so.
#include <algorithm>
#include <iterator>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// Present on a unit, but without commands of their own.
constexpr std::string_view without_commands[] = {"eeprom_0003", "angular_actuator_000e"};

}  // namespace

bool is_plain(std::string_view service) {
  return std::find(std::begin(without_commands), std::end(without_commands), service) != std::end(without_commands);
}

std::unique_ptr<View> make_plain(const Setup& setup) {
  return std::make_unique<View>(setup, std::span<const Register>{});
}

}  // namespace rovk::unit
