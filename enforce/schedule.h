// The end of a pass for the schedule groups: ranking and priorities.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Ranks every group and sets the priorities that changed; members that no rule placed in this pass
// get priority 0 back and leave their group.
// Results: the result of the last priority call, 0 when there was none; -9 at once, reported, when
// a priority could not be set.
[[nodiscard]] int32_t schedule(glob_struct *glob);

}  // namespace ravelo
