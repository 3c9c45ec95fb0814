#include "transport/options.h"

#include <charconv>
#include <cstdint>
#include <string_view>

namespace rovk::transport {
namespace {

std::optional<uint32_t> parse_number(std::string_view text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// False: unknown, malformed or set before.
bool set_option(Options& options, std::string_view key, std::string_view value) {
  if (key == "clock") {
    if (options.virtual_clock || (value != "real" && value != "virtual")) return false;
    options.virtual_clock = value == "virtual";
    return true;
  }
  if (key == "latency_ms" || key == "processing_ms") {
    auto& option = key == "latency_ms" ? options.latency : options.processing;
    const auto number = parse_number(value);
    if (option || !number) return false;
    option = std::chrono::milliseconds(*number);
    return true;
  }
  if (key == "unit") {
    if (!options.unit.empty() || value.empty()) return false;
    options.unit = value;
    return true;
  }
  return false;
}

}  // namespace

std::optional<Options> parse_options(const char* text) {
  Options options;
  std::string_view rest = text ? text : "";
  if (rest.empty() || rest == "sim") return options;
  constexpr std::string_view way = "sim?";
  if (!rest.starts_with(way)) return std::nullopt;
  rest.remove_prefix(way.size());
  for (;;) {
    const std::string_view option = rest.substr(0, rest.find('&'));
    const auto equals = option.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    if (!set_option(options, option.substr(0, equals), option.substr(equals + 1))) return std::nullopt;
    if (option.size() == rest.size()) return options;
    rest.remove_prefix(option.size() + 1);
  }
}

}  // namespace rovk::transport
