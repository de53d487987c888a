// Looks at a recording before it is replayed.
#pragma once

#include <cstdint>
#include <string>

namespace ravelo::replay {

struct recording_extent {
    uint32_t start = 0;      // time of the first snapshot
    uint32_t snapshots = 0;  // before the recording's end, or before it begins anew
};

// Reads a recording to its end. Results: 0; program::failed, what is wrong with it being said. May
// throw bad_alloc.
[[nodiscard]] int32_t check_recording(const std::string &path, recording_extent *found);

}  // namespace ravelo::replay
