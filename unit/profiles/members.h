// How the keys of a unit file become the members of the things' Build structs. Each struct has its table
// of rows in members.cpp: key, member, and for a number the lowest and the highest value. A new member is
// one more row. What reads a table knows no types; the templates here only say where a member lies and which
// function reads it, since there are too many structs for code of their own.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "unit/profiles/description.h"
#include "unit/profiles/tree.h"

namespace rovk::unit {

inline constexpr double day_ms = 86'400'000;

template <typename Build>
class Members;
// The table `peripheral` of a board; reader.cpp.
void read_peripherals(const Node& node, BoardDescription& board);

// One for each struct that a file can fill.
template <typename Build>
const Members<Build>& members();

namespace reading {

using Plain = void (*)();
// Reads into a value of a type that it knows. `more` is what add() was given with it.
using Read = void (*)(const Node& node, void* value, double low, double high, Plain more);

// A vector, seen without its type. resize() makes values without anything of their own.
struct List {
  void (*resize)(void* list, std::size_t size);
  std::size_t (*size)(const void* list);
  char* (*data)(void* list);
  std::size_t step;
  Read read;  // one value
};
// A list takes the place of what was there; a table changes entries by their place, or adds the next one;
// a number makes so many without anything of their own.
void assign_all(const Node& node, void* list, const List& type);

class Table {
 public:
  void add(const char* key, std::ptrdiff_t offset, Read reader, double low, double high, Plain more) {
    rows_.push_back({key, offset, reader, low, high, more});
  }
  void then(Read check, Plain more) {
    check_ = check;
    check_more_ = more;
  }
  // Changes what the node's table names. Throws DescriptionError.
  void read(const Node& node, void* build) const;

 private:
  struct Row {
    const char* key;
    std::ptrdiff_t offset;
    Read read;
    double low;
    double high;
    Plain more;
  };
  std::string keys() const;

  std::vector<Row> rows_;
  Read check_ = nullptr;
  Plain check_more_ = nullptr;
};

template <typename Value>
struct IsOptional : std::false_type {};
template <typename Value>
struct IsOptional<std::optional<Value>> : std::true_type {};
template <typename Value>
struct IsVector : std::false_type {};
template <typename Value>
struct IsVector<std::vector<Value>> : std::true_type {};

template <typename Value>
void assign(const Node& node, Value& value, double low, double high);

template <typename Value>
void assign_any(const Node& node, void* value, double low, double high, Plain) {
  assign(node, *static_cast<Value*>(value), low, high);
}

template <typename Value>
constexpr List list_of = {
    [](void* list, std::size_t size) { static_cast<std::vector<Value>*>(list)->resize(size); },
    [](const void* list) { return static_cast<const std::vector<Value>*>(list)->size(); },
    [](void* list) { return reinterpret_cast<char*>(static_cast<std::vector<Value>*>(list)->data()); },
    sizeof(Value),
    assign_any<Value>,
};

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
    assign_all(node, &value, list_of<typename Value::value_type>);
  } else {
    members<Value>().read(node, value);
  }
}

}  // namespace reading

template <typename Build>
class Members {
 public:
  // Reads what a single member cannot hold, or looks at the whole.
  using Own = void (*)(const Node& node, Build& build);

  // Of a struct that Build is or has as a base.
  template <typename Owner, typename Value>
  Members& add(const char* key, Value Owner::*member, double low = 0, double high = 0) {
    Value Build::*const own = member;
    table_.add(key, std::bit_cast<std::ptrdiff_t>(own), reading::assign_any<Value>, low, high, nullptr);
    return *this;
  }
  Members& add(const char* key, Own own) {
    table_.add(key, 0, call, 0, 0, reinterpret_cast<reading::Plain>(own));
    return *this;
  }

  // Looks at the whole when all keys have been read.
  Members& then(Own check) {
    table_.then(call, reinterpret_cast<reading::Plain>(check));
    return *this;
  }

  void read(const Node& node, Build& build) const { table_.read(node, &build); }

 private:
  static void call(const Node& node, void* build, double, double, reading::Plain own) {
    reinterpret_cast<Own>(own)(node, *static_cast<Build*>(build));
  }

  reading::Table table_;
};

}  // namespace rovk::unit
