// What comes as a message: every reader of librovk-message, and what the log makes of it.
#include <cstring>

#include "lib/message/describe.h"
#include "target.h"
#include "tests/message/calls.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rovk_message message = {};
  std::memcpy(&message, data, std::min(size, sizeof message));
  rovk::message::describe_message(message);
  uint8_t record[22] = {};
  std::memcpy(record, data, std::min(size, sizeof record));
  rovk::message::describe_error(record);
  for (const rovk::test::Call& call : rovk::test::calls()) {
    rovk::test::Slot out[16];
    if (call.read) call.read(&message, out);
    // What was read can be built again.
    rovk_message built = {};
    if (call.read && call.shape == rovk::test::Shape::command) call.build(&built, nullptr, 1, out);
  }
  return 0;
}
