// What an opened module leaves in a Lua state, taken down as plain data, and put into other states by
// a loop that knows nothing but tables: the yardstick for the opening of the module. It is as lean as a
// loop can be: tables have their final size, functions that several tables share are one function, what
// recurs is pushed once, and the collector waits.
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
  void run(lua_State* L) const;

 private:
  struct TableIndex {
    std::size_t index;
  };
  // Told from others by its closure.
  struct Function {
    lua_CFunction function;
    const void* closure;
    bool operator<(const Function& other) const { return closure < other.closure; }
  };
  using Value = std::variant<bool, double, std::string, Function, void*, TableIndex>;
  struct Entry {
    Value key;
    Value value;
    int kept_key = 0;  // where on the stack the value is at hand; 0: nowhere
    int kept_value = 0;
  };
  struct Table {
    std::vector<Entry> entries;
    std::vector<TableIndex> metatable;  // none or one
  };

  std::size_t take_table(lua_State* L, int index);
  bool take_value(lua_State* L, int index, Value& value);
  void keep_what_recurs();
  void push(lua_State* L, const Value& value, int kept, int base) const;
  void run(lua_State* L, std::size_t index, int base) const;

  std::vector<Value> kept_;
  std::vector<Table> tables_;
  std::map<const void*, std::size_t> taken_;
};

}  // namespace rovk::bench
