// Setting and giving back agent priorities.
#pragma once

#include <cstdint>

#include "daemon/glob_struct.h"
#include "log/locations.h"

namespace ravelo {

constexpr int32_t normal_priority = 0;  // gives an agent the priority back that it had

// Sets an agent's priority; an agent or a database manager that is gone is no failure.
// Results: true with *outcome the call's own result; false after reporting message 1022 with the
// location given, *outcome then being -9.
[[nodiscard]] bool set_priority(glob_struct *glob, uint32_t agent_id, int32_t priority,
                                location where, int32_t *outcome);

}  // namespace ravelo
