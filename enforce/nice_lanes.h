// Express lanes over nice_list: where a new agent id belongs in the list, in a time that grows with
// the logarithm of its length. About one record in eight has a stop on the first lane, one in eight
// of those also one on the second, and so on. Lanes only save time: without them the list says it
// all.
#pragma once

#include <cstdint>

#include "daemon/glob_struct.h"
#include "enforce/nice_appl.h"

namespace ravelo {

// A record's stop, on as many lanes as its agent id decides. Created by add_nice_stop, owned by the
// first lane; released by drop_nice_stop and release_nice_lanes.
struct nice_stop {
    niceapp_struct *entry;
    uint32_t agent_id;
    nice_stop *next[nice_lane_count];  // lanes without this stop: null
};

// The link of nice_list behind which an agent id stands, or would stand: the first one whose record
// has no larger id.
[[nodiscard]] niceapp_struct **place_in_nice_list(glob_struct *glob, uint32_t agent_id);

// Gives a record that has been linked into nice_list its stop, if it is to have one. Without memory
// it gets none.
void add_nice_stop(glob_struct *glob, niceapp_struct *entry);

// Takes a record's stop away, if it has one, before the record leaves nice_list.
void drop_nice_stop(glob_struct *glob, const niceapp_struct *entry);

// Releases all stops.
void release_nice_lanes(glob_struct *glob);

}  // namespace ravelo
