#include "trans/log.h"

#include <rovk/constants.h>

#include <cerrno>
#include <string>

#pragma GCC visibility push(default)
#include <rovk/trans.h>
#pragma GCC visibility pop
#include <rovk/message.h>

#include "catalogue/fields.h"
#include "trans/context.h"
#include "wire/message.h"

namespace rovk::trans {
namespace {

std::string value_text(const catalogue::Field& field, const uint8_t* payload) {
  if (field.kind == catalogue::Kind::number) return std::to_string(catalogue::load_number(payload, field));
  std::string text;
  for (unsigned i = 0; i < field.size(); ++i) {
    constexpr const char* digits = "0123456789abcdef";
    text += digits[payload[field.offset + i] >> 4];
    text += digits[payload[field.offset + i] & 15];
  }
  return text;
}

}  // namespace

int32_t log_line(rovk_log_priority priority, const char* text) {
  const int32_t status = rovk_log(nullptr, priority, text, nullptr);
  if (status != -EINVAL) return status;
  // Nobody has opened the default log yet.
  const int32_t opened = rovk_logging_init(nullptr, nullptr);
  return opened != 0 ? opened : rovk_log(nullptr, priority, text, nullptr);
}

void log_event(const catalogue::Service& service, const catalogue::Event& event, const rovk_message& message) {
  // Without memory for the line the others who want the event still get it.
  guarded([&] {
    std::string line =
        std::string(service.name) + " " + event.name + " at address " + std::to_string(wire::peripheral(message));
    const char* glue = ": ";
    for (const catalogue::Field& field : event.record->fields) {
      if (field.reserved) continue;
      line += glue + std::string(field.name) + " " + value_text(field, wire::payload(message));
      glue = ", ";
    }
    return log_line(ROVK_LOG_PRIORITY_INFO, line.c_str());
  });
}

void log_lost_events(uint64_t events) {
  const std::string line = "rovktrans: " + std::to_string(events) +
                           " events lost so far: nobody takes them, the newest " +
                           std::to_string(wire::Queue::max_events) + " are kept";
  log_line(ROVK_LOG_PRIORITY_WARNING, line.c_str());
}

void log_dropped(uint64_t messages, uint64_t events) {
  if (messages == 0 && events == 0) return;
  const std::string line = "rovktrans: dropped " + std::to_string(messages) +
                           " late, foreign or malformed messages and " + std::to_string(events) + " old events";
  log_line(ROVK_LOG_PRIORITY_DEBUG, line.c_str());
}

}  // namespace rovk::trans

// Whatever the context is: a callback that fails after it has closed its context has something to say too.
int32_t rovktrans_log_message(void* /*context*/, rovk_log_priority priority, const char* text, ...) {
  return rovk::guarded([&]() -> int32_t { return text ? rovk::trans::log_line(priority, text) : -EINVAL; });
}
