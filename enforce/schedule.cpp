#include "enforce/schedule.h"

#include "daemon/result.h"
#include "enforce/agent_priority.h"
#include "enforce/ranking.h"
#include "enforce/schedule_groups.h"

namespace ravelo {
namespace {

// Lets the members go that no rule placed in this pass, and chains those that are to be ranked, in
// the reverse of the member order. Results: false when a priority could not be given back.
bool gather_class(glob_struct *glob, schedgrp_struct *group, schedapp_struct **chain,
                  int32_t *outcome) {
    schedapp_struct *next = nullptr;
    for (schedapp_struct *member = group->members; member != nullptr; member = next) {
        next = member->next;
        if (member->seen == 0) {
            if (!set_priority(glob, member->agent_id, normal_priority, location::schedule_leave,
                              outcome))
                return false;
            leave_group(member);
        } else if (member->l_count > 0) {
            member->class_next = *chain;
            *chain = member;
        }
    }
    return true;
}

// Sets the priorities that the ranking changed.
bool set_changed(glob_struct *glob, schedgrp_struct *group, int32_t *outcome) {
    for (schedapp_struct *member = group->members; member != nullptr; member = member->next) {
        const bool changed = member->priority != member->old_priority;
        if (changed && !set_priority(glob, member->agent_id, member->priority,
                                     location::schedule_rank, outcome))
            return false;
        member->ref_count = 0;
    }
    return true;
}

}  // namespace

int32_t schedule(glob_struct *glob) {
    int32_t outcome = result::ok;
    for (schedgrp_struct *group = glob->schedgrp_list; group != nullptr; group = group->next) {
        schedapp_struct *chain = nullptr;
        group->nclasses = 1;
        if (!gather_class(glob, group, &chain, &outcome))
            return outcome;
        schedule_class(glob, chain);
        if (!set_changed(glob, group, &outcome))
            return outcome;
        group->count = 0;
    }
    return outcome;
}

}  // namespace ravelo
