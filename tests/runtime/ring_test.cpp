// The module behind another one of the same ring: a type that both know is the other's entry, and its
// objects are this module's objects as well.
#include <gtest/gtest.h>

#include <cstring>

#include "host.h"
#include "runtime/objects.h"
#include "runtime/type_registry.h"

namespace {

// The other module: it knows rovk_version, a type of its own that counts as one, and another record by
// its mangled name alone.
swig_type_entry other_types[] = {
    {"_p_other", "other *", nullptr, nullptr, nullptr, 0},
    {"_p_rovk_device_address", nullptr, nullptr, nullptr, nullptr, 0},
    {"_p_rovk_version", "struct rovk_version *|rovk_version *", nullptr, nullptr, nullptr, 0},
};
void* skip_header(void* pointer, int*) { return static_cast<char*>(pointer) + 2; }
swig_cast_entry other_as_version = {&other_types[0], skip_header, nullptr, nullptr};
swig_cast_entry version_itself = {&other_types[2], nullptr, nullptr, nullptr};
swig_type_entry third_type = {"_p_third", "third *", nullptr, nullptr, nullptr, 0};
swig_cast_entry third_as_version = {&third_type, nullptr, nullptr, nullptr};
swig_type_entry* other_table[] = {&other_types[0], &other_types[1], &other_types[2], nullptr};
swig_module_entry other_module = {other_table, 3, &other_module, nullptr, nullptr, nullptr};

unsigned place_of(const char* name) {
  for (unsigned i = 0; i < swig_this_module.size; ++i) {
    if (std::strcmp(swig_this_module.types[i]->name, name) == 0) return i;
  }
  return UINT_MAX;
}

class Ring : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    version_itself.next = &other_as_version;
    other_as_version.prev = &version_itself;
    other_as_version.next = &third_as_version;
    third_as_version.prev = &other_as_version;
    other_types[2].cast = &version_itself;
    first = new host::State;
    swig_module_head_set(**first, &other_module);
    first->open_module();
  }
  static void TearDownTestSuite() { delete first; }
  static host::State* first;
};
host::State* Ring::first;

TEST_F(Ring, TheOtherModulesEntryWins) {
  const unsigned place = place_of("_p_rovk_version");
  ASSERT_LT(place, swig_this_module.size);
  EXPECT_EQ(swig_this_module.types[place], &other_types[2]);
  EXPECT_TRUE(other_types[2].class_data) << "class data was not handed over";
  EXPECT_EQ(swig_this_module.types[SWIG_TYPE_COUNT], nullptr);
  const unsigned message = place_of("_p_rovk_message");
  EXPECT_EQ(swig_this_module.types[message], swig_this_module.initial_types[message]);
  EXPECT_EQ(other_module.next, &swig_this_module);
  EXPECT_EQ(swig_this_module.next, &other_module);
}

TEST_F(Ring, ObjectsOfBothModulesAreTaken) {
  lua_State* const L = **first;
  EXPECT_EQ(first->run("local v = rovk_message.rovk_version() v.major = 9 return v.major .. swig_type(v)"),
            "9struct rovk_version *|rovk_version *");
  // An object as the other module makes it: three fields and no more.
  uint8_t bytes[] = {0xaa, 0xbb, 7, 8};
  auto* const object = static_cast<swig_object*>(lua_newuserdata(L, sizeof(swig_object)));
  *object = {&other_types[0], 0, bytes};
  lua_setglobal(L, "other");
  EXPECT_EQ(first->run("rovk_message.rovk_protocol_version = other return rovk_message.rovk_protocol_version.minor"),
            "8");
  EXPECT_EQ(first->run("return swig_type(other)"), "other *");
  EXPECT_EQ(first->run("return getmetatable(rovk_message.rovk_device_address())['.get'].index(other)"),
            "Error in rovk_device_address_index_get (arg 1), expected 'void*' got 'other *'");
  // The accepted type moved to the front of the list.
  EXPECT_EQ(other_types[2].cast, &other_as_version);
  EXPECT_EQ(version_itself.prev, &other_as_version);
  EXPECT_EQ(third_as_version.prev, &version_itself);
}

TEST_F(Ring, AStrangerIsNoObject) {
  lua_State* const L = **first;
  swig_type_entry stranger = {"_p_rovk_version", "rovk_version *", nullptr, nullptr, nullptr, 0};
  uint8_t bytes[2] = {};
  auto* const object = static_cast<swig_object*>(lua_newuserdata(L, sizeof(swig_object)));
  lua_pushvalue(L, -1);
  lua_setglobal(L, "stranger");
  // Nor is one whose type lies between two entries of ours.
  auto* const between = reinterpret_cast<swig_type_entry*>(reinterpret_cast<char*>(swig_initial_types[0]) + 8);
  for (swig_type_entry* const type : {between, &stranger}) {
    *object = {type, 0, bytes};
    EXPECT_EQ(first->run("return swig_type(stranger)"), "userdata (unknown type)");
  }
  lua_pop(L, 1);
  EXPECT_EQ(first->run("rovk_message.rovk_protocol_version = stranger"),
            "Error in rovk_protocol_version_set (arg 1), expected 'struct rovk_version *|rovk_version *' got "
            "'userdata (unknown type)'");
}

TEST_F(Ring, ASecondStateSharesTheTables) {
  host::State second;
  second.open_module();
  EXPECT_EQ(second.run("local v = rovk_message.rovk_version() v.minor = 5 return v.minor"), "5");
  EXPECT_EQ(swig_module_head_get(*second), &swig_this_module);
  // Opened again, the module finds itself in the ring.
  first->open_module();
  EXPECT_EQ(other_module.next, &swig_this_module);
  EXPECT_EQ(swig_this_module.next, &other_module);
}

TEST(Names, BlanksDoNotCount) {
  const struct {
    const char* list;
    const char* name;
    int matches;
  } cases[] = {
      {"struct rovk_version *|rovk_version *", "rovk_version*", 1},
      {"struct rovk_version *|rovk_version *", "structrovk_version *", 1},
      {"rovk_version *", "rovk_version", 0},
      {"rovk_version", "rovk_version *", 0},
      {"a|b", "b", 1},
      {"", "a", 0},
      {"a||b", "", 1},
      {"unsigned short *|rovk_address *", " rovk_address  *", 1},
  };
  for (const auto& item : cases) {
    EXPECT_EQ(swig_name_list_matches(item.list, item.name), item.matches) << item.list << " / " << item.name;
  }
  const char* const a = "ab";
  const char* const b = "ac";
  EXPECT_EQ(swig_name_compare(a, a + 2, b, b + 2), -1);
  EXPECT_EQ(swig_name_compare(b, b + 2, a, a + 2), 1);
  EXPECT_NE(swig_name_compare(a, a + 1, a, a + 2), 0);
}

TEST(Names, TypesAreSortedForTheSearch) {
  for (unsigned i = 1; i < SWIG_TYPE_COUNT; ++i) {
    ASSERT_LT(std::strcmp(swig_initial_types[i - 1]->name, swig_initial_types[i]->name), 0) << i;
  }
}

}  // namespace
