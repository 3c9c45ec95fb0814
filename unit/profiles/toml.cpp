// The one place that knows the TOML library, whose headers take long to compile.
// It asserts, or under some compilers assumes, that keys of table headers are well formed, and reports those
// that are not right behind that. Whatever the build, the report is wanted.
#undef NDEBUG
#define TOML_ASSERT(expr) static_assert(true)
#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <algorithm>

#include "unit/fittings.h"
#include "unit/profiles/tree.h"

namespace rovk::unit {
namespace {

using File = std::shared_ptr<const std::string>;

Node copy(const toml::node& from, const File& file);

// The library keeps a table sorted by key; who wrote the file thinks in its order.
void copy_table(const toml::table& from, Node& to) {
  std::vector<std::pair<const toml::key*, const toml::node*>> order;
  for (auto&& [key, value] : from) order.emplace_back(&key, &value);
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first->source().begin < b.first->source().begin; });
  for (const auto& [key, value] : order) {
    Node node = copy(*value, to.file);
    node.line = key->source().begin.line;
    to.entries.push_back({std::string(key->str()), std::move(node)});
  }
}

Node copy(const toml::node& from, const File& file) {
  Node to;
  to.file = file;
  to.line = std::max(from.source().begin.line, 1U);
  if (const auto* table = from.as_table()) {
    copy_table(*table, to);
  } else if (const auto* list = from.as_array()) {
    to.kind = Node::Kind::list;
    for (const toml::node& item : *list) to.entries.push_back({"", copy(item, file)});
  } else if (const auto* text = from.as_string()) {
    to.kind = Node::Kind::text;
    to.text = text->get();
  } else if (const auto* integer = from.as_integer()) {
    to.kind = Node::Kind::integer;
    to.integer = integer->get();
    to.real = static_cast<double>(to.integer);
  } else if (const auto* real = from.as_floating_point()) {
    to.kind = Node::Kind::real;
    to.real = real->get();
  } else if (const auto* flag = from.as_boolean()) {
    to.kind = Node::Kind::boolean;
    to.integer = flag->get() ? 1 : 0;
  } else {
    to.fail("dates and times mean nothing here");
  }
  return to;
}

}  // namespace

Node parse_tree(std::string_view text, const std::string& file) {
  const auto result = toml::parse(text);
  if (!result) {
    const toml::parse_error& error = result.error();
    throw DescriptionError(file + ":" + std::to_string(error.source().begin.line) + ": " +
                           std::string(error.description()));
  }
  return copy(result.table(), std::make_shared<const std::string>(file));
}

}  // namespace rovk::unit
