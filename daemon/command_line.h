// The command line: what the three commands have in common, their arguments and usage texts.
#pragma once

#include <cstdint>
#include <span>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Runs the command that the command line asks for; words begin with the process name. glob needs no
// preparation. Returns the exit status; every failure has been reported.
[[nodiscard]] int32_t run_command(glob_struct *glob, std::span<const char *const> words);

}  // namespace ravelo
