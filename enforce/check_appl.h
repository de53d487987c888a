// Rule evaluation: what is done about one application of one snapshot.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/addl_appl_info.h"

namespace ravelo {

// Counts the application's reference to a scheduled one, keeps its accounting record, and carries
// out the action that the rules decide on. account_due: 1 in an accounting pass.
// Results, each failure reported: 0, whether or not there was an action; -6 no memory; the first
// non-zero result of write_log; or the action's.
[[nodiscard]] int32_t check_appl(glob_struct *glob, const appl_snapshot *record,
                                 const addl_appl_info_struct *info, int32_t account_due);

}  // namespace ravelo
