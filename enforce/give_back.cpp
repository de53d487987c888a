#include "enforce/give_back.h"

#include "daemon/base/result.h"
#include "enforce/agent_priority.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"
#include "enforce/table_records.h"

namespace ravelo {
namespace {

// Gives the priority of every agent of a list back and releases the list. Results: as give_back.
template <class Record>
int32_t restore_list(glob_struct *glob, Record **list, Record *Record::*link, location where) {
    int32_t outcome = result::ok;
    for (const Record *entry = *list; entry != nullptr; entry = entry->*link) {
        const int32_t restored = set_priority(glob, entry->agent_id, dbm_normal_priority, where);
        if (priority_refused(glob))
            outcome = restored;
    }
    release_list(list, link);
    return outcome;
}

}  // namespace

int32_t give_back(glob_struct *glob) {
    release_index(glob->nice_index);
    glob->nice_place = nullptr;
    int32_t outcome =
        restore_list(glob, &glob->nice_list, &niceapp_struct::next, location::clean_up_nice);
    release_index(glob->sched_index);
    for (schedapp_struct *&chain : glob->sched_table) {
        const int32_t restored =
            restore_list(glob, &chain, &schedapp_struct::hash_next, location::clean_up_schedule);
        if (restored != result::ok)
            outcome = restored;
    }
    release_list(&glob->schedgrp_list, &schedgrp_struct::next);
    return outcome;
}

}  // namespace ravelo
