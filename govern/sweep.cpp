#include "govern/sweep.h"

#include "enforce/account.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"

namespace ravelo {

void sweep(glob_struct *glob, bool accounting_pass) {
    drop_unseen_niceapps(glob);
    drop_unseen_schedapps(glob);
    if (accounting_pass)
        close_accounts(glob);
}

}  // namespace ravelo
