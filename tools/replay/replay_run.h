// A recording replayed under one rule file.
#pragma once

#include <cstdint>
#include <string>

#include "tools/replay/recording_check.h"
#include "tools/replay/summary.h"

namespace ravelo::replay {

struct replay_run {
    std::string database;  // upper case
    std::string config;
    std::string log;  // where the governor log goes; an existing file is appended to
    recording_extent extent;
    bool every = false;  // use every snapshot, whatever the rules' interval
    summary counts;      // filled by govern_recording
};

// Governs the recording that the instance holds, as fast as it goes. The log is written as the
// daemon would have. Results: those of the daemon; each failure reported.
[[nodiscard]] int32_t govern_recording(replay_run &wanted);

}  // namespace ravelo::replay
