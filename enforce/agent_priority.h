// Setting and giving back agent priorities.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "log/locations.h"

namespace ravelo {

// Sets an agent's priority; an agent or a database manager that is gone is no failure.
// Results: -9 after reporting message 1022 with the location given; otherwise the call's own, which
// the library may choose as it likes, so that only priority_refused tells the two apart.
[[nodiscard]] int32_t set_priority(glob_struct *glob, uint32_t agent_id, int32_t priority,
                                   location where);

// Whether the set_priority just made has failed.
[[nodiscard]] bool priority_refused(const glob_struct *glob);

}  // namespace ravelo
