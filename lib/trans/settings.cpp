#include "trans/settings.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace rovk::trans {
namespace {

// In nanoseconds. Empty: no number from 1 to the largest of 32 bits.
std::optional<uint64_t> parse_milliseconds(std::string_view text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number == 0) return std::nullopt;
  return uint64_t{number} * 1'000'000;
}

}  // namespace

std::optional<Settings> parse_settings(const char* text, const char*& wrong) {
  Settings settings;
  std::string_view rest = text ? text : "";
  const auto mark = rest.find('?');
  settings.way = rest.substr(0, mark);
  if (mark == std::string_view::npos) return settings;
  if (settings.way.empty()) {
    wrong = "options without a way in front; there is sim, as in sim?clock=virtual";
    return std::nullopt;
  }
  rest.remove_prefix(mark + 1);
  constexpr std::string_view own = "timeout_ms";
  bool given = false;
  char glue = '?';
  for (;;) {
    const std::string_view option = rest.substr(0, rest.find('&'));
    const auto equals = std::min(option.find('='), option.size());
    if (option.substr(0, equals) == own) {
      const std::string_view value = option.substr(std::min(equals + 1, option.size()));
      const auto limit = parse_milliseconds(value);
      if (given || !limit) {
        wrong = given ? "option 'timeout_ms' stands twice; give it once"
                      : "timeout_ms cannot be that; it is a whole number from 1 to 4294967295";
        return std::nullopt;
      }
      settings.limit_ns = *limit;
      given = true;
    } else {
      settings.way += glue;
      settings.way += option;
      glue = '&';
    }
    if (option.size() == rest.size()) return settings;
    rest.remove_prefix(option.size() + 1);
  }
}

}  // namespace rovk::trans
