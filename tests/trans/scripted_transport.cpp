// The library has to find these functions, so what the header declares is given away.
#pragma GCC visibility push(default)
#include "scripted_transport.h"

#include <cerrno>

ScriptedTransport scripted;

int32_t rovk_transport_open(const char*, void*, rovk_transport** slot) {
  if (scripted.open_status == 0) *slot = reinterpret_cast<rovk_transport*>(&scripted);
  return scripted.open_status;
}
const char* rovk_transport_reason(void) { return ""; }
void rovk_transport_close(rovk_transport*) {}
uint16_t rovk_transport_application(rovk_transport*) { return scripted_application; }
int32_t rovk_transport_send(rovk_transport*, const rovk_message* message) {
  if (scripted.send_status != 0) return scripted.send_status;
  scripted.sent.push_back(*message);
  if (scripted.on_send) scripted.on_send(*message);
  return 0;
}
int32_t rovk_transport_receive(rovk_transport*, rovk_message* message, uint64_t deadline_ns) {
  if (scripted.receive_status != 0) return scripted.receive_status;
  if (!scripted.inbox.empty()) {
    *message = scripted.inbox.front();
    scripted.inbox.pop_front();
    return !scripted.inbox.empty();
  }
  if (deadline_ns == UINT64_MAX) return -ENODATA;
  if (scripted.now_ns < deadline_ns) scripted.now_ns = deadline_ns;
  return -ETIMEDOUT;
}
uint64_t rovk_transport_lost_events(rovk_transport*) { return 0; }
int32_t rovk_transport_clock_is_virtual(rovk_transport*) { return 1; }
uint64_t rovk_transport_now_ns(rovk_transport*) { return scripted.now_ns; }
int32_t rovk_transport_fd(rovk_transport*, uint64_t) { return -ENOSYS; }

#pragma GCC visibility pop
