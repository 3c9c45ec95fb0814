// Memory that ends: who asks is told by where the call comes from, and the n-th request of Lua's, or of our libraries
// and modules and the C++ library they stand on, is refused, alone or with all behind it.
#pragma once

#include <cstddef>

namespace memory {

struct Supply {
  long remaining = -1;  // requests that are still granted; negative: all
  bool alone = false;   // one is refused, those behind it are not
  bool refused = false;
  long count = 0;  // of requests

  void refuse_after(long granted, bool only_one) { *this = {granted, only_one, false, 0}; }
  bool refuses();
};
extern Supply lua, ours;

// What Lua frees need not serve again.
extern bool at_end;

// Learns where our libraries and modules lie, as far as they are loaded.
void find_ours();

// Lua's allocator.
void* allocate(void* data, void* block, std::size_t old_size, std::size_t new_size);

// References to callbacks that the module has asked for and nobody has freed.
long references();

// The contexts that were opened, whoever has closed some meanwhile.
void close_contexts();

}  // namespace memory
