// Every command of the catalogue once, and the limits of all that can be set.
#include <algorithm>

#include "tests/unit/bench.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using catalogue::Command;
using catalogue::Field;
using catalogue::Service;

bool starts_with(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

// A set command is given what its get command answers; all other inputs are 0 but these.
const std::map<std::string, Values> inputs_of = {
    {"router_0000.add_route", {{"peripheral_address", 0x4242}}},
    {"router_0000.register_event", {{"peripheral_address", 0x0101}}},
    {"router_0000.unregister_event", {{"peripheral_address", 0x0101}}},
    {"router_0000.reserve", {{"peripheral_address", 0x0102}}},
    {"router_0000.release", {{"peripheral_address", 0x0102}}},
};

Values inputs_for(Bench& bench, const Service& service, const Command& command) {
  const std::string_view name = command.name;
  const auto own = inputs_of.find(std::string(service.name) + "." + command.name);
  if (own != inputs_of.end()) return own->second;
  if (!starts_with(name, "set_")) return {};
  const std::string get = "get_" + std::string(name.substr(4));
  if (!catalogue::find_command(service, get)) return {};
  Values inputs;
  for (const auto& [field, value] : bench.ask(service.name, get).values) {
    if (catalogue::find_field(*command.request, field)) inputs[field] = value;
  }
  return inputs;
}

TEST(Commands, EachIsAnsweredInForm) {
  unsigned count = 0;
  for (const Service& service : catalogue::services()) {
    for (const Command& command : service.commands) {
      SCOPED_TRACE(std::string(service.name) + " " + command.name);
      Bench bench;
      const bool common = service.id < 0;
      const uint16_t address = common ? address_of("led_0001") : address_of(service.name);
      const Received answer = bench.ask(service.name, command.name, inputs_for(bench, service, command), address);
      EXPECT_EQ(answer.application, bench.application);
      EXPECT_EQ(answer.peripheral, address);
      EXPECT_EQ(answer.uuid, 0x20000001U);
      EXPECT_NE(answer.error, ROVK_COMMON_ERROR_UNKNOWN_COMMAND);
      if (answer.error != 0) {
        EXPECT_FALSE(is_plain(service.name)) << "takes its present values";
        EXPECT_EQ(answer.error_peripheral, address);
        const bool known = catalogue::find_error(service, answer.error) != nullptr ||
                           catalogue::find_error(catalogue::common(), answer.error) != nullptr;
        EXPECT_TRUE(known) << answer.error;
      } else {
        const std::size_t size = command.answer ? command.answer->size : 0;
        EXPECT_TRUE(std::all_of(answer.payload.begin() + static_cast<std::ptrdiff_t>(size), answer.payload.end(),
                                [](uint8_t byte) { return byte == 0; }));
      }
      ++count;
    }
  }
  EXPECT_EQ(count, 272U);
}

bool fits(const Field& field, int64_t value) {
  const int64_t span = int64_t{1} << 8 * field.width;
  const int64_t low = field.is_signed ? -span / 2 : 0;
  return value >= low && value < low + span;
}

// Tries one input of a set command: at its limits it is kept, beyond it is refused, with the place of
// the input, and nothing changes.
void try_limits(const Service& service, const Command& set, const Command& get, const Field& field, int64_t low,
                int64_t high) {
  SCOPED_TRACE(std::string(service.name) + " " + set.name + " " + field.name);
  Bench bench;
  Values inputs = inputs_for(bench, service, set);
  for (const int64_t value : {low, high}) {
    inputs[field.name] = value;
    ASSERT_EQ(bench.ask(service.name, set.name, inputs).error, 0) << value;
    EXPECT_EQ(bench.ask(service.name, get.name)[field.name], value);
  }
  const Values before = bench.ask(service.name, get.name).values;
  for (const int64_t value : {low - 1, high + 1}) {
    if (!fits(field, value)) continue;
    Values wrong = inputs;
    // Another valid input on the way must not be stored either.
    wrong[field.name] = value;
    const Received answer = bench.ask(service.name, set.name, wrong);
    EXPECT_EQ(answer.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD) << value;
    ASSERT_EQ(answer.detail.size(), 18U);
    EXPECT_EQ(catalogue::load(answer.detail.data(), 2), field.offset);
    EXPECT_EQ(bench.ask(service.name, get.name).values, before);
  }
}

// Limits that an answer tells are those that the set command keeps; inputs called enable are flags.
TEST(Commands, ToldLimitsHold) {
  unsigned tried = 0;
  for (const Service& service : catalogue::services()) {
    for (const Command& set : service.commands) {
      const std::string name = set.name;
      // The ends of a region bound one another, so that each cannot go to its limits alone. Where things
      // move, reading back takes time and is tested with the movement.
      if (!starts_with(name, "set_") || name == "set_auto_focus_region" || name == "set_position") continue;
      const Command* get = catalogue::find_command(service, "get_" + name.substr(4));
      if (!get || !set.request) continue;
      Bench bench;
      const Values told = bench.ask(service.name, get->name).values;
      for (const Field& field : set.request->fields) {
        const std::string suffix = told.contains(std::string("max_") + field.name) ? std::string("_") + field.name : "";
        if (std::string_view(field.name) == "enable") {
          try_limits(service, set, *get, field, 0, 1);
        } else if (told.contains(field.name) && told.contains("min" + suffix) && told.contains("max" + suffix)) {
          try_limits(service, set, *get, field, told.at("min" + suffix), told.at("max" + suffix));
          ++tried;
        }
      }
    }
  }
  EXPECT_GT(tried, 30U);
}

// All that a service tells of itself without being asked for more than a device.
Values told_by(Bench& bench, const Service& service) {
  Values told;
  for (const Command& command : service.commands) {
    if (!starts_with(command.name, "get_")) continue;
    const Received answer = bench.ask(service.name, command.name);
    for (const auto& [field, value] : answer.values) told[std::string(command.name) + " " + field] = value;
  }
  return told;
}

// Every input of every set command to another value, whichever is taken.
void change_all(Bench& bench, const Service& service) {
  for (const Command& set : service.commands) {
    if (!starts_with(set.name, "set_") || !set.request) continue;
    for (const Field& field : set.request->fields) {
      if (field.reserved || std::string_view(field.name) == "index") continue;
      Values inputs = inputs_for(bench, service, set);
      const int64_t now = inputs[field.name];
      for (const int64_t value : {now + 7, now + 1, now - 7, now - 1}) {
        inputs[field.name] = value;
        if (fits(field, value) && bench.ask(service.name, set.name, inputs).error == 0) break;
      }
    }
  }
}

// Where motors stand is no setting: a reset stops them.
TEST(Commands, AResetTakesAllChangesBack) {
  unsigned changes = 0;
  for (const Service& service : catalogue::services()) {
    if (service.id < 0) continue;
    SCOPED_TRACE(service.name);
    Bench bench;
    Values before = told_by(bench, service);
    std::erase_if(before, [](const auto& told) { return starts_with(told.first, "get_position "); });
    before.erase("get_home_sense home_sense_value");
    before.erase("get_angle_of_view current_magnification_angle_of_view_millidegrees");
    change_all(bench, service);
    bench.advance(10s);
    Values after = told_by(bench, service);
    for (const auto& [name, value] : before) changes += after[name] != value;
    ASSERT_TRUE(bench.unit.set_fault(address_of(service.name), 7));
    ASSERT_TRUE(bench.unit.reset_peripheral(address_of(service.name), 1));
    bench.advance(10s);
    after = told_by(bench, service);
    for (const auto& [name, value] : before) EXPECT_EQ(after[name], value) << name;
  }
  EXPECT_GT(changes, 100U);
}

TEST(Commands, RefusedCommandStoresNothing) {
  Bench bench;
  bench.play(R"(led_0001 set_state index=1 on=1 duty_cycle_on_ms=250 duty_cycle_off_ms=750;
                set_state index=1 duty_cycle_on_ms=10 duty_cycle_off_ms=60001 ! invalid_payload 6;
                get_state index=1 -> on=1 duty_cycle_on_ms=250 duty_cycle_off_ms=750; get_state -> on=0;)");
}

TEST(Commands, IndexBeyondTheDevicesIsRefused) {
  for (const Service& service : catalogue::services()) {
    for (const Command& command : service.commands) {
      const Field* index = command.request ? catalogue::find_field(*command.request, "index") : nullptr;
      if (!index || std::string_view(service.name) == "router_0000") continue;
      Bench bench;
      const uint16_t address = service.id < 0 ? address_of("led_0001") : address_of(service.name);
      const Received answer = bench.ask(service.name, command.name, {{"index", 200}}, address);
      EXPECT_EQ(answer.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD) << service.name << " " << command.name;
      ASSERT_EQ(answer.detail.size(), 18U);
      EXPECT_EQ(catalogue::load(answer.detail.data(), 2), index->offset) << service.name << " " << command.name;
    }
  }
}

}  // namespace
}  // namespace rovk::unit
