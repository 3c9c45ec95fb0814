#include "look.h"

#include <math.h>

#include "barrier.h"

namespace {

enum { MOST_INPUTS = 32 };

// Upvalues of the function: this, the name of the index, then the inputs' names.
enum { SHAPE = 1, INDEX_NAME, FIRST_NAME };

struct Shape {
  int count;
  int own_index;
  struct {
    double low, high;
  } inputs[MOST_INPUTS];
};

// Arguments of the function.
enum { THREAD = 1, CLASS, SELF, FIRST_INPUT };

bool is_right(lua_State* L, int index, double low, double high) {
  if (lua_type(L, index) != LUA_TNUMBER) return false;
  const double value = lua_tonumber(L, index);
  return value >= low && value <= high && floor(value) == value;
}

bool has_class(lua_State* L) {
  if (!lua_getmetatable(L, SELF)) return false;
  const bool same = lua_rawequal(L, -1, CLASS) != 0;
  lua_pop(L, 1);
  return same;
}

// Puts the inputs where they would be if they had been given by place.
bool spread(lua_State* L, int count) {
  if (lua_getmetatable(L, FIRST_INPUT)) return false;
  for (int input = 0; input < count; ++input) {
    lua_pushvalue(L, lua_upvalueindex(FIRST_NAME + input));
    lua_rawget(L, FIRST_INPUT);
    if (lua_isnil(L, -1)) return false;
  }
  // With all of them there, as many keys are no others.
  int keys = 0;
  for (lua_pushnil(L); lua_next(L, FIRST_INPUT); lua_pop(L, 1)) {
    if (++keys > count) return false;
  }
  lua_remove(L, FIRST_INPUT);
  return true;
}

int look(lua_State* L) {
  const auto* const shape = static_cast<const Shape*>(lua_touserdata(L, lua_upvalueindex(SHAPE)));
  const int given = lua_gettop(L) - SELF;
  if (lua_tothread(L, THREAD) != L || !has_class(L)) return 0;
  luaL_checkstack(L, 2 * MOST_INPUTS + 4, "too many inputs");
  if (given == 1 && shape->count > 0 && lua_istable(L, FIRST_INPUT)) {
    if (!spread(L, shape->count)) return 0;
  } else if (given != shape->count) {
    return 0;
  }
  for (int input = 0; input < shape->count; ++input) {
    if (!is_right(L, FIRST_INPUT + input, shape->inputs[input].low, shape->inputs[input].high)) return 0;
  }
  if (rovk_find_barrier(L)) return 0;
  const int results = lua_gettop(L);
  lua_pushboolean(L, 1);
  const int total = shape->count + (shape->own_index ? 1 : 0);
  for (int place = 1, input = 0; place <= total; ++place) {
    if (place == shape->own_index) {
      lua_pushvalue(L, lua_upvalueindex(INDEX_NAME));
      lua_rawget(L, SELF);
    } else {
      lua_pushvalue(L, FIRST_INPUT + input++);
    }
  }
  return lua_gettop(L) - results;
}

double number_at(lua_State* L, int table, int key) {
  lua_rawgeti(L, table, key);
  const double value = lua_tonumber(L, -1);
  lua_pop(L, 1);
  return value;
}

}  // namespace

int rovk_look_for(lua_State* L) {
  enum { NAMES = 1, LOWS, HIGHS, OWN_INDEX };
  luaL_checktype(L, NAMES, LUA_TTABLE);
  luaL_checktype(L, LOWS, LUA_TTABLE);
  luaL_checktype(L, HIGHS, LUA_TTABLE);
  const int own_index = luaL_checkint(L, OWN_INDEX);
  const int count = static_cast<int>(lua_objlen(L, NAMES));
  if (count > MOST_INPUTS) return 0;
  luaL_checkstack(L, MOST_INPUTS + 4, "too many inputs");
  auto* const shape = static_cast<Shape*>(lua_newuserdata(L, sizeof(Shape)));
  shape->count = count;
  shape->own_index = own_index;
  lua_pushliteral(L, "index");
  for (int input = 0; input < count; ++input) {
    shape->inputs[input].low = number_at(L, LOWS, input + 1);
    shape->inputs[input].high = number_at(L, HIGHS, input + 1);
    lua_rawgeti(L, NAMES, input + 1);
  }
  lua_pushcclosure(L, look, FIRST_NAME - 1 + count);
  return 1;
}
