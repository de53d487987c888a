// One governing pass over a fresh snapshot.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Takes a snapshot, evaluates every application of it, ranks the schedule groups and sweeps the
// per-application tables.
// Results, each failure reported:
//    0  the pass is complete, also when the database could not be reached
//   -3  the snapshot's time has no local form (message 1050)
//   -4  a monitor operation failed or the snapshot is malformed (message 1051)
//   -6  no memory
//   another failure's result of get_snapshot, check_appl, schedule or write_log
// A DEBUG record that can't be written ends the walk; the pass still sweeps and returns the
// failure. The sweep then forgets the applications that the walk had not reached, so that their
// priorities are not given back by clean-up. Every other failure ends the pass without a sweep.
[[nodiscard]] int32_t govern(glob_struct *glob);

}  // namespace ravelo
