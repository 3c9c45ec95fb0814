#include "replay.h"

#include <algorithm>

namespace rovk::bench {

namespace {

// Enough for the keys of metatables and the names that many records have.
constexpr int recurring = 8;
constexpr std::size_t most_kept = 200;

}  // namespace

void Replay::add(lua_State* L) {
  take_table(L, lua_gettop(L));
  keep_what_recurs();
}

void Replay::keep_what_recurs() {
  std::map<std::variant<std::string, Function>, int> counts;
  const auto kept_place = [&](const Value& value, int times) {
    int* count = nullptr;
    if (const auto* text = std::get_if<std::string>(&value)) count = &counts[*text];
    if (const auto* function = std::get_if<Function>(&value)) count = &counts[*function];
    if (!count) return 0;
    if (times) return *count += times;
    if (*count >= recurring && kept_.size() < most_kept) {
      kept_.push_back(value);
      *count = -static_cast<int>(kept_.size());
    }
    return *count < 0 ? -*count : 0;
  };
  for (const Table& table : tables_) {
    for (const Entry& entry : table.entries) kept_place(entry.key, 1), kept_place(entry.value, 1);
  }
  for (Table& table : tables_) {
    for (Entry& entry : table.entries) {
      entry.kept_key = kept_place(entry.key, 0);
      entry.kept_value = kept_place(entry.value, 0);
    }
  }
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
      value = Function{lua_tocfunction(L, index), lua_topointer(L, index)};
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
  std::vector<Entry> entries;
  for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) {
    Entry entry;
    const int top = lua_gettop(L);
    if (take_value(L, top - 1, entry.key) && take_value(L, top, entry.value)) entries.push_back(std::move(entry));
  }
  // By name, as a catalogue would have them, not by the luck of a hash.
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    if (a.key.index() != b.key.index()) return a.key.index() < b.key.index();
    const auto* name = std::get_if<std::string>(&a.key);
    return name != nullptr && *name < std::get<std::string>(b.key);
  });
  tables_[table].entries = std::move(entries);
  if (lua_getmetatable(L, index)) {
    const TableIndex metatable{take_table(L, lua_gettop(L))};
    tables_[table].metatable.push_back(metatable);
    lua_pop(L, 1);
  }
  return table;
}

void Replay::push(lua_State* L, const Value& value, int kept, int base) const {
  if (kept) {
    lua_pushvalue(L, base + kept);
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    lua_pushboolean(L, *flag);
  } else if (const auto* number = std::get_if<double>(&value)) {
    lua_pushnumber(L, *number);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    lua_pushlstring(L, text->data(), text->size());
  } else if (const auto* function = std::get_if<Function>(&value)) {
    lua_pushcfunction(L, function->function);
  } else if (auto* const* pointer = std::get_if<void*>(&value)) {
    lua_pushlightuserdata(L, *pointer);
  } else {
    run(L, std::get<TableIndex>(value).index, base);
  }
}

void Replay::run(lua_State* L, std::size_t index, int base) const {
  const Table& table = tables_[index];
  lua_createtable(L, 0, static_cast<int>(table.entries.size()));
  for (const Entry& entry : table.entries) {
    push(L, entry.key, entry.kept_key, base);
    push(L, entry.value, entry.kept_value, base);
    lua_rawset(L, -3);
  }
  for (const TableIndex metatable : table.metatable) {
    run(L, metatable.index, base);
    lua_setmetatable(L, -2);
  }
}

void Replay::run(lua_State* L) const {
  lua_gc(L, LUA_GCSTOP, 0);
  luaL_checkstack(L, static_cast<int>(most_kept) + LUA_MINSTACK, "too many values at hand");
  const int base = lua_gettop(L);
  for (const Value& value : kept_) push(L, value, 0, base);
  run(L, 0, base);
  lua_replace(L, base + 1);
  lua_settop(L, base + 1);
  lua_gc(L, LUA_GCRESTART, 0);
}

}  // namespace rovk::bench
