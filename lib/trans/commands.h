// One transaction, from the inputs to the answer.
#pragma once

#include "catalogue/catalogue.h"
#include "trans/context.h"
#include "trans/delivery.h"

namespace rovk::trans {

// Sends a command and waits for its answer. 0: `answer` holds the values; positive: it holds an error;
// negative: there is no answer, but for -ENODATA, an error answer without an error id.
int32_t transact(Context& context, const catalogue::Command& command, uint16_t address, const void* const* inputs,
                 Mode mode, rovk_message& answer);

}  // namespace rovk::trans
