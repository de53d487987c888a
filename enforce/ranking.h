// The three rankings by which the members of a schedule class share out the good priorities.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/schedule_groups.h"

namespace ravelo {

constexpr int32_t unranked_priority = 20;

// Ranks a class, given as a chain linked by class_next: of the members placed in this pass and with
// running statements, at most three each get the priorities 0, 5 and 10, and all others 20.
// old_priority becomes what the priority was before.
void schedule_class(glob_struct *glob, schedapp_struct *chain);

// Gives priority to the next member of each ranking, in the order references, age, weight, that has
// none yet, and moves the ranking's front behind it.
void prioritize(schedapp_struct *&by_refs, schedapp_struct *&by_age, schedapp_struct *&by_weight,
                int32_t priority);

}  // namespace ravelo
