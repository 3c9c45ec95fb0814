// One truth: whatever can be set is set, each in a unit of its own, and all that can be asked is asked and
// held against a unit that was left alone. What moves has to be what the rows below say, and nothing else.
#include <algorithm>
#include <functional>
#include <set>
#include <sstream>

#include "tests/unit/bench.h"
#include "tests/unit/sweep_rows.h"

namespace rovk::unit {
namespace {

using catalogue::Command;
using catalogue::Field;
using catalogue::Service;

constexpr std::string_view image = "imgctrl_0006";
constexpr Time settled = 5s;  // movements and loops have come to rest then
constexpr int64_t first_params[] = {256, 512, 768, 800, 832, 864, 896, 1024, 1280, 1536, 1792, 2048, 2304, 61440};

// A subject is what get_<subject> and set_<subject> of a service are about, as in "imaging_001a.contrast", or
// a parameter of image control, as in "param.260".
using Subject = std::string;
using Truth = std::map<Subject, Values>;

std::vector<int64_t> params(Bench& bench) {
  std::vector<int64_t> all;
  for (const int64_t first : first_params) {
    for (int64_t id = first; bench.ask(image, "get_param", {{"param", id}}).error == 0; ++id) all.push_back(id);
  }
  return all;
}

void each_command(std::string_view prefix, const std::function<void(const Service&, const Command&, Subject)>& work) {
  for (const Service& service : catalogue::services()) {
    const std::string_view name = service.name;
    if (service.id <= ROVK_ROUTER_0000_PERIPHERAL_ID || name == "unittest_ffff" || name.starts_with("eeprom")) continue;
    for (const Command& command : service.commands) {
      const std::string_view words = command.name;
      if (!words.starts_with(prefix) || words.ends_with("_param")) continue;
      work(service, command, std::string(name) + "." + std::string(words.substr(prefix.size())));
    }
  }
}

Truth ask_all(Bench& bench, const std::vector<int64_t>& ids) {
  Truth truth;
  each_command("get_", [&](const Service& service, const Command& command, const Subject& subject) {
    static std::map<std::string, uint16_t> addresses;  // of the same unit every time
    const auto address = addresses.try_emplace(service.name, 0).first;
    if (address->second == 0) address->second = address_of(service.name);
    if (command.answer) truth[subject] = bench.ask(service.name, command.name, {}, address->second).values;
  });
  const uint16_t address = address_of(image);
  for (const int64_t id : ids) {
    const Received told = bench.ask(image, "get_param", {{"param", id}}, address);
    truth["param." + std::to_string(id)] = {{"", told["current_val"]}};
  }
  return truth;
}

// Another value than the present one, within what the answer tells of limits.
int64_t other(const Values& told, const Field& field) {
  const std::string name = field.name;
  const auto limit = [&](const std::string& which) {
    const auto own = told.find(which + "_" + name);
    return own != told.end() ? own : told.find(which);
  };
  const int64_t present = told.contains(name) ? told.at(name) : 0;
  const auto high = limit("max");
  if (high != told.end() && present != high->second) return high->second;
  if (const auto low = limit("min"); low != told.end()) return low->second;
  return present == 0 ? 1 : 0;
}

// What a subject's name does not lead to: inputs of their own, since limits and flags of the fields hang
// together, and what has no single value to set.
const std::map<Subject, Values> inputs_of = {
    {"positioning_002a.position",
     {{"pan_millidegrees", 9'000},
      {"pan_millidegrees_per_second", 9'000},
      {"tilt_millidegrees", -9'000},
      {"tilt_millidegrees_per_second", 9'000},
      {"zoom_deciX", 30},
      {"zoom_deciX_per_second", 90}}},
    {"positioning_002a.velocity", {{"pan_millidegrees_per_second", 500}, {"tilt_millidegrees_per_second", -500}}},
    {"positioning_002a.soft_pan_limits",
     {{"min_position_millidegrees", 0},
      {"max_position_millidegrees", 90'000},
      {"min_velocity_millidegrees_per_second", 50},
      {"max_velocity_millidegrees_per_second", 60}}},
    {"positioning_002a.soft_tilt_limits",
     {{"min_position_millidegrees", -9'000},
      {"max_position_millidegrees", 0},
      {"min_velocity_millidegrees_per_second", 50},
      {"max_velocity_millidegrees_per_second", 60}}},
    {"positioning_002a.soft_zoom_limits",
     {{"min_position_deciX", 10},
      {"max_position_deciX", 90},
      {"min_velocity_deciX_per_second", 1},
      {"max_velocity_deciX_per_second", 9}}},
    {"imgctrl_0006.focus_region", {{"startx", 1}, {"starty", 1}, {"stopx", 9}, {"stopy", 9}}},
    {"triangle_overlay_002b.triangle_positioning_coordinates", {{"pan_millidegrees", 9}, {"zoom_deciX", 90}}},
    {"power_policy_0014.max_peripheral_power", {{"max_power_milliwatts", 9'000}}},
    {"power_policy_002c.max_peripheral_power", {{"max_power_milliwatts", 9'000}}},
    {"linear_actuator_0028.position", {{"position", 900}, {"speed", 900}}},
    {"lens_focus_001f.auto_focus_region",
     {{"start_x_percent", 10}, {"start_y_percent", 10}, {"stop_x_percent", 90}, {"stop_y_percent", 90}}},
};

std::set<Subject> expected(const Subject& subject) {
  std::set<Subject> all = {subject};
  for (const auto& [one, other] : one_and_the_same) {
    if (subject == one) all.insert(other);
    if (subject == other) all.insert(one);
  }
  for (const auto& [set, moves] : consequences) {
    if (subject != set) continue;
    std::istringstream words(moves);
    for (Subject word; words >> word;) {
      const auto several = shorthand.find(word);
      std::istringstream names(several == shorthand.end() ? word : several->second);
      for (Subject name; names >> name;) all.insert(name);
    }
  }
  return all;
}

std::string text(const std::set<Subject>& subjects) {
  std::string all;
  for (const Subject& subject : subjects) all += subject + " ";
  return all;
}

TEST(Sweep, WhatIsSetShowsWhereverItIsSeenAndNowhereElse) {
  Bench left_alone;
  const std::vector<int64_t> ids = params(left_alone);
  ASSERT_EQ(ids.size(), 81U);
  left_alone.advance(settled);
  const Truth before = ask_all(left_alone, ids);
  unsigned tried = 0;
  const auto compare = [&](Bench& bench, const Subject& subject, const Received& answer) {
    EXPECT_EQ(answer.error, 0) << subject;
    bench.advance(settled);
    std::set<Subject> moved;
    for (const auto& [asked, values] : ask_all(bench, ids)) {
      if (before.at(asked) != values) moved.insert(asked);
    }
    EXPECT_EQ(text(moved), text(expected(subject))) << subject;
    ++tried;
  };
  each_command("set_", [&](const Service& service, const Command& command, const Subject& subject) {
    if (!before.contains(subject) || !command.request) return;
    Values inputs;
    const auto own = inputs_of.find(subject);
    if (own != inputs_of.end()) inputs = own->second;
    for (const Field& field : command.request->fields) {
      const std::string_view name = field.name;
      if (own != inputs_of.end() || field.reserved || name.ends_with("index")) continue;
      inputs[field.name] = other(before.at(subject), field);
    }
    Bench bench;
    compare(bench, subject, bench.ask(service.name, command.name, inputs));
  });
  for (const int64_t id : ids) {
    Bench bench;
    const Values told = bench.ask(image, "get_param", {{"param", id}}).values;
    const int64_t value = told.at("current_val") == told.at("max_val") ? told.at("min_val") : told.at("max_val");
    compare(bench, "param." + std::to_string(id), bench.ask(image, "set_param", {{"param", id}, {"value", value}}));
  }
  EXPECT_GT(tried, 150U);
}

}  // namespace
}  // namespace rovk::unit
