// Result codes of the daemon's operations and, for main, its exit statuses.
#pragma once

#include <cstdint>

namespace ravelo::result {

constexpr int32_t ok = 0;
constexpr int32_t no_snapshot = 1;  // no usable snapshot in this pass; the daemon carries on
constexpr int32_t end_of_file = 1;  // tokenizer: the configuration has no further token
constexpr int32_t conflict = 2;     // status file: already governed, or nothing to stop
constexpr int32_t usage = -1;       // usage, argument or authority error
constexpr int32_t file = -2;        // log, configuration or stop-request file failure
constexpr int32_t manager = -3;     // database manager, status-file or clock failure
constexpr int32_t monitor = -4;     // monitor failure or malformed snapshot
constexpr int32_t memory = -6;      // memory exhausted
constexpr int32_t config = -7;      // error in the configuration file
constexpr int32_t force = -8;       // an application could not be forced
constexpr int32_t priority = -9;    // an agent priority could not be set or given back

}  // namespace ravelo::result
