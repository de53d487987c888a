// The daemon's cycles: stop request, configuration, governing pass, sleep.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Runs cycles until a stop request is seen or something fails. *stop_requested: it was the request.
// Results, each failure reported: 0 stopped; -2 stopped, but the request could not be closed or the
// "STOP" record not be written; otherwise the failure's result.
[[nodiscard]] int32_t main_loop(glob_struct *glob, bool *stop_requested);

// Writes the "STOP" record. Results: 0; -2 it could not be written.
[[nodiscard]] int32_t report_stop(glob_struct *glob);

}  // namespace ravelo
