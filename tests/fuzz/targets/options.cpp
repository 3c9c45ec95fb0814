// The text that says where a unit is. None that names a file is opened: paths are not what is tried here.
#include "lib/transport/options.h"

#include <rovk/trans.h>

#include <string>

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto options = rovk::transport::parse_options(text.c_str());
  if (options && (!options->file.empty() || !options->state.empty())) return 0;
  void* context = nullptr;
  if (rovktrans_init(text.c_str(), nullptr, &context) == 0) rovktrans_deinit(context);
  return 0;
}
