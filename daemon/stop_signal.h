// Signals: SIGTERM and SIGINT ask the daemon to stop, and one signal switches the trace.
#pragma once

#include <cstdint>

#include "daemon/glob_struct.h"

namespace ravelo {

constexpr int trace_signal = 23;

// Holds SIGTERM and SIGINT back from now on, except while the daemon sleeps: a pass is never cut
// short. SIGPIPE is held back for good, so that a closed standard error can't end the daemon.
// Results: 0, or the system's error code.
[[nodiscard]] int hold_stop_signals();

// Makes SIGTERM and SIGINT rename the status file to the stop request, and nothing else. The names
// must live as long as the process. Results: 0, or the system's error code.
[[nodiscard]] int install_stop_handler(const glob_struct *glob);

// Installs the client library's trace handler. Results: 0, or the system's error code.
[[nodiscard]] int install_trace_handler();

// Sleeps for a number of milliseconds; a signal ends the sleep early if a stop request is there.
void sleep_milliseconds(const glob_struct *glob, uint64_t milliseconds);

}  // namespace ravelo
