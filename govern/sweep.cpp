#include "govern/sweep.h"

#include "daemon/memory.h"
#include "enforce/account.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"

namespace ravelo {
namespace {

// Walks a chain, clearing the flag of seen entries and dropping the others after drop was told.
template <class Record, class Drop>
void sweep_chain(Record **chain, Record *Record::*link, Drop drop) {
    while (*chain != nullptr) {
        Record *const entry = *chain;
        if (entry->seen != 0) {
            entry->seen = 0;
            chain = &(entry->*link);
            continue;
        }
        drop(entry);
        *chain = entry->*link;
        release_memory(entry);
    }
}

}  // namespace

void sweep(glob_struct *glob, bool accounting_pass) {
    sweep_chain(&glob->nice_list, &niceapp_struct::next,
                [glob](const niceapp_struct *entry) { forget_niceapp(glob, entry); });
    for (schedapp_struct *&chain : glob->sched_table)
        sweep_chain(&chain, &schedapp_struct::hash_next,
                    [glob](schedapp_struct *entry) { forget_schedapp(glob, entry); });
    if (!accounting_pass)
        return;
    for (acctapp_struct *&chain : glob->acct_table)
        sweep_chain(&chain, &acctapp_struct::next, [glob](const acctapp_struct *entry) {
            // The entry goes whether or not its last record could be written.
            (void)write_account_record(glob, entry);
            forget_acctapp(glob, entry);
        });
}

}  // namespace ravelo
