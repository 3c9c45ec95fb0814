// State files behind their first lines and before their check sum, which stand there as they should.
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "target.h"
#include "unit/fittings.h"
#include "unit/profiles/reader.h"
#include "unit/unit.h"

namespace {

std::string sum_of(const std::string& text) {
  uint64_t sum = 0xcbf29ce484222325;
  for (const char character : text) sum = (sum ^ static_cast<uint8_t>(character)) * 0x100000001b3;
  char line[32];
  std::snprintf(line, sizeof line, "end %016llx\n", static_cast<unsigned long long>(sum));
  return line;
}

struct File {
  std::string path = "/tmp/rovk_fuzz_state_" + std::to_string(getpid());
  ~File() { unlink(path.c_str()); }
};

// The first lines, as a unit without a file writes them.
std::string first_lines(const std::string& path) {
  unlink(path.c_str());
  rovk::unit::Unit({.virtual_clock = true}, rovk::unit::everything()).keep_state(path);
  std::stringstream whole;
  whole << std::ifstream(path).rdbuf();
  return whole.str().substr(0, whole.str().rfind("end "));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const File file;
  static const std::string head = first_lines(file.path);
  const std::string text = head + std::string(reinterpret_cast<const char*>(data), size);
  std::ofstream(file.path, std::ios::trunc) << text << sum_of(text);
  try {
    rovk::unit::Unit unit({.virtual_clock = true}, rovk::unit::everything());
    unit.keep_state(file.path);
    unit.advance_to(std::chrono::seconds(1));
  } catch (const rovk::unit::DescriptionError&) {
  }
  return 0;
}
