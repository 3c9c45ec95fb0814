// What an opened module leaves in a Lua state, taken down as plain data, and put into other states by
// a loop that knows nothing but tables: the yardstick for the opening of the module.
#pragma once

#include <lua.hpp>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace rovk::bench {

class Replay {
 public:
  // Takes down the table on top of the stack, with all tables and metatables below it. C functions,
  // numbers, booleans, strings and light userdata are kept; anything else is left out.
  void add(lua_State* L);
  // Makes the first of the taken tables, with all below it, anew and leaves it on the stack.
  void run(lua_State* L) const { run(L, 0); }

  std::size_t entries() const;

 private:
  struct TableIndex {
    std::size_t index;
  };
  using Value = std::variant<bool, double, std::string, lua_CFunction, void*, TableIndex>;
  struct Table {
    std::vector<std::pair<Value, Value>> entries;
    std::vector<TableIndex> metatable;  // none or one
  };

  std::size_t take_table(lua_State* L, int index);
  bool take_value(lua_State* L, int index, Value& value);
  void push(lua_State* L, const Value& value) const;
  void run(lua_State* L, std::size_t index) const;

  std::vector<Table> tables_;
  std::map<const void*, std::size_t> taken_;
};

}  // namespace rovk::bench
