// Without libFuzzer: runs a target with each file of the folders that are named. The files are those from
// which the fuzzer starts, and those with which it found something.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "target.h"

int main(int count, char** names) {
  unsigned files = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(names[i])) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++files;
    }
  }
  std::printf("%u files\n", files);
  return files == 0;
}
