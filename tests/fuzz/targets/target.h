// What every target is: one function, called by libFuzzer, or by replay.cpp with the files of a corpus.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
