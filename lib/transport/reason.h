// Why a call failed, in words: what was wrong and what there is instead. A status alone cannot tell.
// Kept for each thread until its next call.
#pragma once

#include <cstdint>
#include <string_view>

namespace rovk::transport {

void clear_reason();

// Keeps the text, cut where it is very long, and gives the status back.
int32_t fail(int32_t status, std::string_view text);

}  // namespace rovk::transport
