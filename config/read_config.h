// The configuration file as a whole: its grammar and the global statements.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

constexpr uint32_t default_interval = 120;  // seconds

// Reads the file cfg_file_name into the state record: dbname, interval, account, debug and the rule
// list, which must be empty, with its index (config/rule_index.h). After a success cfg_stats is the
// status of the file read.
// Results, each failure reported:
//    0  the whole file was read and accepted
//   -2  the file could not be opened, read, examined or closed
//   -6  no memory for a rule
//   -7  an error in the file's content
// After a failure the rules read so far stay in the list, for release_rules.
[[nodiscard]] int32_t read_config(glob_struct *glob);

// Reads the status of the open file cfg_stream into cfg_stats. Results: 0, or the system's error
// code, not reported.
[[nodiscard]] int read_config_status(glob_struct *glob);

}  // namespace ravelo
