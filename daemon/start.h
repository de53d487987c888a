// The start command: from the command line to the main loop and out again.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Governs the database until a stop request or a failure, the arguments being in the state record
// already. Returns the exit status; every failure has been reported.
[[nodiscard]] int32_t start(glob_struct *glob, const char *node_text);

}  // namespace ravelo
