#include "transport/reason.h"

#pragma GCC visibility push(default)
#include "rovk/transport.h"
#pragma GCC visibility pop

#include <algorithm>
#include <array>

namespace rovk::transport {
namespace {

// No object with a destructor: a thread may end after the library's own end.
thread_local std::array<char, 512> kept;

}  // namespace

void clear_reason() { kept[0] = 0; }

int32_t fail(int32_t status, std::string_view text) {
  const auto end = std::copy_n(text.data(), std::min(text.size(), kept.size() - 1), kept.begin());
  *end = 0;
  return status;
}

}  // namespace rovk::transport

const char* rovk_transport_reason(void) { return rovk::transport::kept.data(); }
