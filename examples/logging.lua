-- Lines, messages and errors in the log. They go to the system log, and to the standard error stream
-- as well when that is a terminal.
local rovk = require "rovk_message"

-- The process's default log, under a name of ours; a nil handle stands for it.
assert(rovk.rovk_logging_init("example", nil) == 0)
rovk.rovk_log(nil, rovk.ROVK_LOG_PRIORITY_INFO, "a line; %s and %d are plain text here")

local command, answer = rovk.rovk_message(), rovk.rovk_message()
rovk.rovk_led_0001_initialize_set_state_command(command, 0x0101, 1, 1, 200, 800)
rovk.rovk_log_message(nil, rovk.ROVK_LOG_PRIORITY_DEBUG, command)

rovk.rovk_common_initialize_invalid_payload_error(answer, command, 0x0101, 2)
rovk.rovk_log_error(nil, rovk.ROVK_LOG_PRIORITY_WARNING, answer.cre.r.pei.ei)

-- A context has a log too. This one goes with the context.
local status, context = rovk.rovktrans_init(nil, nil)
assert(status == 0, "no unit")
rovk.rovktrans_log_message(context, rovk.ROVK_LOG_PRIORITY_NOTICE, "a line of a context")
assert(rovk.rovktrans_deinit(context) == 0)
assert(rovk.rovk_logging_deinit(nil) == 0)
print("four lines logged under 'example'")
