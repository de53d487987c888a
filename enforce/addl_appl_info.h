// Figures derived for one application record of the snapshot.
#pragma once

#include <cstdint>

namespace ravelo {

// Built afresh for every application record of every pass; lives while that record is evaluated.
struct addl_appl_info_struct {
    uint32_t min_weight;    // smallest weight of its "L" sub-records; 0 without one
    uint32_t oldest_start;  // smallest start time of them, seconds since the epoch; 0 without one
    uint32_t cpu_secs;      // user and system CPU time together, whole seconds
    uint32_t l_count;       // number of its "L" sub-records
};

}  // namespace ravelo
