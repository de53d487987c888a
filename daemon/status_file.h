// The status file, by which a running daemon is found, and the stop request it is renamed to.
//
// A daemon holds a lock on the status file it created, which tells its stop request from one that
// an earlier run left: a request file that is locked belongs to a daemon that lives. Each program
// does its few steps in the folder under the folder's lock, so that no other's come between them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

constexpr size_t node_text_size = 6;  // the node argument as text, with its terminator

// Fills status_file_name and stop_file_name for db_name and the node text.
// Results, each failure reported on standard error: 0; -3 when there is no instance directory or
// the names do not fit.
[[nodiscard]] int32_t get_status_filenames(glob_struct *glob, const char *node_text);

// Creates the status file and locks it until the process ends, so that a second daemon for the same
// database and node is refused, and deletes a stop request that an earlier run left. Refused, with
// the status file gone again, while a daemon that was asked to stop has not ended.
// Results, each failure reported on standard error: 0; 2 the database is governed already; -3 any
// other failure, the status file being gone again unless closing it was what failed.
[[nodiscard]] int32_t claim_status_file(glob_struct *glob);

// Asks the daemon to stop: renames its status file to the stop request.
// Results, each failure reported on standard error: 0; 2 there is no daemon, or access is denied;
// -3 any other failure.
[[nodiscard]] int32_t request_stop(glob_struct *glob, const char *node_text);

// Deletes the status file if it is still the one that was claimed, when the daemon ends by a
// failure: one of this call would not replace that, so it has no result.
void delete_status_file(const glob_struct *glob);

// Makes the stop request for this daemon, if its status file is still in its place. There is no
// result: a request that fails changes nothing, the daemon goes on, and so does its status file.
void request_own_stop(const glob_struct *glob);

// Looks for a stop request. *requested: there is one. Results, each failure reported: 0; -2 the
// request could not be looked for, or not be closed (*requested then is set).
[[nodiscard]] int32_t test_stop_request(glob_struct *glob, bool *requested);

}  // namespace ravelo
