// One recorded night under one rule file.
#pragma once

#include <cstdint>
#include <string>

#include "tools/replay/summary.h"

namespace ravelo::replay {

struct night {
    std::string database;  // upper case
    std::string config;
    std::string log;     // where the governor log goes; an existing file is appended to
    uint32_t start = 0;  // time of the recording's first snapshot
    bool every = false;  // use every snapshot, whatever the rules' interval
    summary counts;      // filled by govern_night
};

// Governs the recording that the instance holds, as fast as it goes. The log is written as the
// daemon would have. Results: those of the daemon; each failure reported.
[[nodiscard]] int32_t govern_night(night &wanted);

}  // namespace ravelo::replay
