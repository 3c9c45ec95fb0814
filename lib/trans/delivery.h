// Where messages are taken in and callbacks run.
#pragma once

#include <cstdint>
#include <memory>

#include "trans/context.h"

namespace rovk::trans {

// Quiet: no callback runs; what would run one is kept for later.
enum class Mode : uint8_t { run_callbacks, quiet };

// Waits until the answer is there, the context is closed or the time is up; quietly inside a callback.
// 0: `wait.answer` holds the answer; -ETIMEDOUT; -ECANCELED: closed; or what the transport failed with.
int32_t await(Context& context, Wait& wait, Mode mode);

// As rovktrans_dispatch.
int32_t dispatch(Context& context, int32_t timeout_ms);

// Closes the context: its handle is spent, each call that waits gets to know when it resumes, and each
// pending command ends with a communication failure, inside a callback as soon as that has returned.
void close(std::shared_ptr<Context> context);

}  // namespace rovk::trans
