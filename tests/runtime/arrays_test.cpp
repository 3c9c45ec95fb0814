// Arrays between native memory and tables: every element type by one table of cases.
#include "runtime/arrays.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>

#include "host.h"
#include "runtime/objects.h"

namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};

class Arrays : public testing::Test {
 protected:
  host::State state;
  lua_State* L = *state;

  // Pushes the value of a Lua expression and gives its index.
  int push(const char* expression) {
    const std::string text = std::string("return ") + expression;
    EXPECT_EQ(luaL_dostring(L, text.c_str()), 0) << lua_tostring(L, -1);
    return lua_gettop(L);
  }

  std::string message() {
    const char* const text = lua_tostring(L, -1);
    return text ? text : luaL_typename(L, -1);
  }
};

template <typename Element>
class ArrayOf : public Arrays {};

using Elements = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned, long, unsigned long,
                                float, double>;
TYPED_TEST_SUITE(ArrayOf, Elements);

// What becomes of a number, by the width and sign of the element.
template <typename Element>
Element expected(double value) {
  if constexpr (std::is_floating_point_v<Element>) {
    return static_cast<Element>(value);
  } else {
    constexpr int bits = sizeof(Element) < 4 ? 8 * static_cast<int>(sizeof(Element)) : 32;
    double whole = value < 0 ? -static_cast<double>(static_cast<int64_t>(-value))
                             : static_cast<double>(static_cast<int64_t>(value));
    if (std::is_signed_v<Element>) {
      whole = std::min(std::max(whole, -2147483648.0), 2147483647.0);
    } else {
      whole = std::min(std::max(whole, 0.0), 4294967295.0);
    }
    const auto low = static_cast<uint64_t>(static_cast<int64_t>(whole)) & ((uint64_t{1} << bits) - 1);
    if (std::is_signed_v<Element> && (low >> (bits - 1)) != 0) {
      return static_cast<Element>(static_cast<int64_t>(low) - (int64_t{1} << bits));
    }
    return static_cast<Element>(low);
  }
}

TYPED_TEST(ArrayOf, ReadsByTheNumberRules) {
  const double cases[] = {0, 1, -1, 44.9, -2.9, 127, 128, 200, 255, 256, 300, 32768, 65535, 65536, 70000, -129};
  for (const double value : cases) {
    lua_newtable(this->L);
    lua_pushnumber(this->L, value);
    lua_rawseti(this->L, -2, 1);
    const std::unique_ptr<TypeParam, Free> array(swig_table_get_fixed<TypeParam>(this->L, lua_gettop(this->L), 1));
    ASSERT_TRUE(array) << this->message();
    EXPECT_EQ(*array, expected<TypeParam>(value)) << value;
    lua_pop(this->L, 1);
  }
}

TYPED_TEST(ArrayOf, ComesBackAsItWent) {
  const TypeParam array[] = {1, std::numeric_limits<TypeParam>::max(), std::numeric_limits<TypeParam>::lowest()};
  swig_table_push(this->L, array, 3);
  int size = 0;
  const std::unique_ptr<TypeParam, Free> back(swig_table_get_var<TypeParam>(this->L, 1, &size));
  ASSERT_EQ(size, 3);
  ASSERT_TRUE(back);
  if (sizeof(TypeParam) <= 4 || std::is_floating_point_v<TypeParam>) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(back.get()[i], array[i]) << i;
  } else {
    EXPECT_EQ(back.get()[0], TypeParam{1});  // of a long, 32 bits travel
  }
  EXPECT_EQ(lua_gettop(this->L), 1);
}

TYPED_TEST(ArrayOf, FailsWithAMessageOnTheStack) {
  int size = 99;
  const struct {
    const char* table;
    bool fixed;
    const char* message;
  } cases[] = {
      {"{1, 2, 3, 4}", true, "expected a table of size 3"},
      {"{1, nil, 3}", true, "expected a table of size 3"},
      {"5", true, "expected a table of size 3"},
      {"{1, 'x', 3}", true, "table must contain numbers"},
      {"nil", false, "expected a table"},
      {"{}", false, "table appears to be empty"},
      {"{{}}", false, "table must contain numbers"},
  };
  for (const auto& item : cases) {
    const int index = this->push(item.table);
    const void* const array = item.fixed ? swig_table_get_fixed<TypeParam>(this->L, index, 3)
                                         : swig_table_get_var<TypeParam>(this->L, index, &size);
    EXPECT_EQ(array, nullptr) << item.table;
    EXPECT_EQ(this->message(), item.message) << item.table;
    EXPECT_EQ(lua_gettop(this->L), index + 1) << item.table;
    lua_settop(this->L, 0);
  }
  this->push("{}");
  swig_table_get_var<TypeParam>(this->L, 1, &size);
  EXPECT_EQ(size, 0);
}

TEST_F(Arrays, LengthEndsAtTheFirstNil) {
  const struct {
    const char* table;
    int length;
  } cases[] = {{"{}", 0},
               {"{1, nil, 3}", 1},
               {"{1, 2, 3, x = 4}", 3},
               {"{false, 2}", 2},
               {"setmetatable({}, {__index = {1}})", 0}};
  for (const auto& item : cases) {
    EXPECT_EQ(swig_table_length(L, push(item.table)), item.length) << item.table;
    lua_settop(L, 0);
  }
}

TEST_F(Arrays, PushOfNothingIsAnEmptyTable) {
  const int none = 0;
  swig_table_push(L, &none, 0);
  EXPECT_EQ(swig_table_length(L, 1), 0);
}

TEST_F(Arrays, MovesObjectsOfOneTypeOnly) {
  state.open_module();
  swig_type_entry* const version =
      swig_module_find_mangled(&swig_this_module, swig_this_module.next, "_p_rovk_version");
  ASSERT_TRUE(version);
  push("{rovk_message.rovk_version(), rovk_message.rovk_version()}");
  const std::unique_ptr<void*, Free> array(swig_table_get_fixed_pointers(L, 1, 2, version));
  ASSERT_TRUE(array) << message();
  EXPECT_NE(array.get()[0], array.get()[1]);
  swig_table_push_pointers(L, array.get(), 2, version, 0);
  lua_rawgeti(L, -1, 2);
  void* pointer = nullptr;
  ASSERT_EQ(SWIG_Lua_ConvertPtr(L, -1, &pointer, version, 0), 0);
  EXPECT_EQ(pointer, array.get()[1]);
  void* slots[2];
  EXPECT_EQ(swig_table_read_pointers(L, push("{rovk_message.rovk_version()}"), slots, 2, version), 0);
  lua_settop(L, 0);
  for (const char* const refused : {"{rovk_message.rovk_version(), rovk_message.rovk_message()}",
                                    "{rovk_message.rovk_version(), 5}", "{io.stdout}"}) {
    int size = 0;
    EXPECT_EQ(swig_table_get_var_pointers(L, push(refused), &size, version), nullptr) << refused;
    EXPECT_EQ(message(), "table must contain pointers of type _p_rovk_version") << refused;
    lua_settop(L, 0);
  }
}

}  // namespace
