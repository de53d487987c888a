// Undoes what the actions did to agents' priorities.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Gives every agent in nice_list and then in sched_table its priority back, in the order of list
// and chains, and releases these records and the schedule groups. Results: 0, also where an agent
// or the database manager is gone; -9 when a priority could not be given back, each reported, none
// of which stops the walk.
[[nodiscard]] int32_t give_back(glob_struct *glob);

}  // namespace ravelo
