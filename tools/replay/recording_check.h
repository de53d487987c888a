// Looks at a recording before it is replayed.
#pragma once

#include <cstdint>
#include <string>

namespace ravelo::replay {

// Reads a recording to its end. *start: the time of its first snapshot. Returns what is wrong with
// it, with the line; empty: nothing. May throw bad_alloc.
[[nodiscard]] std::string check_recording(const std::string &path, uint32_t *start);

}  // namespace ravelo::replay
