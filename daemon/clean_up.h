// Undoes what the daemon has done to the database manager and releases what it holds.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

enum class clean_up_mode : int {
    at_end = 0,     // everything, and the attachment
    at_reread = 1,  // rules, changed priorities and schedule groups
};

// Releases the rules, gives every changed agent priority back and releases the records of it; at
// the end also releases accounting records and snapshot memory and detaches.
// Results, each failure reported, none of which stops the walk: 0; -9 a priority could not be given
// back; -3 detaching failed (at the end only; it replaces -9).
[[nodiscard]] int32_t clean_up(glob_struct *glob, clean_up_mode mode);

// The shutdown sequence: clean-up, closing the log, and deleting the status file unless the daemon
// was stopped by request. outcome: the pending result, a failure unless it was. Returns the exit
// status: outcome, or the first failure when outcome is 0.
[[nodiscard]] int32_t shut_down(glob_struct *glob, int32_t outcome, bool stop_requested);

}  // namespace ravelo
