// The end of a governing pass: what the pass did not confirm is dropped.
#pragma once

#include "daemon/base/glob_struct.h"

namespace ravelo {

// Drops the entries of nice_list and sched_table whose seen flag is clear, leaving agent priorities
// as they are, and clears the flag of the others. In an accounting pass does the same with
// acct_table, after the final accounting record of each entry it drops.
void sweep(glob_struct *glob, bool accounting_pass);

}  // namespace ravelo
