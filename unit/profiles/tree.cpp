#include "unit/profiles/tree.h"

#include <algorithm>

#include "catalogue/constants.h"
#include "unit/fittings.h"

namespace rovk::unit {
namespace {

std::string shown(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace

Node::Node() = default;
Node::Node(Node&&) noexcept = default;
Node& Node::operator=(Node&&) noexcept = default;
Node::~Node() = default;

const Node* Node::find(std::string_view key) const {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [key](const auto& entry) { return entry.first == key; });
  return found == entries.end() ? nullptr : &found->second;
}

std::string Node::place() const { return *file + ":" + std::to_string(line); }

void Node::fail(const std::string& wrong) const { throw DescriptionError(place() + ": " + wrong); }

int64_t Node::whole(int64_t low, int64_t high) const {
  if (kind != Kind::integer || integer < low || integer > high) {
    fail("a whole number from " + std::to_string(low) + " to " + std::to_string(high) + " is wanted" +
         (kind == Kind::integer ? ", not " + std::to_string(integer) : ""));
  }
  return integer;
}

double Node::number(double low, double high) const {
  const bool is_number = kind == Kind::integer || kind == Kind::real;
  if (!is_number || !(real >= low && real <= high)) {
    fail("a number from " + shown(low) + " to " + shown(high) + " is wanted" +
         (is_number ? ", not " + shown(real) : ""));
  }
  return real;
}

bool Node::flag() const {
  if (kind != Kind::boolean) fail("true or false is wanted");
  return integer != 0;
}

const std::string& Node::word() const {
  if (kind != Kind::text) fail("a text in quotes is wanted");
  return text;
}

const Node& Node::table() const {
  if (kind != Kind::table) fail("a table is wanted");
  return *this;
}

const Node& Node::list() const {
  if (kind != Kind::list) fail("a list in square brackets is wanted");
  return *this;
}

int64_t Node::constant(std::string_view prefix, int64_t high) const {
  if (kind != Kind::text) return whole(0, high);
  std::string_view name = text;
  if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
  for (const catalogue::Constant& row : catalogue::constants()) {
    const std::string_view full = row.name;
    if (full.starts_with(prefix) && full.substr(prefix.size()) == name) return row.value;
  }
  fail("no constant is called " + std::string(prefix) + std::string(name));
}

void Node::allow(std::initializer_list<std::string_view> keys) const {
  for (const auto& [key, node] : table().entries) {
    if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
    std::string known;
    for (const std::string_view name : keys) known += (known.empty() ? "" : ", ") + std::string(name);
    known.insert(0, "no key '" + key + "' belongs here; there are ");
    node.fail(known);
  }
}

}  // namespace rovk::unit
