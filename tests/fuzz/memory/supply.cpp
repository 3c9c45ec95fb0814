// In place of the C library's allocation and of the C++ library's, in front of the sanitizers', which are asked in
// turn, and in front of what opens contexts.
#include "supply.h"

#include <dlfcn.h>
#include <link.h>
#include <rovk/trans.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>

#include "ways.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif
extern "C" {
void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void* REAL(realloc)(void* block, std::size_t size);
void REAL(free)(void* block);
}

namespace memory {

Supply lua, ours;
bool at_end;

bool Supply::refuses() {
  const bool ends = remaining == 0 && !refused;
  if (noting || ends) note_request(*this, ends);
  ++count;
  if (remaining < 0) return false;
  if (remaining-- > 0) return false;
  refused = true;
  remaining = alone ? -1 : 0;
  return true;
}

namespace {

struct Range {
  uintptr_t begin, end;
  bool is_module;
};
Range ranges[16];
unsigned range_count;

int add_range(dl_phdr_info* info, std::size_t, void*) {
  for (const char* const name : {"/librovk", "/rovk_message.so", "/rovk_companion.so", "/libstdc++", "/libevent"}) {
    if (!strstr(info->dlpi_name, name)) continue;
    for (unsigned i = 0; i < info->dlpi_phnum && range_count < sizeof ranges / sizeof *ranges; ++i) {
      const auto& part = info->dlpi_phdr[i];
      if (part.p_type != PT_LOAD || !(part.p_flags & PF_X)) continue;
      const uintptr_t begin = info->dlpi_addr + part.p_vaddr;
      ranges[range_count++] = {begin, begin + part.p_memsz, strcmp(name, "/rovk_message.so") == 0};
    }
  }
  return 0;
}

const Range* range_of(const void* caller) {
  const auto address = reinterpret_cast<uintptr_t>(caller);
  for (unsigned i = 0; i < range_count; ++i) {
    if (address >= ranges[i].begin && address < ranges[i].end) return &ranges[i];
  }
  return nullptr;
}

// Of the module's own blocks references alone are larger than the largest record of the protocol.
constexpr std::size_t largest_record = 32;
constexpr std::size_t places = 1U << 18;
void* known[places];
void* const taken_out = &known;
long known_count;

std::size_t place_of(const void* block) { return (reinterpret_cast<uintptr_t>(block) >> 4) * 0x9e3779b1U % places; }

void remember(void* block) {
  std::size_t place = place_of(block);
  while (known[place] && known[place] != taken_out) place = (place + 1) % places;
  known[place] = block;
  ++known_count;
}

void forget(const void* block) {
  if (known_count == 0 || !block) return;
  for (std::size_t place = place_of(block); known[place]; place = (place + 1) % places) {
    if (known[place] != block) continue;
    known[place] = taken_out;
    --known_count;
    return;
  }
}

void* contexts[8192];
unsigned context_count;

bool refused(const void* caller) {
  if (!range_of(caller) || !ours.refuses()) return false;
  errno = ENOMEM;
  return true;
}

// A process at its end shares its pages with those that go on. Each block freed would cost a copy of one.
void give_back(void* block, std::size_t size) {
  if (!at_end) {
    REAL(free)(block);
    return;
  }
#ifdef __SANITIZE_ADDRESS__
  __asan_poison_memory_region(block, size);
#else
  static_cast<void>(size);
#endif
}

void* make(std::size_t size, const void* caller) { return refused(caller) ? nullptr : REAL(malloc)(size); }

void* make_or_throw(std::size_t size, const void* caller) {
  void* const block = make(size ? size : 1, caller);
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

void find_ours() {
  range_count = 0;
  dl_iterate_phdr(add_range, nullptr);
}

void* allocate(void*, void* block, std::size_t old_size, std::size_t new_size) {
  if (new_size == 0) {
    give_back(block, old_size);
    return nullptr;
  }
  if (new_size > old_size && lua.refuses()) return nullptr;
  return REAL(realloc)(block, new_size);
}

long references() { return known_count; }

void close_contexts() {
  for (unsigned i = 0; i < context_count; ++i) rovktrans_deinit(contexts[i]);
  context_count = 0;
}

}  // namespace memory

#define SHOWN extern "C" [[gnu::visibility("default")]]
#define CALLER __builtin_return_address(0)

SHOWN void* malloc(std::size_t size) { return memory::make(size, CALLER); }
SHOWN void* calloc(std::size_t count, std::size_t size) {
  if (memory::refused(CALLER)) return nullptr;
  void* const block = REAL(calloc)(count, size);
  const memory::Range* const range = memory::range_of(CALLER);
  if (block && range && range->is_module && count * size > memory::largest_record) memory::remember(block);
  return block;
}
SHOWN void* realloc(void* block, std::size_t size) {
  return memory::refused(CALLER) ? nullptr : REAL(realloc)(block, size);
}
SHOWN void free(void* block) {
  memory::forget(block);
  REAL(free)(block);
}

#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // all are here
#pragma GCC visibility push(default)
void* operator new(std::size_t size) { return memory::make_or_throw(size, CALLER); }
void* operator new[](std::size_t size) { return memory::make_or_throw(size, CALLER); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return memory::make(size, CALLER); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return memory::make(size, CALLER); }
void operator delete(void* block) noexcept { REAL(free)(block); }
void operator delete[](void* block) noexcept { REAL(free)(block); }
void operator delete(void* block, std::size_t) noexcept { REAL(free)(block); }
void operator delete[](void* block, std::size_t) noexcept { REAL(free)(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { REAL(free)(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { REAL(free)(block); }
#pragma GCC visibility pop

SHOWN int32_t rovktrans_init(const char* text, void* pointer, void** slot) {
  static const auto real = reinterpret_cast<decltype(&rovktrans_init)>(dlsym(RTLD_NEXT, "rovktrans_init"));
  const int32_t status = real(text, pointer, slot);
  const bool has_room = memory::context_count < sizeof memory::contexts / sizeof *memory::contexts;
  if (status == 0 && has_room) memory::contexts[memory::context_count++] = *slot;
  return status;
}
