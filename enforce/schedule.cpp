#include "enforce/schedule.h"

#include "daemon/base/result.h"
#include "enforce/agent_priority.h"
#include "enforce/ranking.h"
#include "enforce/schedule_groups.h"

namespace ravelo {

int32_t schedule(glob_struct *glob) {
    int32_t outcome = result::ok;
    for (schedgrp_struct *group = glob->schedgrp_list; group != nullptr; group = group->next) {
        group->nclasses = 1;
        schedapp_struct *chain = nullptr;  // those to be ranked, in the reverse of the member order
        schedapp_struct *next = nullptr;
        for (schedapp_struct *member = group->members; member != nullptr; member = next) {
            next = member->next;
            if (member->seen == 0) {
                outcome = set_priority(glob, member->agent_id, dbm_normal_priority,
                                       location::schedule_leave);
                if (priority_refused(glob))
                    return outcome;
                leave_group(member);
            } else if (member->l_count > 0) {
                member->class_next = chain;
                chain = member;
            }
        }
        schedule_class(glob, chain);
        for (schedapp_struct *member = group->members; member != nullptr; member = member->next) {
            if (member->priority != member->old_priority) {
                outcome =
                    set_priority(glob, member->agent_id, member->priority, location::schedule_rank);
                if (priority_refused(glob))
                    return outcome;
            }
            member->ref_count = 0;
        }
        group->count = 0;
    }
    return outcome;
}

}  // namespace ravelo
