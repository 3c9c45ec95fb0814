// What a unit sends to librovktrans, over a transport that takes the place of the real one: to look-ups, to
// blocking and asynchronous commands, and events that nobody asked for.
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>

#include <cstdlib>
#include <cstring>

#include "target.h"
#include "tests/trans/scripted_transport.h"

namespace {

struct Input {
  const uint8_t* data;
  size_t size;

  void take(void* out, size_t count) {
    const size_t there = std::min(count, size);
    if (there > 0) std::memcpy(out, data, there);
    data += there;
    size -= there;
  }
  uint8_t byte() {
    uint8_t value = 0;
    take(&value, 1);
    return value;
  }
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input = {data, size};
  scripted = {};
  scripted.on_send = [&](const rovk_message& command) {
    for (unsigned count = input.byte() & 3; count > 0 && input.size > 0; --count) {
      rovk_message answer = {};
      input.take(&answer, sizeof answer);
      // The routing as it should be, but for some.
      if (input.byte() & 7) {
        std::memcpy(&answer, &command, 8);
        reinterpret_cast<uint8_t*>(&answer)[8] = 2;
      }
      scripted.inbox.push_back(answer);
    }
  };
  void* context = nullptr;
  if (rovktrans_init("sim", nullptr, &context) != 0) return 0;
  static volatile int calls;  // so that what is added to it is read
  const auto count = [](void*, uint16_t, rovk_error_common_error*, uint8_t* payload, void*) {
    calls = calls + (payload ? payload[21] : 0);
  };
  const auto note = [](void*, uint16_t, uint16_t type, void*) { calls = calls + type; };
  rovktrans_common_reset_occurred_register_callback(context, 0, note, nullptr);
  rovktrans_common_register_default_callbacks(context, 0);
  uint8_t bytes[22] = {};
  rovktrans_common_echo_async(context, 1, count, nullptr, bytes);
  rovktrans_find_device(context, ROVK_LED_0001_PERIPHERAL_ID, 1);
  rovk_error_common_error* error = nullptr;
  uint8_t* echoed = nullptr;
  rovktrans_common_echo(context, 1, &error, bytes, &echoed);
  std::free(error);
  std::free(echoed);
  uint16_t* alias = nullptr;
  uint16_t aliases = 0;
  rovktrans_common_get_aliases(context, 1, nullptr, &aliases, &alias);
  std::free(alias);
  while (input.size >= sizeof(rovk_message)) {
    rovk_message event;
    input.take(&event, sizeof event);
    scripted.inbox.push_back(event);
  }
  rovktrans_dispatch(context, 10);
  rovktrans_deinit(context);
  return 0;
}
