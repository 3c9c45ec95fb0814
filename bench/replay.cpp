#include "replay.h"

#include <algorithm>

namespace rovk::bench {

void Replay::add(lua_State* L) { take_table(L, lua_gettop(L)); }

std::size_t Replay::entries() const {
  std::size_t sum = 0;
  for (const Table& table : tables_) sum += table.entries.size();
  return sum;
}

bool Replay::take_value(lua_State* L, int index, Value& value) {
  switch (lua_type(L, index)) {
    case LUA_TBOOLEAN:
      value = lua_toboolean(L, index) != 0;
      return true;
    case LUA_TNUMBER:
      value = lua_tonumber(L, index);
      return true;
    case LUA_TSTRING:
      value = std::string(lua_tostring(L, index));
      return true;
    case LUA_TLIGHTUSERDATA:
      value = lua_touserdata(L, index);
      return true;
    case LUA_TFUNCTION:
      value = lua_tocfunction(L, index);
      return lua_iscfunction(L, index);
    case LUA_TTABLE:
      value = TableIndex{take_table(L, index)};
      return true;
    default:
      return false;
  }
}

std::size_t Replay::take_table(lua_State* L, int index) {
  luaL_checkstack(L, 8, "tables lie too deep");
  auto [place, is_new] = taken_.try_emplace(lua_topointer(L, index), tables_.size());
  const std::size_t table = place->second;
  if (!is_new) return table;
  tables_.emplace_back();
  std::vector<std::pair<Value, Value>> entries;
  for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) {
    std::pair<Value, Value> entry;
    const int top = lua_gettop(L);
    if (take_value(L, top - 1, entry.first) && take_value(L, top, entry.second)) entries.push_back(std::move(entry));
  }
  // By name, as a catalogue would have them, not by the luck of a hash.
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    if (a.first.index() != b.first.index()) return a.first.index() < b.first.index();
    const auto* name = std::get_if<std::string>(&a.first);
    return name != nullptr && *name < std::get<std::string>(b.first);
  });
  tables_[table].entries = std::move(entries);
  if (lua_getmetatable(L, index)) {
    const TableIndex metatable{take_table(L, lua_gettop(L))};
    tables_[table].metatable.push_back(metatable);
    lua_pop(L, 1);
  }
  return table;
}

void Replay::push(lua_State* L, const Value& value) const {
  if (const auto* flag = std::get_if<bool>(&value)) {
    lua_pushboolean(L, *flag);
  } else if (const auto* number = std::get_if<double>(&value)) {
    lua_pushnumber(L, *number);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    lua_pushstring(L, text->c_str());
  } else if (const auto* function = std::get_if<lua_CFunction>(&value)) {
    lua_pushcfunction(L, *function);
  } else if (auto* const* pointer = std::get_if<void*>(&value)) {
    lua_pushlightuserdata(L, *pointer);
  } else {
    run(L, std::get<TableIndex>(value).index);
  }
}

void Replay::run(lua_State* L, std::size_t index) const {
  const Table& table = tables_[index];
  lua_newtable(L);
  for (const auto& [key, value] : table.entries) {
    push(L, key);
    push(L, value);
    lua_rawset(L, -3);
  }
  for (const TableIndex metatable : table.metatable) {
    run(L, metatable.index);
    lua_setmetatable(L, -2);
  }
}

}  // namespace rovk::bench
