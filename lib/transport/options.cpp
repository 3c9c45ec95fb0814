#include "transport/options.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "transport/reason.h"
#include "unit/profiles/reader.h"

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

bool set_profile(Options& options, std::string_view value) {
  const std::vector<std::string> names = unit::profile_names();
  options.profile = value;
  return std::find(names.begin(), names.end(), value) != names.end();
}

bool set_file(Options& options, std::string_view value) {
  options.file = value;
  return !value.empty();
}

bool set_addresses(Options& options, std::string_view value) {
  if (value != "described" && value != "shuffled") return false;
  options.shuffled = value == "shuffled";
  return true;
}

bool set_seed(Options& options, std::string_view value) {
  options.seed = parse_number(value);
  return options.seed.has_value();
}

bool set_state(Options& options, std::string_view value) {
  options.state = value;
  return !value.empty();
}

struct Option {
  const char* key;
  const char* form;     // as a list of the options shows it
  const char* allowed;  // what a value is
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
    {"profile", "profile=NAME", "everything, four_imagers, newer, older or thermal",
     [](const Options& options) { return !options.profile.empty(); }, set_profile},
    {"file", "file=PATH", "the path of a unit file", [](const Options& options) { return !options.file.empty(); },
     set_file},
    {"addresses", "addresses=described|shuffled", "described or shuffled",
     [](const Options& options) { return options.shuffled.has_value(); }, set_addresses},
    {"seed", "seed=N", "a whole number from 0 to 4294967295",
     [](const Options& options) { return options.seed.has_value(); }, set_seed},
    {"state", "state=PATH", "the path of a file, which is made when it is not there",
     [](const Options& options) { return !options.state.empty(); }, set_state},
};

int length(std::string_view text) { return static_cast<int>(text.size()); }

// librovktrans's own option is listed as well: for who writes the text there is one list.
void explain_unknown(std::string_view key) {
  fail(-EINVAL, "no option '%.*s'; there are ", length(key), key.data());
  for (const Option& option : known) add_reason("%s, ", option.form);
  add_reason("timeout_ms=N");
}

// False: "key=value" is none; the reason is kept.
bool set_option(Options& options, std::string_view text) {
  const std::string_view key = text.substr(0, text.find('='));
  const std::string_view value = text.substr(std::min(key.size() + 1, text.size()));
  const auto row =
      std::find_if(std::begin(known), std::end(known), [key](const Option& option) { return option.key == key; });
  if (row == std::end(known)) {
    explain_unknown(key);
  } else if (row->given(options)) {
    fail(-EINVAL, "option '%s' stands twice; give it once", row->key);
  } else if (row->set(options, value)) {
    return true;
  } else {
    fail(-EINVAL, "%s cannot be '%.*s'; it is %s", row->key, length(value), value.data(), row->allowed);
  }
  return false;
}

}  // namespace

std::optional<Options> parse_options(const char* text) {
  Options options;
  std::string_view rest = text ? text : "";
  const std::size_t way = rest.find('?');
  if (way == std::string_view::npos) return options;
  rest.remove_prefix(way + 1);
  for (;;) {
    const std::string_view option = rest.substr(0, rest.find('&'));
    if (!set_option(options, option)) return std::nullopt;
    if (option.size() == rest.size()) break;
    rest.remove_prefix(option.size() + 1);
  }
  if (!options.profile.empty() && !options.file.empty()) {
    fail(-EINVAL, "profile and file both say what the unit is; give one of them");
    return std::nullopt;
  }
  return options;
}

}  // namespace rovk::transport
