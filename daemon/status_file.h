// The status file, by which a running daemon is found, and the stop request it is renamed to.
#pragma once

#include <cstddef>
#include <cstdint>

#include "daemon/glob_struct.h"

namespace ravelo {

constexpr size_t node_text_size = 6;  // the node argument as text, with its terminator

// Fills status_file_name and stop_file_name for db_name and the node text.
// Results, each failure reported on standard error: 0; -3 when there is no instance directory or
// the names do not fit.
[[nodiscard]] int32_t get_status_filenames(glob_struct *glob, const char *node_text);

// Creates the status file, so that a second daemon for the same database and node is refused, and
// deletes a stop request that an earlier run left.
// Results, each failure reported on standard error: 0; 2 the database is governed already; -3 any
// other failure, the status file being gone again unless closing it was what failed.
[[nodiscard]] int32_t claim_status_file(glob_struct *glob);

// Asks the daemon to stop: renames its status file to the stop request.
// Results, each failure reported on standard error: 0; 2 there is no daemon, or access is denied;
// -3 any other failure.
[[nodiscard]] int32_t request_stop(glob_struct *glob, const char *node_text);

// Looks for a stop request. *requested: there is one. Results, each failure reported: 0; -2 the
// request could not be looked for, or not be closed (*requested then is set).
[[nodiscard]] int32_t test_stop_request(glob_struct *glob, bool *requested);

}  // namespace ravelo
