// What stands between C++ and the C boundary: a failure inside becomes a status, since no exception
// may leave.
#pragma once

#include <cerrno>
#include <cstdint>
#include <new>

namespace rovk {

template <typename Work>
int32_t guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  } catch (...) {
    return -EIO;
  }
}

}  // namespace rovk
