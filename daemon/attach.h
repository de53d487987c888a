// The way to the database manager: readying the client library and attaching to the instance.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Readies the client library and asks it whether the invoking user may govern.
// Results, each failure reported on standard error: 0; -3 the library can't be used; -1 the user
// may not govern.
[[nodiscard]] int32_t set_up_library(glob_struct *glob);

// Directs the library's connections to node_num, where it asks for that, and attaches to the
// instance named by instance_name. Results, each failure reported: 0; -3 either failed.
[[nodiscard]] int32_t attach(glob_struct *glob);

}  // namespace ravelo
