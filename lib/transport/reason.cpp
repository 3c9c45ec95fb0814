#include "transport/reason.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace rovk::transport {
namespace {

// No object with a destructor: a thread may end after the library's own end.
thread_local char kept[512];

}  // namespace

void clear_reason() { kept[0] = 0; }

const char* reason() { return kept; }

int32_t fail(int32_t status, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(kept, sizeof kept, format, arguments);
  va_end(arguments);
  return status;
}

void add_reason(const char* format, ...) {
  const std::size_t length = std::strlen(kept);
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(kept + length, sizeof kept - length, format, arguments);
  va_end(arguments);
}

}  // namespace rovk::transport
