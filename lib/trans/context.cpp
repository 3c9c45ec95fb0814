#include "trans/context.h"

#include <rovk/constants.h>

#include <cstdio>
#include <mutex>
#include <unordered_map>

#include "trans/log.h"
#include "trans/settings.h"

namespace rovk::trans {
namespace {

struct Register {
  std::mutex mutex;
  std::unordered_map<void*, std::shared_ptr<Context>> live;
  uintptr_t last = 0x54720001;
};

// Never destroyed: a context may still be open while the process ends.
Register& contexts() {
  static Register* const instance = new Register;
  return *instance;
}

// Handles are odd numbers, so no address of an object is one by chance; nor are they near to 0, where
// other numbers that serve as handles begin. Null: all are used up.
void* next_handle() {
  const std::lock_guard lock(contexts().mutex);
  if (contexts().last >= UINTPTR_MAX - 2) return nullptr;
  contexts().last += 2;
  return reinterpret_cast<void*>(contexts().last);
}

// The status alone does not tell what is wrong with a text.
int32_t refuse(int32_t status, const char* text, const char* wrong) {
  char line[1024];
  std::snprintf(line, sizeof line, "rovktrans_init cannot open '%s': %s", text ? text : "", wrong);
  if (*wrong) log_line(ROVK_LOG_PRIORITY_ERR, line);
  return status;
}

}  // namespace

void Context::update_descriptor() {
  if (!watched || closed()) return;
  const uint64_t wake = kept.empty() ? transactions.first_deadline_ns() : 0;
  if (wake == wake_ns) return;
  wake_ns = wake;
  rovk_transport_fd(transport.get(), wake);
}

int32_t open_context(const char* text, void** slot) {
  const char* wrong = "";
  const auto settings = parse_settings(text, wrong);
  if (!settings) return refuse(-EINVAL, text, wrong);
  void* const handle = next_handle();
  if (!handle) return -ENOSPC;
  auto context = std::make_shared<Context>(handle, settings->limit_ns);
  rovk_transport* transport = nullptr;
  const int32_t status = rovk_transport_open(settings->way.c_str(), handle, &transport);
  if (status != 0) return refuse(status, text, rovk_transport_reason());
  context->transport.reset(transport);
  context->application = rovk_transport_application(transport);
  const std::lock_guard lock(contexts().mutex);
  contexts().live.emplace(handle, std::move(context));
  *slot = handle;
  return 0;
}

std::shared_ptr<Context> find_context(void* handle) {
  const std::lock_guard lock(contexts().mutex);
  const auto found = contexts().live.find(handle);
  return found == contexts().live.end() ? nullptr : found->second;
}

void forget_context(void* handle) {
  const std::lock_guard lock(contexts().mutex);
  contexts().live.erase(handle);
}

}  // namespace rovk::trans
