// What the interpreters of a 32-bit processor load first in the emulator. Where a mapping is made smaller, qemu 7.2
// takes away what lies behind its old end, of the size that was given back. LuaJIT makes its heap smaller so, and
// what it then lost was its own.
#define _GNU_SOURCE
#include <stdarg.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

__attribute__((visibility("default"))) void* mremap(void* address, size_t size, size_t wanted, int flags, ...) {
  if (wanted < size && !(flags & MREMAP_FIXED)) {
    return munmap((char*)address + wanted, size - wanted) == 0 ? address : MAP_FAILED;
  }
  va_list list;
  va_start(list, flags);
  void* const place = flags & MREMAP_FIXED ? va_arg(list, void*) : NULL;
  va_end(list);
  return (void*)syscall(SYS_mremap, address, size, wanted, flags, place);
}
