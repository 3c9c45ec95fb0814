// Which messages are refused, with which status, and that a refusal writes nothing.
#include <gtest/gtest.h>

#include <cerrno>
#include <tuple>

#include "tests/message/bytes.h"
#include "tests/message/calls.h"

namespace rovk::test {
namespace {

struct Refusal {
  const char* message;
  int32_t response, command, event, error;
};

// Each message is given to one reader of each kind: get_param's answer (opcode 32), get_param's
// command, an event of id 32, an error.
TEST(Refusals, SayWhatAMessageIsNot) {
  const Refusal table[] = {
      {"0 0 7 0 0 0 0 20 02 00 aa", 0, -EPROTO, -EPROTO, -EPROTO},
      {"0 0 7 0 0 0 0 20 01 20 aa", -EPROTO, 0, -EPROTO, -EPROTO},
      {"0 0 7 0 0 0 0 00 03 20 aa", -EPROTO, -EPROTO, 0, -EPROTO},
      {"0 0 7 0 0 0 0 20 02 01 07 00 08 00 01", 8, -EPROTO, -EPROTO, 0},
      {"0 0 7 0 0 0 0 20 02 01 07 00 ff ff", 65535, -EPROTO, -EPROTO, 0},
      // An error response that says no error.
      {"0 0 7 0 0 0 0 20 02 01 07 00", -ENODATA, -EPROTO, -EPROTO, 0},
      // Another command's answer, another command, another event; an error of another command too.
      {"0 0 7 0 0 0 0 21 02 00", -EBADMSG, -EPROTO, -EPROTO, -EPROTO},
      {"0 0 7 0 0 0 0 20 01 21", -EPROTO, -EBADMSG, -EPROTO, -EPROTO},
      {"0 0 7 0 0 0 0 00 03 01 07 00 08 00", -EPROTO, -EPROTO, -EBADMSG, -EPROTO},
      {"0 0 7 0 0 0 0 00 03 21", -EPROTO, -EPROTO, -EBADMSG, -EPROTO},
      {"0 0 7 0 0 0 0 21 02 01 07 00 08 00", -EBADMSG, -EPROTO, -EPROTO, 0},
      // An unknown error byte, unknown types, a message nobody filled.
      {"0 0 7 0 0 0 0 20 02 02", -EPROTO, -EPROTO, -EPROTO, -EPROTO},
      {"0 0 7 0 0 0 0 20 04 20", -EPROTO, -EPROTO, -EPROTO, -EPROTO},
      {"0", -EPROTO, -EPROTO, -EPROTO, -EPROTO},
  };
  for (const Refusal& row : table) {
    SCOPED_TRACE(row.message);
    const rovk_message message = message_of(row.message);
    // A refusal leaves the outputs alone.
    const auto expect = [&](int32_t status, auto* read, auto... outputs) {
      std::tuple values(outputs...);
      EXPECT_EQ(std::apply([&](auto&... value) { return read(&message, &value...); }, values), status);
      EXPECT_EQ(values == std::tuple(outputs...), status != 0);
    };
    constexpr uint8_t byte = 0x55;
    constexpr uint16_t half = 0x5555;
    constexpr int32_t word = 0x55555555;
    expect(row.response, rovk_imgctrl_0006_retrieve_get_param_response, half, word, word, word, word, byte);
    expect(row.command, rovk_imgctrl_0006_retrieve_get_param_command, half, byte);
    expect(row.event, rovk_button_0002_retrieve_state_change_event, byte, byte);
    rovk_error_imgctrl_0006_error error;
    std::memset(&error, 0x55, sizeof error);
    EXPECT_EQ(rovk_imgctrl_0006_retrieve_error(&message, &error), row.error);
    EXPECT_EQ(error.data.payload[17] == 0x55, row.error != 0);
  }
}

TEST(NullPointers, AreRefusedInEveryFunction) {
  const rovk_message command = message_of("0b 0a 34 12 05 04 03 20 01 20");
  for (const Call& call : calls()) {
    SCOPED_TRACE(std::string(call.service) + " " + call.item);
    Slot slots[22];
    rovk_message message = garbage();
    EXPECT_EQ(call.build(nullptr, &command, 1, slots), -EINVAL);
    if (call.shape == Shape::response || call.shape == Shape::error) {
      EXPECT_EQ(call.build(&message, nullptr, 1, slots), -EINVAL);
      EXPECT_TRUE(same(message, garbage()));
    }
    if (call.read) {
      EXPECT_EQ(call.read(nullptr, slots), -EINVAL);
    }
  }
}

TEST(NullPointers, AnOutputThatIsNotWantedIsSkipped) {
  const rovk_message answer = message_of("0 0 7 0 0 0 0 20 02 00  01 00 02 00 03 00");
  uint16_t on_ms = 0;
  EXPECT_EQ(rovk_led_0001_retrieve_get_state_response(&answer, nullptr, &on_ms, nullptr), 0);
  EXPECT_EQ(on_ms, 2);
  const rovk_message echo = message_of("0 0 7 0 0 0 0 04 02 00  01");
  EXPECT_EQ(rovk_common_retrieve_echo_response(&echo, nullptr), 0);
  EXPECT_EQ(rovk_common_retrieve_error(&echo, nullptr), -EINVAL);
}

TEST(Overlaps, ArgumentsMayLieInTheMessage) {
  rovk_message message = message_of("0 0 7 0 0 0 0 04 01 04  01 02 03");
  ASSERT_EQ(rovk_common_initialize_echo_response(&message, &message, message.cre.c.payload), 0);
  EXPECT_EQ(hex(&message, 4), "00 00 00 04 02 00 01 02 03");

  rovk_message answer = message_of("0 0 7 0 0 0 0 04 02 00  01 02 03");
  ASSERT_EQ(rovk_common_retrieve_echo_response(&answer, answer.cre.r.pei.payload), 0);
  EXPECT_EQ(hex(&answer, 10), "01 02 03");

  // An output on top of fields that are still to be read.
  alignas(4) rovk_message state = message_of("0 0 7 0 0 0 0 20 02 00  01 00 02 00 03 00");
  auto* second = reinterpret_cast<uint16_t*>(state.cre.r.pei.payload + 2);
  uint16_t on_ms = 0, off_ms = 0;
  ASSERT_EQ(rovk_led_0001_retrieve_get_state_response(&state, second, &on_ms, &off_ms), 0);
  EXPECT_EQ(on_ms, 2);
  EXPECT_EQ(*second, 1);
  EXPECT_EQ(hex(&state, 10, 12), "01");
  EXPECT_EQ(hex(&state, 14), "03");
}

struct Stamp {
  uint8_t type, opcode;
  const char* alone;   // stamped for address 0x1234
  const char* answer;  // as an answer to the command below
};

TEST(Header, IsStampedByType) {
  const rovk_message command = message_of("0b 0a 34 12 05 04 03 5a 01 5a 01 02 03");
  const Stamp table[] = {
      {ROVK_TYPE_COMMAND, 33, "00 00 34 12 00 00 00 21 01 21", "0b 0a 34 12 05 04 03 21 01 21"},
      // The error byte of a response is no place for an opcode.
      {ROVK_TYPE_RESPONSE, 33, "00 00 34 12 00 00 00 21 02", "0b 0a 34 12 05 04 03 21 02"},
      {ROVK_TYPE_EVENT, 33, "00 00 34 12 00 00 00 00 03 21", "0b 0a 34 12 05 04 03 00 03 21"},
      {255, 255, "00 00 34 12 00 00 00 ff ff ff", "0b 0a 34 12 05 04 03 ff ff ff"},
  };
  for (const Stamp& row : table) {
    SCOPED_TRACE(int{row.type});
    rovk_message message = garbage();
    EXPECT_EQ(rovk_initialize_message_struct(&message, 0x1234, row.type, row.opcode), 0);
    EXPECT_EQ(hex(&message, 0), row.alone);
    message = command;
    EXPECT_EQ(rovk_initialize_message_response_struct(&message, &message, row.type, row.opcode), 0);
    EXPECT_EQ(hex(&message, 0), row.answer);
  }
}

TEST(Header, ErrorAnswersTheCommandWhicheverItIs) {
  // A command that was filled by hand has its opcode in the body alone; an answer can become an error as well.
  for (const char* given : {"0b 0a 34 12 05 04 03 00 01 5a 01 02", "0b 0a 34 12 05 04 03 5a 02 00 01 02"}) {
    rovk_message message = garbage();
    const rovk_message command = message_of(given);
    EXPECT_EQ(rovk_initialize_message_error_response_struct(&message, &command, 0x0506, 0x0102), 0);
    EXPECT_EQ(hex(&message, 0), "0b 0a 34 12 05 04 03 5a 02 01 06 05 02 01");
  }
}

}  // namespace
}  // namespace rovk::test
