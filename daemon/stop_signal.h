// Signals: SIGTERM and SIGINT ask the daemon to stop, and one signal switches the trace.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Makes SIGTERM and SIGINT rename the status file to the stop request, and nothing else. They are
// held back from now on, except at deliver_held_signals and while the daemon sleeps: a pass is
// never cut short. SIGPIPE and SIGXFSZ are held back for good, so that a closed standard error or a
// full log is a failed write and not the daemon's end. There is no result: with these arguments the
// system's calls can't fail.
void prepare_stop_signals();

// Lets the stop signals in that were held back, so that a stop request they make is seen.
void deliver_held_signals(const glob_struct *glob);

// Installs the client library's trace handler. Results: 0, or the system's error code.
[[nodiscard]] int install_trace_handler();

// Sleeps for a number of milliseconds; a signal ends the sleep early if a stop request is there.
void sleep_milliseconds(const glob_struct *glob, uint64_t milliseconds);

}  // namespace ravelo
