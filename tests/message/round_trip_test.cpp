// Walks the catalogue: what a builder laid down stands where its row says, and the reader gives it back.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "catalogue/fields.h"
#include "tests/message/bytes.h"
#include "tests/message/calls.h"

namespace rovk::test {
namespace {

using catalogue::Field;
using catalogue::Kind;
using catalogue::Record;

struct Expected {
  uint8_t type;
  uint8_t opcode;  // in the uuid
  uint8_t body;
  unsigned offset;  // of the record in the message
  const Record* record;
  uint16_t error_id;
};

Expected expected_of(const Call& call) {
  const catalogue::Service& service = *catalogue::find_service(call.service);
  switch (call.shape) {
    case Shape::command: {
      const auto* row = catalogue::find_command(service, std::string_view(call.item));
      return {ROVK_TYPE_COMMAND, row->opcode, row->opcode, 10, row->request, 0};
    }
    case Shape::response: {
      const auto* row = catalogue::find_command(service, std::string_view(call.item));
      return {ROVK_TYPE_RESPONSE, row->opcode, 0, 10, row->answer, 0};
    }
    case Shape::event: {
      const auto* row = catalogue::find_event(service, std::string_view(call.item));
      return {ROVK_TYPE_EVENT, 0, row->id, 10, row->record, 0};
    }
    default: {
      const auto* row = catalogue::find_error(service, std::string_view(call.item));
      return {ROVK_TYPE_RESPONSE, 0x5a, 1, 14, row->detail, row->id};
    }
  }
}

// A value of its own for every byte, with the highest bit set in some.
uint8_t pattern(unsigned i) { return static_cast<uint8_t>(0x71 + 0x25 * i); }

// Fills the slot of a field with a native value and lays its bytes into the message as they travel.
void fill(const Field& field, uint8_t* record, Slot& slot) {
  uint8_t* wire = record + field.offset;
  for (unsigned i = 0; i < field.size(); ++i) wire[i] = pattern(field.offset + i);
  for (unsigned i = 0; i < field.count; ++i) {
    uint8_t* native = slot.bytes.data() + i * field.width;
    if (field.kind == Kind::version) {
      std::memcpy(native, wire, 2);
    } else if (field.width == 4) {
      const uint32_t value = wire[0] + 0x100U * wire[1] + 0x10000U * wire[2] + 0x1000000U * wire[3];
      std::memcpy(native, &value, 4);
    } else if (field.width == 2) {
      const auto value = static_cast<uint16_t>(wire[2 * i] + 0x100U * wire[2 * i + 1]);
      std::memcpy(native, &value, 2);
    } else {
      native[0] = wire[i];
    }
  }
}

TEST(RoundTrip, EveryBuilderAndReader) {
  // Application 0x0a0b, peripheral 0x1234, transaction 0x030405; of an opcode that is in no service.
  const rovk_message command = message_of("0b 0a 34 12 05 04 03 5a 01 5a");
  std::map<Shape, int> seen;
  int readers = 0;
  for (const Call& call : calls()) {
    SCOPED_TRACE(std::string(call.service) + " " + call.item + " " + std::to_string(static_cast<int>(call.shape)));
    ++seen[call.shape];
    const Expected expected = expected_of(call);
    const bool answers = call.shape == Shape::response || call.shape == Shape::error;

    rovk_message wanted = message_of(answers ? "0b 0a 34 12 05 04 03" : "00 00 34 12");
    auto* bytes = reinterpret_cast<uint8_t*>(&wanted);
    bytes[7] = expected.opcode;
    bytes[8] = expected.type;
    bytes[9] = expected.body;
    if (call.shape == Shape::error) {
      catalogue::store(bytes + 10, 2, 0x1234);
      catalogue::store(bytes + 12, 2, expected.error_id);
    }
    Slot in[22];
    unsigned values = 0;
    if (expected.record) {
      for (const Field& field : expected.record->fields) {
        if (!field.reserved) fill(field, bytes + expected.offset, in[values++]);
      }
    }

    rovk_message message = garbage();
    ASSERT_EQ(call.build(&message, &command, 0x1234, in), 0);
    ASSERT_EQ(hex(&message, 0), hex(&wanted, 0));

    // An answer may take the place of its command.
    message = command;
    ASSERT_EQ(call.build(&message, &message, 0x1234, in), 0);
    ASSERT_TRUE(same(message, wanted));

    if (!call.read) {
      EXPECT_TRUE(call.shape == Shape::command && !expected.record);
      continue;
    }
    ++readers;
    // What a peer puts into reserved bytes changes nothing.
    if (expected.record) {
      for (const Field& field : expected.record->fields) {
        if (field.reserved) std::memset(bytes + expected.offset + field.offset, 0xff, field.size());
      }
    }
    Slot out[22];
    ASSERT_EQ(call.read(&wanted, out), 0);
    if (call.shape == Shape::error) {
      ASSERT_EQ(std::memcmp(out[0].bytes.data(), bytes + 10, 22), 0);
    } else {
      for (unsigned i = 0; i < 22; ++i) ASSERT_EQ(out[i].bytes, in[i].bytes) << "value " << i;
    }
  }
  EXPECT_EQ(seen[Shape::command], 272);
  EXPECT_EQ(seen[Shape::response], 272);
  EXPECT_EQ(seen[Shape::event], 21);
  EXPECT_EQ(seen[Shape::error], 35);
  EXPECT_EQ(readers, 258 + 272 + 21 + 35);
}

}  // namespace
}  // namespace rovk::test
