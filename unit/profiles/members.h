// How the keys of a unit file become the members of the things' Build structs. Each struct has its table
// of rows in members.cpp: key, member, and for a number the lowest and the highest value. A new member is
// one more row.
#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "unit/profiles/description.h"
#include "unit/profiles/tree.h"

namespace rovk::unit {

template <typename Build>
class Members;
// The table `peripheral` of a board; reader.cpp.
void read_peripherals(const Node& node, BoardDescription& board);

// One for each struct that a file can fill.
template <typename Build>
const Members<Build>& members();

namespace reading {

template <typename Value>
struct IsOptional : std::false_type {};
template <typename Value>
struct IsOptional<std::optional<Value>> : std::true_type {};
template <typename Value>
struct IsVector : std::false_type {};
template <typename Value>
struct IsVector<std::vector<Value>> : std::true_type {};

// A list takes the place of what was there; a table changes entries by their place, or adds the next one;
// a number makes so many without anything of their own.
template <typename Value>
void assign_all(const Node& node, std::vector<Value>& values);

template <typename Value>
void assign(const Node& node, Value& value, double low, double high) {
  if constexpr (std::is_same_v<Value, bool>) {
    value = node.flag();
  } else if constexpr (std::is_integral_v<Value>) {
    value = static_cast<Value>(node.whole(static_cast<int64_t>(low), static_cast<int64_t>(high)));
  } else if constexpr (std::is_floating_point_v<Value>) {
    value = node.number(low, high);
  } else if constexpr (std::is_same_v<Value, std::string>) {
    value = node.word();
  } else if constexpr (IsOptional<Value>::value) {
    typename Value::value_type given = value.value_or(typename Value::value_type{});
    assign(node, given, low, high);
    value = given;
  } else if constexpr (IsVector<Value>::value) {
    assign_all(node, value);
  } else {
    members<Value>().read(node, value);
  }
}

}  // namespace reading

template <typename Build>
class Members {
 public:
  // Of a struct that Build is or has as a base.
  template <typename Owner, typename Value>
  Members& add(const char* key, Value Owner::*member, double low = 0, double high = 0) {
    return add(
        key, [member, low, high](const Node& node, Build& build) { reading::assign(node, build.*member, low, high); });
  }
  Members& add(const char* key, std::function<void(const Node&, Build&)> read) {
    rows_.push_back({key, std::move(read)});
    return *this;
  }

  // Looks at the whole when all keys have been read.
  Members& then(std::function<void(const Node&, Build&)> check) {
    check_ = std::move(check);
    return *this;
  }

  // Changes what the table names. Throws DescriptionError.
  void read(const Node& node, Build& build) const {
    for (const auto& [key, value] : node.table().entries) {
      const auto found =
          std::find_if(rows_.begin(), rows_.end(), [&key = key](const Row& row) { return row.key == key; });
      if (found == rows_.end()) value.fail("no key '" + key + "' belongs here; there are " + keys());
      found->read(value, build);
    }
    if (check_) check_(node, build);
  }

 private:
  struct Row {
    const char* key;
    std::function<void(const Node&, Build&)> read;
  };
  std::string keys() const {
    std::string all;
    for (const Row& row : rows_) all += (all.empty() ? "" : ", ") + std::string(row.key);
    return all;
  }
  std::vector<Row> rows_;
  std::function<void(const Node&, Build&)> check_;
};

template <typename Value>
void reading::assign_all(const Node& node, std::vector<Value>& values) {
  constexpr int64_t most = 255;  // an index is a byte
  if (node.kind == Node::Kind::integer) {
    values.assign(static_cast<std::size_t>(node.whole(0, most)), Value{});
  } else if (node.kind == Node::Kind::list) {
    if (node.entries.size() > most) node.fail("at most 255 can stand here");
    values.clear();
    for (const auto& [key, item] : node.entries) assign(item, values.emplace_back(), 0, 0);
  } else {
    if (node.kind != Node::Kind::table) node.fail("a number of them, a list or a table by places is wanted");
    for (const auto& [key, item] : node.entries) {
      std::size_t place = 0;
      for (const char digit : key)
        place = digit >= '0' && digit <= '9' && place <= most ? place * 10 + static_cast<std::size_t>(digit - '0')
                                                              : most + 1;
      if (place > values.size() || place >= most) {
        item.fail("'" + key + "' is no place; there are 0 to " + std::to_string(values.size()) +
                  ", the last to add one");
      }
      if (place == values.size()) values.emplace_back();
      assign(item, values[place], 0, 0);
    }
  }
}

}  // namespace rovk::unit
