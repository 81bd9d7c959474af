// The log's listeners (qk_log_add_listener): up to 16 functions with a user pointer each, called in
// the order they were added for every message the log dispatches in IMMEDIATE mode or on its
// worker. The round runs under a lock of its own; a message logged by a listener during its round
// reaches no listener. Safe from any thread.
#pragma once

#include <cstdint>

#include "log/LogRecord.h"

namespace qk {

void call_log_listeners(const LogRecord& record, int64_t wall_clock_base);

}  // namespace qk
