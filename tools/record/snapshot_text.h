// A snapshot as the lines of a recording.
#pragma once

#include <string>

#include "govern/interface/snapshot_records.h"
#include "govern/snapshot_walk.h"

namespace ravelo::record {

// What every recording begins with.
constexpr const char *first_line = "recording 1\n";

// Appends the lines of a snapshot: what figures are 0 and texts empty is left out. Results: false
// when a record is malformed; the text then is as it was. May throw bad_alloc.
[[nodiscard]] bool append_snapshot(std::string &text, const snapshot_summary &summary,
                                   snapshot_bytes bytes);

}  // namespace ravelo::record
