// A unit file as it was read: values with the lines on which they stand, in the order of the file. What
// they mean is the matter of who reads them; what is wrong with one is told with its line.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rovk::unit {

struct Node {
  enum class Kind : uint8_t { boolean, integer, real, text, list, table };

  Kind kind = Kind::table;
  int64_t integer = 0;  // of a boolean as well
  double real = 0;      // of an integer as well
  std::string text;
  struct Entry;
  std::vector<Entry> entries;  // of a list without keys
  std::shared_ptr<const std::string> file;
  unsigned line = 1;

  // Elsewhere, where a node of nodes is complete.
  Node();
  Node(Node&&) noexcept;
  Node& operator=(Node&&) noexcept;
  ~Node();

  const Node* find(std::string_view key) const;
  std::string place() const;  // "FILE:LINE"

  // Each gives the value, or throws a DescriptionError that names the place and what is wanted there.
  [[noreturn]] void fail(const std::string& text) const;
  int64_t whole(int64_t low, int64_t high) const;
  double number(double low, double high) const;
  bool flag() const;
  const std::string& word() const;
  const Node& table() const;
  const Node& list() const;
  // A constant by its name, with or without the prefix, or by its number.
  int64_t constant(std::string_view prefix, int64_t high) const;
  // Refuses a table that has other keys.
  void allow(std::initializer_list<std::string_view> keys) const;
};

struct Node::Entry {
  std::string first;
  Node second;
};

// Throws DescriptionError, for what is no TOML with the line on which that shows.
Node parse_tree(std::string_view text, const std::string& file);

}  // namespace rovk::unit
