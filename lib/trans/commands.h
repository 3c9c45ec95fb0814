// One transaction, from the inputs to the answer.
#pragma once

#include <cstdint>
#include <span>

#include "catalogue/catalogue.h"
#include "trans/context.h"
#include "trans/delivery.h"

namespace rovk::trans {

// Sends a command and waits for its answer. 0: `answer` holds the values; positive: it holds an error;
// negative: there is no answer, but for -ENODATA, an error answer without an error id.
int32_t transact(Context& context, const catalogue::Command& command, uint16_t address, const void* const* inputs,
                 Mode mode, rovk_message& answer);

// One of several commands that are sent at once, and what came of it.
struct Question {
  const catalogue::Command* command;
  uint16_t address;
  const void* const* inputs;
  int32_t status = 0;  // as transact() gives it
  rovk_message answer = {};
};

// Sends all, then waits for all answers, which takes no longer than the slowest. No callback runs.
void transact_all(Context& context, std::span<Question> questions);

}  // namespace rovk::trans
