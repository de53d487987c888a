// What the rules decide for one application.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "daemon/glob_struct.h"
#include "enforce/action_request.h"
#include "govern/addl_appl_info.h"

namespace ravelo {

constexpr size_t limit_count = 6;  // cpu, locks, rowssel, rowsread, idle, uowtime

struct decision {
    uint32_t breached;  // limits breached under the deciding rule, bit 0 for the first one
    std::array<int32_t, limit_count> values;  // the figures they were compared with
    int32_t force;
    int32_t schedule_kind;
    int32_t priority;  // when neither force nor schedule_kind is set
    int32_t line;      // of the deciding rule
};

// Takes every rule in file order; the last applying rule that breaches a limit decides. No limit is
// breached when nothing is to be done.
[[nodiscard]] decision decide(const glob_struct *glob, const appl_texts &texts,
                              const appl_snapshot *record, const addl_appl_info_struct *info);

// Whether a limit is breached. limit: below limit_count.
[[nodiscard]] constexpr bool is_breached(const decision &decided, size_t limit) {
    return ((decided.breached >> limit) & 1U) != 0;
}

// Whether a decision calls for an action.
[[nodiscard]] constexpr bool calls_for_action(const decision &decided) {
    return decided.breached != 0;
}

}  // namespace ravelo
