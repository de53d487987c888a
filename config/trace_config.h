// Shows the rules as the daemon has understood them.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// While validating, lists the rules on standard output; with a debug level above 4, writes them as
// DEBUG records; otherwise does nothing.
// Results: 0, or the first non-zero result of write_log, which ends the trace.
[[nodiscard]] int32_t trace_config(glob_struct *glob);

}  // namespace ravelo
