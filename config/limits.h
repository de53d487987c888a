// The limits that rules set, a row each: what the reader, the decision, the reason, the listing and
// the tools know of a limit stands here.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "config/rules.h"
#include "daemon/base/glob_struct.h"
#include "govern/interface/snapshot_records.h"
#include "log/locations.h"
#include "log/messages.h"

namespace ravelo {

// When a figure breaches its limit.
enum class boundary : uint8_t {
    reached,          // figure >= limit, unsigned
    exceeded,         // figure > limit, unsigned
    exceeded_signed,  // figure > limit, signed
};

// What the figures of one application are taken from. It owns nothing.
struct application_figures {
    const appl_snapshot *record;
    uint32_t cpu_secs;   // user and system CPU time together, whole seconds
    uint32_t snap_time;  // of the snapshot, seconds since the epoch
};

struct limit_row {
    std::string_view keyword;         // of the rule file, in upper case
    std::string_view name;            // as messages name it
    int32_t config_restrict::*field;  // 0 not given, no_limit, or 1 or more
    int32_t (*figure)(const application_figures &from);
    boundary breach;
    message reason;                    // its token: the figure
    location refused;                  // of a value that the reader refuses
    uint32_t glob_struct::*monitored;  // flag of the monitor data it needs; null none
    size_t listed;                     // its place in the listing
};

// Seconds since the unit of work began; 0 when none runs. Negative where the start is yet to come,
// as after a clock was set back, and held at the ends of its 32 bits, beyond which a start that is
// far off would change the sign.
[[nodiscard]] inline int32_t unit_of_work_age(const application_figures &from) {
    using range = std::numeric_limits<int32_t>;
    if (from.record->uow_stop != 0 || from.record->uow_start == 0)
        return 0;
    const int64_t age = int64_t{from.snap_time} - int64_t{from.record->uow_start};
    return static_cast<int32_t>(std::clamp<int64_t>(age, range::min(), range::max()));
}

inline constexpr std::array<limit_row, 6> limits{{
    {"CPU", "cpu", &config_restrict::cpu_limit,
     [](const application_figures &from) { return static_cast<int32_t>(from.cpu_secs); },
     boundary::reached, message::cpu_breached, location::limit_cpu, nullptr, 0},
    {"LOCKS", "locks", &config_restrict::locks_limit,
     [](const application_figures &from) { return static_cast<int32_t>(from.record->locks_held); },
     boundary::exceeded, message::locks_breached, location::limit_locks, nullptr, 1},
    {"ROWSSEL", "rowssel", &config_restrict::rowssel_limit,
     [](const application_figures &from) {
         return static_cast<int32_t>(from.record->rows_selected);
     },
     boundary::exceeded, message::rowssel_breached, location::limit_rowssel, nullptr, 2},
    {"ROWSREAD", "rowsread", &config_restrict::rowsread_limit,
     [](const application_figures &from) { return static_cast<int32_t>(from.record->rows_read); },
     boundary::exceeded, message::rowsread_breached, location::limit_rowsread, nullptr, 3},
    {"IDLE", "idle", &config_restrict::idle_limit,
     [](const application_figures &from) { return static_cast<int32_t>(from.record->idle_time); },
     boundary::exceeded, message::idle_breached, location::limit_idle, &glob_struct::stmt_info_used,
     5},
    {"UOWTIME", "uowtime", &config_restrict::uowtime_limit, unit_of_work_age,
     boundary::exceeded_signed, message::uowtime_breached, location::limit_uowtime,
     &glob_struct::uow_limit_used, 4},
}};
constexpr size_t limit_count = limits.size();

// The least limit that a figure no longer breaches; 0 when it breaches none. Limits are 1 or more.
[[nodiscard]] constexpr uint32_t unbreached_from(const limit_row &row, int32_t figure) {
    constexpr uint32_t beyond_all = uint32_t{1} << 31U;
    if (row.breach == boundary::exceeded_signed && figure < 0)
        return 0;
    const auto value = static_cast<uint32_t>(figure);
    if (value >= beyond_all)
        return beyond_all;
    return row.breach == boundary::reached ? value + 1 : value;
}

}  // namespace ravelo
