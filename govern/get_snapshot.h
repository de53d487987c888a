// The application snapshot: switches, buffer, and the outcomes of the monitor operations.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "log/locations.h"

namespace ravelo {

// Fills snap_req with the request for all applications of db_name.
void fill_snapshot_request(glob_struct *glob);

// Lets the next snapshot be taken into a buffer of about size bytes, which grows as it must,
// without an estimate, so that a snapshot without applications is taken like any other. Only before
// the first one.
void skip_size_estimate(glob_struct *glob, uint32_t size);

// Makes sure that the monitor switches the rules need are on, and takes a snapshot into snap_buf.
// Results, each failure reported:
//    0  a snapshot is in the buffer, or the size estimate found nothing to report
//    1  no usable snapshot in this pass, the daemon goes on
//   -4  a monitor operation failed, or a switch the rules need is off (message 1056)
//   -6  no memory for the buffer (message 1049)
//   another result of write_log
[[nodiscard]] int32_t get_snapshot(glob_struct *glob);

// Classifies the non-zero SQL code of a monitor operation in api_sqlca, reports it and keeps
// db_available. op_name: the operation's name in messages. Results: 1 (no usable snapshot), -4
// (failed), or that of write_log when a warning could not be written.
[[nodiscard]] int32_t map_snap_sqlcode(glob_struct *glob, const char *op_name, location where);

}  // namespace ravelo
