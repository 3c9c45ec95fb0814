// The self-check service: arithmetic that tells whether every kind of field gets through.
#include <initializer_list>
#include <string>
#include <utility>

#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// What a group answers that was given nothing, and what stands in front of one.
constexpr int64_t group_one = 1;
constexpr int64_t group_two = 2;
constexpr int64_t not_int_group = 0x2a;

class Unittest final : public View {
 public:
  explicit Unittest(const Setup& setup) : View(setup, {}) {
    // Sums wrap at the width of the field.
    on("add_one", [](Call& call) { call.set("output", call.number("input") + 1); });
    on("add_two", [](Call& call) { call.set("output", call.number("input") + 2); });
    on("fail", fail);
    on("group_in_command", [](Call&) {});
    on("group_in_response", [](Call& call) {
      call.set("one", group_one);
      call.set("two", group_two);
    });
    on("group_in_both", [](Call& call) { send_back(call, {"one", "two"}); });
    on("mixed_groups_in_both", [](Call& call) {
      call.set("not_int_group", not_int_group);
      send_back(call, {"one", "two", "three", "four", "five", "six"});
    });
    on("add_one_to_types", [](Call& call) {
      constexpr std::pair<std::string_view, std::string_view> types[] = {{"i1", "o1"}, {"i2", "o2"}, {"i3", "o3"},
                                                                         {"i4", "o4"}, {"i5", "o5"}, {"i6", "o6"}};
      for (const auto& [input, output] : types) call.set(output, call.number(input) + 1);
    });
  }

 private:
  // Each field of the command comes back as the field of its name with an r in front.
  static void send_back(Call& call, std::initializer_list<std::string_view> fields) {
    for (const std::string_view field : fields) {
      std::string answered = "r";
      answered += field;
      call.set(answered, call.number(field));
    }
  }

  // Answers with the error that the code names, one of the service's or of the common set; details are
  // the code itself. 0 names no error and succeeds; other numbers are refused as an input.
  static void fail(Call& call) {
    const int64_t code = call.number("error_code");
    if (code == 0) return;
    const auto id = static_cast<uint16_t>(code);
    const catalogue::Error* error = catalogue::find_error(*catalogue::find_service("unittest_ffff"), id);
    if (!error) error = catalogue::find_error(catalogue::common(), id);
    if (!error) call.refuse_input("error_code");
    if (error->detail) throw Refusal{id, {code}};
    throw Refusal{id};
  }
};

}  // namespace

std::unique_ptr<View> make_unittest_ffff(const Setup& setup) { return std::make_unique<Unittest>(setup); }

}  // namespace rovk::unit
