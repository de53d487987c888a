// One governing pass over a fresh snapshot.
#pragma once

#include <cstdint>

#include "daemon/glob_struct.h"

namespace ravelo {

// Figures that the pass derives for one application record. Lives while that record is evaluated.
struct addl_appl_info_struct {
    uint32_t min_weight;    // smallest weight of its "L" sub-records; 0 without one
    uint32_t oldest_start;  // smallest start time of them, seconds since the epoch; 0 without one
    uint32_t cpu_secs;      // user and system CPU time together, whole seconds
    uint32_t l_count;       // number of its "L" sub-records
};

// Takes a snapshot, evaluates every application of it, ranks the schedule groups and sweeps the
// per-application tables.
// Results, each failure reported:
//    0  the pass is complete, also when the database could not be reached
//   -4  a monitor operation failed or the snapshot is malformed (message 1051)
//   -6  no memory
//   another failure's result of get_snapshot, check_appl, schedule or write_log
// A DEBUG record that can't be written ends the walk; the pass still sweeps and returns the
// failure. Every other failure ends the pass without a sweep.
[[nodiscard]] int32_t govern(glob_struct *glob);

}  // namespace ravelo
