#include "transport/options.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "transport/reason.h"

namespace rovk::transport {
namespace {

std::optional<uint32_t> parse_number(std::string_view text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

bool set_clock(Options& options, std::string_view value) {
  if (value != "real" && value != "virtual") return false;
  options.virtual_clock = value == "virtual";
  return true;
}

bool set_time(std::optional<std::chrono::nanoseconds>& time, std::string_view value) {
  const auto number = parse_number(value);
  if (number) time = std::chrono::milliseconds(*number);
  return number.has_value();
}

bool set_latency(Options& options, std::string_view value) { return set_time(options.latency, value); }

bool set_processing(Options& options, std::string_view value) { return set_time(options.processing, value); }

bool set_unit(Options& options, std::string_view value) {
  options.unit = value;
  return !value.empty();
}

struct Option {
  std::string_view key;
  std::string_view form;     // as a list of the options shows it
  std::string_view allowed;  // what a value is
  bool (*given)(const Options&);
  bool (*set)(Options&, std::string_view value);  // false: not one of the values allowed
};

constexpr Option known[] = {
    {"clock", "clock=real|virtual", "real or virtual",
     [](const Options& options) { return options.virtual_clock.has_value(); }, set_clock},
    {"latency_ms", "latency_ms=N", "a whole number from 0 to 4294967295",
     [](const Options& options) { return options.latency.has_value(); }, set_latency},
    {"processing_ms", "processing_ms=N", "a whole number from 0 to 4294967295",
     [](const Options& options) { return options.processing.has_value(); }, set_processing},
    {"unit", "unit=NAME", "a name of one letter or more", [](const Options& options) { return !options.unit.empty(); },
     set_unit},
};

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// librovktrans's own option is listed as well: for who writes the text there is one list.
std::string unknown_option(std::string_view key) {
  std::string text = "no option " + quoted(key) + "; there are ";
  for (const Option& option : known) text += std::string(option.form) + ", ";
  return text + "timeout_ms=N";
}

// Empty: done. Otherwise what is wrong with "key=value".
std::string set_option(Options& options, std::string_view text) {
  const auto equals = text.find('=');
  const std::string_view key = text.substr(0, equals);
  const auto row =
      std::find_if(std::begin(known), std::end(known), [key](const Option& one) { return one.key == key; });
  if (row == std::end(known)) return unknown_option(key);
  if (row->given(options)) return "option " + quoted(key) + " stands twice; give it once";
  const std::string_view value = equals == std::string_view::npos ? std::string_view() : text.substr(equals + 1);
  if (row->set(options, value)) return {};
  return std::string(key) + " cannot be " + quoted(value) + "; it is " + std::string(row->allowed);
}

}  // namespace

std::optional<Options> parse_options(const char* text) {
  Options options;
  std::string_view rest = text ? text : "";
  const std::string_view way = rest.substr(0, rest.find('?'));
  if (!rest.empty() && way != "sim") {
    fail(-EINVAL, "no way to a unit called " + quoted(way) + "; there is sim, as in sim?clock=virtual");
    return std::nullopt;
  }
  if (rest.size() == way.size()) return options;
  rest.remove_prefix(way.size() + 1);
  for (;;) {
    const std::string_view option = rest.substr(0, rest.find('&'));
    const std::string wrong = set_option(options, option);
    if (!wrong.empty()) {
      fail(-EINVAL, wrong);
      return std::nullopt;
    }
    if (option.size() == rest.size()) return options;
    rest.remove_prefix(option.size() + 1);
  }
}

}  // namespace rovk::transport
