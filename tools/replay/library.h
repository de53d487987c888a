// What stands between the governing core and the client library, the clock and the system log while
// a recording is replayed: time is the recording's, snapshots come at the rules' interval, and what
// the daemon does is noted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/replay/recording_check.h"

namespace ravelo::replay {

// A message that the core has packed: its number and tokens.
using packed_message = std::function<void(long number, const std::vector<std::string> &tokens)>;

// Begins a replay: the clock stands at the recording's start, and snapshots less than interval
// seconds after the one used before them are passed over.
void begin(const recording_extent &extent, uint32_t interval, packed_message listener);

// Whether the recording has no further snapshot, or has begun anew.
[[nodiscard]] bool at_end();

}  // namespace ravelo::replay
