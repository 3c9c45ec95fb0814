// What the library itself writes to the log.
#pragma once

#include <rovk/types.h>

#include "catalogue/catalogue.h"

namespace rovk::trans {

// Writes to the default log, and opens it when nobody has.
int32_t log_line(rovk_log_priority priority, const char* text);

// One line, at info priority, with the event's values by name.
void log_event(const catalogue::Service& service, const catalogue::Event& event, const rovk_message& message);

// One line, at warning priority: events were lost since nobody took them in time.
void log_lost_events(uint64_t events);

// One line, at debug priority, on the messages that nothing could be done with and the events that were
// lost. Neither: no line.
void log_dropped(uint64_t messages, uint64_t events);

}  // namespace rovk::trans
