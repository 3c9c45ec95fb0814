// Messages that come to a unit, any 32 bytes after each other; of each pair of bytes before one, the time that
// passes.
#include <rovk/transport.h>

#include <cstring>

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rovk_transport* transport = nullptr;
  if (rovk_transport_open("sim?clock=virtual", &transport, &transport) != 0) return 0;
  const uint16_t application = rovk_transport_application(transport);
  constexpr size_t step = 2 + sizeof(rovk_message);
  for (size_t at = 0; at + step <= size && at < 64 * step; at += step) {
    const uint64_t wait_ms = data[at] + 256U * (data[at + 1] & 15U);
    rovk_message message;
    std::memcpy(&message, data + at + 2, sizeof message);
    // Mostly as this application's.
    if (!(data[at + 1] & 0x80)) std::memcpy(&message, &application, sizeof application);
    rovk_transport_send(transport, &message);
    const uint64_t until = rovk_transport_now_ns(transport) + wait_ms * 1'000'000;
    while (rovk_transport_receive(transport, &message, until) == 0) {
    }
  }
  rovk_transport_close(transport);
  return 0;
}
