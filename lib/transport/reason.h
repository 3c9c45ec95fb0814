// Why a call failed, in words: what was wrong and what there is instead. A status alone cannot tell.
// Kept for each thread until its next call.
#pragma once

#include <cstdint>

namespace rovk::transport {

void clear_reason();

// "": none is kept.
const char* reason();

// Keeps the text, cut where it is very long, and gives the status back.
[[gnu::format(printf, 2, 3)]] int32_t fail(int32_t status, const char* format, ...);

// Adds to the text that is kept.
[[gnu::format(printf, 1, 2)]] void add_reason(const char* format, ...);

}  // namespace rovk::transport
