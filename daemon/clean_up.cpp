#include "daemon/clean_up.h"

#include "config/rules.h"
#include "daemon/memory.h"
#include "daemon/result.h"
#include "daemon/status_file.h"
#include "enforce/account.h"
#include "enforce/agent_priority.h"
#include "enforce/nice_appl.h"
#include "enforce/nice_lanes.h"
#include "enforce/schedule_groups.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

// Gives the priority of every agent of a list back and releases the list.
template <class Record>
void restore_list(glob_struct *glob, Record **list, Record *Record::*link, location where,
                  int32_t *outcome) {
    for (const Record *entry = *list; entry != nullptr; entry = entry->*link) {
        int32_t given_back = result::ok;
        if (!set_priority(glob, entry->agent_id, normal_priority, where, &given_back) &&
            *outcome == result::ok)
            *outcome = given_back;
    }
    release_list(list, link);
}

}  // namespace

int32_t clean_up(glob_struct *glob, clean_up_mode mode) {
    int32_t outcome = result::ok;
    release_rules(glob);
    release_nice_lanes(glob);
    release_index(glob->nice_index);
    restore_list(glob, &glob->nice_list, &niceapp_struct::next, location::clean_up_nice, &outcome);
    release_index(glob->sched_index);
    for (schedapp_struct *&chain : glob->sched_table)
        restore_list(glob, &chain, &schedapp_struct::hash_next, location::clean_up_schedule,
                     &outcome);
    release_list(&glob->schedgrp_list, &schedgrp_struct::next);
    if (mode == clean_up_mode::at_reread)
        return outcome;
    release_index(glob->acct_index);
    for (acctapp_struct *&chain : glob->acct_table)
        release_list(&chain, &acctapp_struct::next);
    release_memory(glob->snap_req);
    release_memory(glob->snap_buf);
    glob->snap_req = nullptr;
    glob->snap_buf = nullptr;
    if (dbm_detach(&glob->api_sqlca) != 0) {
        report_manager_error(glob, location::clean_up_detach, "DBDETACH");
        outcome = result::manager;
    }
    return outcome;
}

int32_t shut_down(glob_struct *glob, int32_t outcome, bool stop_requested) {
    const int32_t cleaned = clean_up(glob, clean_up_mode::at_end);
    if (outcome == result::ok)
        outcome = cleaned;
    if (close_log(glob) != 0) {
        report_error(glob, location::main_close_log, message::log_not_closed,
                     {decimal(glob->msg_token, outcome)});
        (void)close_log(glob);  // the report has opened it again
        if (outcome == result::ok)
            outcome = result::file;
    }
    if (stop_requested)
        return outcome;
    if (delete_status_file(glob) != 0 && outcome == result::ok)
        outcome = result::manager;
    return outcome;
}

}  // namespace ravelo
