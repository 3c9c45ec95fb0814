// The [[fault]] tables of a unit file, and the same tables alone.
#include <algorithm>
#include <iterator>
#include <limits>

#include "catalogue/catalogue.h"
#include "unit/fittings.h"
#include "unit/profiles/members.h"
#include "unit/profiles/reader.h"

namespace rovk::unit {
namespace {

using Direction = Rule::Direction;
using Action = Rule::Action;

template <typename Value>
struct Named {
  std::string_view name;
  Value value;
};

constexpr Named<Direction> directions[] = {{"any", Direction::any},
                                           {"command", Direction::command},
                                           {"answer", Direction::answer},
                                           {"event", Direction::event}};

constexpr Named<Action> actions[] = {
    {"drop", Action::drop},       {"delay", Action::delay},     {"duplicate", Action::duplicate},
    {"reorder", Action::reorder}, {"corrupt", Action::corrupt}, {"refuse", Action::refuse},
    {"silence", Action::silence}, {"reset", Action::reset},     {"power_off", Action::power_off},
};

template <typename Value, std::size_t count>
Value one_of(const Node& node, const Named<Value> (&rows)[count]) {
  std::string known;
  for (const Named<Value>& row : rows) {
    if (node.word() == row.name) return row.value;
    known += (known.empty() ? "" : ", ") + std::string(row.name);
  }
  node.fail("'" + node.text + "' is none of " + known);
}

void read_service(const Node& node, Rule& rule) {
  if (!catalogue::find_service(node.word())) node.fail("there is no service " + node.text);
  rule.service = node.text;
}

// A name of the catalogue, of the rule's service when it has one.
void check_name(const Node& node, const Rule& rule) {
  for (const catalogue::Service& service : catalogue::services()) {
    const bool ours = rule.service.empty() || rule.service == service.name || service.id < 0;
    if (!ours) continue;
    if (rule.direction != Direction::event && catalogue::find_command(service, std::string_view(rule.command))) return;
    const bool may_be_event = rule.direction == Direction::event || rule.direction == Direction::any;
    if (may_be_event && catalogue::find_event(service, std::string_view(rule.command))) return;
  }
  const char* const kind = rule.direction == Direction::event ? "event" : "command";
  node.fail((rule.service.empty() ? "no service" : rule.service) + " has " + (rule.service.empty() ? "a " : "no ") +
            kind + " " + rule.command);
}

void read_error(const Node& node, Rule& rule) {
  if (node.kind == Node::Kind::integer) {
    rule.error = static_cast<uint16_t>(node.whole(0, UINT16_MAX));
    return;
  }
  // Common errors by their names, those of a service as well when the rule names it.
  const catalogue::Service* const own = rule.service.empty() ? nullptr : catalogue::find_service(rule.service);
  const catalogue::Error* error = own ? catalogue::find_error(*own, std::string_view(node.word())) : nullptr;
  if (!error) error = catalogue::find_error(catalogue::common(), std::string_view(node.word()));
  if (!error) node.fail("there is no error " + node.text + (own ? " of " + rule.service : ""));
  rule.error = error->id;
}

void read_detail(const Node& node, Rule& rule) {
  if (node.list().entries.size() > rule.detail.size()) node.fail("a detail has 18 bytes at most");
  auto place = rule.detail.begin();
  for (const auto& [key, byte] : node.entries) *place++ = static_cast<uint8_t>(byte.whole(0, UINT8_MAX));
}

void check(const Node& node, Rule& rule) {
  const auto key = [&node](const char* name) { return node.find(name); };
  if (!key("do")) node.fail("a rule wants 'do', what befalls the message");
  if (const Node* name = key("command")) check_name(*name, rule);
  if (const Node* name = key("event")) check_name(*name, rule);
  // Here, since its name may be one of the service, whatever stands first.
  if (const Node* error = key("error")) read_error(*error, rule);
  const bool timed = rule.action == Action::delay || rule.action == Action::silence;
  if (timed && !key("ms")) node.fail("it wants 'ms', for how long");
  if (rule.action == Action::refuse && !key("error")) node.fail("it wants 'error', with what to refuse");
  if (rule.action == Action::refuse && rule.direction != Direction::command && rule.direction != Direction::answer) {
    node.fail("it wants 'on', command or answer: nothing else can be refused");
  }
}

}  // namespace

template <>
const Members<Rule>& members() {
  constexpr double week_ms = 604'800'000;
  static const auto name = [](const Node& node, Rule& rule) { rule.command = node.word(); };
  static const auto rows =
      Members<Rule>()
          .add("on", [](const Node& node, Rule& rule) { rule.direction = one_of(node, directions); })
          .add("service", read_service)
          .add("command", name)
          .add("event",
               [](const Node& node, Rule& rule) {
                 rule.direction = Direction::event;
                 rule.command = node.word();
               })
          .add("address", &Rule::address, 0, UINT16_MAX)
          .add("application", &Rule::application, 1, UINT16_MAX)
          .add("nth", &Rule::nth, 1, UINT32_MAX)
          .add("times", &Rule::times, 1, UINT32_MAX)
          .add("probability", &Rule::probability, 0, 1)
          .add("do", [](const Node& node, Rule& rule) { rule.action = one_of(node, actions); })
          .add("ms", &Rule::ms, 0, week_ms)
          .add("byte", &Rule::byte, 0, sizeof(rovk_message) - 1)
          .add("value", &Rule::value, 0, UINT8_MAX)
          .add("error", [](const Node&, Rule&) {})
          .add("detail", read_detail)
          .then(check);
  return rows;
}

void read_faults(const Node& node, PlanDescription& plan) {
  for (const auto& [key, item] : node.list().entries) {
    Rule rule;
    rule.where = item.place();
    members<Rule>().read(item, rule);
    plan.rules.push_back(std::move(rule));
  }
}

PlanDescription read_plan(std::string_view text, const std::string& file) {
  const Node root = parse_tree(text, file);
  root.allow({"fault", "fault_seed"});
  PlanDescription plan;
  if (const Node* const seed = root.find("fault_seed")) {
    plan.seed = static_cast<uint64_t>(seed->whole(0, std::numeric_limits<int64_t>::max()));
  }
  if (const Node* const faults = root.find("fault")) read_faults(*faults, plan);
  return plan;
}

}  // namespace rovk::unit
