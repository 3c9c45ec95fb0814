#include "unit/plan.h"

#include <rovk/constants.h>

#include <algorithm>
#include <iterator>

#include "catalogue/catalogue.h"
#include "catalogue/fields.h"
#include "wire/message.h"

namespace rovk::unit {
namespace {

using Direction = Rule::Direction;
using Action = Rule::Action;

// The opcode of a command or of the command that is answered, the id of an event.
uint8_t number_of(Direction direction, const rovk_message& message) {
  // A uuid has the opcode of its command in its highest byte.
  return wire::bytes(message)[direction == Direction::answer ? ROVK_OFFSET_UUID + 3 : ROVK_OFFSET_BODY];
}

bool named(const std::string& name, Direction direction, const catalogue::Service& service, uint8_t number) {
  const bool is_common = direction == Direction::event ? number < 32 : number <= ROVK_COMMON_COMMAND_LAST;
  const catalogue::Service& owner = is_common ? catalogue::common() : service;
  if (direction == Direction::event) {
    const catalogue::Event* const event = catalogue::find_event(owner, number);
    return event && name == event->name;
  }
  const catalogue::Command* const command = catalogue::find_command(owner, number);
  return command && name == command->name;
}

constexpr Disturbance disturbances[] = {
    {"lose", [](Fate& fate, uint8_t*, uint32_t) { fate.lost = true; }},
    {"duplicate", [](Fate& fate, uint8_t*, uint32_t) { fate.doubled = true; }},
    {"delay", [](Fate& fate, uint8_t*, uint32_t ms) { fate.late = std::chrono::milliseconds(ms); }},
    {"corrupt", [](Fate&, uint8_t* bytes, uint32_t) { bytes[ROVK_OFFSET_TYPE] ^= 0x80; }},
    {"misdirect", [](Fate&, uint8_t* bytes, uint32_t) { bytes[ROVK_OFFSET_UUID + 2] ^= 0x80; }},
};

}  // namespace

const Disturbance* find_disturbance(std::string_view name) {
  const auto* const row = std::find_if(std::begin(disturbances), std::end(disturbances),
                                       [name](const Disturbance& entry) { return entry.name == name; });
  return row == std::end(disturbances) ? nullptr : row;
}

std::string disturbance_names() {
  std::string list;
  for (const Disturbance& entry : disturbances) list += (list.empty() ? "" : ", ") + std::string(entry.name);
  return list;
}

Plan::Plan(PlanDescription description)
    : description_(std::move(description)),
      met_(description_.rules.size()),
      struck_(description_.rules.size()),
      random_(description_.seed) {}

// Not by a distribution of the library, which may be another one elsewhere.
double Plan::draw() { return static_cast<double>(random_() >> 11) * 0x1p-53; }

bool Plan::matches(const Rule& rule, Direction direction, const catalogue::Service* service,
                   const rovk_message& message) const {
  const uint8_t* const bytes = wire::bytes(message);
  if (rule.direction != Direction::any && rule.direction != direction) return false;
  if (rule.address && *rule.address != catalogue::load(bytes + ROVK_OFFSET_PERIPHERAL, 2)) return false;
  if (rule.application && *rule.application != catalogue::load(bytes + ROVK_OFFSET_APPLICATION, 2)) return false;
  if (!rule.service.empty() && (!service || rule.service != service->name)) return false;
  return rule.command.empty() || (service && named(rule.command, direction, *service, number_of(direction, message)));
}

Fate Plan::judge(Direction direction, const catalogue::Service* service, rovk_message& message) {
  Fate fate;
  for (std::size_t i = 0; i < description_.rules.size(); ++i) {
    const Rule& rule = description_.rules[i];
    if (!matches(rule, direction, service, message)) continue;
    ++met_[i];
    if (rule.nth != 0 && met_[i] != rule.nth) continue;
    if (rule.times != 0 && struck_[i] >= rule.times) continue;
    if (rule.probability < 1 && draw() >= rule.probability) continue;
    ++struck_[i];
    switch (rule.action) {
      case Action::drop:
        fate.lost = true;
        break;
      case Action::delay:
        fate.late += std::chrono::milliseconds(rule.ms);
        break;
      case Action::duplicate:
        fate.doubled = true;
        break;
      case Action::reorder:
        fate.swapped = true;
        fate.swap_ms = rule.ms;
        break;
      case Action::corrupt: {
        const auto place = rule.byte.value_or(static_cast<unsigned>(random_() % sizeof message));
        uint8_t& byte = reinterpret_cast<uint8_t*>(&message)[place];
        byte = rule.value.value_or(static_cast<uint8_t>(byte ^ (1 + random_() % 255)));
        break;
      }
      case Action::refuse:
        fate.refusal = &rule;
        break;
      case Action::silence:
        fate.silent_ms = std::max(fate.silent_ms.value_or(0), rule.ms);
        break;
      case Action::reset:
        fate.resets = true;
        break;
      case Action::power_off:
        fate.switches_off = true;
        fate.off_ms = rule.ms;
        break;
    }
  }
  return fate;
}

}  // namespace rovk::unit
