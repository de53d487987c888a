#include "enforce/schedule_groups.h"

#include "daemon/base/result.h"
#include "enforce/table_records.h"

namespace ravelo {
namespace {

// The link of schedgrp_list behind which a group id stands, or would stand.
schedgrp_struct **place_of(glob_struct *glob, int32_t id) {
    schedgrp_struct **place = &glob->schedgrp_list;
    while (*place != nullptr && (*place)->id > id)
        place = &(*place)->next;
    return place;
}

schedgrp_struct *find_schedgrp(glob_struct *glob, int32_t id) {
    schedgrp_struct *const group = *place_of(glob, id);
    return group != nullptr && group->id == id ? group : nullptr;
}

// Puts a record that is in no group first in a group's member list.
void join_group(schedgrp_struct *group, schedapp_struct *member) {
    member->group = group;
    member->prev = nullptr;
    member->next = group->members;
    if (group->members != nullptr)
        group->members->prev = member;
    group->members = member;
}

// An application without running statements: kept where it is, at the normal priority.
void keep_without_statements(schedapp_struct *member) {
    member->l_count = 0;
    member->seen = 1;
    member->old_priority = member->priority;
    member->priority = 0;
}

// The group's record of the application, made or moved where needed. Null without memory.
schedapp_struct *place_in_group(glob_struct *glob, const action_request &request,
                                schedgrp_struct *group, bool *changed) {
    schedapp_struct *const member = find_schedapp(glob, request.agent_id);
    *changed = member == nullptr || member->group != group;
    if (member == nullptr)
        return create_schedapp(glob, request.agent_id, group->id);
    if (*changed) {
        leave_group(member);
        join_group(group, member);
    }
    return member;
}

}  // namespace

schedapp_struct *find_schedapp(const glob_struct *glob, uint32_t agent_id) {
    return find_in_index(
        glob->sched_index, hash_words({agent_id}),
        [agent_id](const schedapp_struct *entry) { return entry->agent_id == agent_id; });
}

void drop_unseen_schedapps(glob_struct *glob) {
    for (schedapp_struct *&chain : glob->sched_table)
        drop_unseen(&chain, &schedapp_struct::hash_next, [glob](schedapp_struct *member) {
            leave_group(member);
            remove_from_index(glob->sched_index, hash_words({member->agent_id}), member);
        });
}

int32_t schedule_appl(glob_struct *glob, const action_request &request, int32_t kind,
                      const addl_appl_info_struct *info) {
    if (static_cast<int32_t>(info->l_count) < 1) {
        schedapp_struct *const member = find_schedapp(glob, request.agent_id);
        if (member != nullptr)
            keep_without_statements(member);
        return result::ok;
    }
    schedgrp_struct *group = find_schedgrp(glob, request.decided.rule->line);
    if (group == nullptr)
        group = create_schedgrp(glob, request.decided.rule->line, kind);
    if (group == nullptr)
        return result::memory;
    ++group->count;
    bool changed = false;
    schedapp_struct *const member = place_in_group(glob, request, group, &changed);
    if (member == nullptr)
        return result::memory;
    member->l_count = static_cast<int32_t>(info->l_count);
    member->min_weight = info->min_weight;
    member->age = glob->snap_time - info->oldest_start;
    member->seen = 1;
    if (!changed)
        return result::ok;
    char reason[reason_size];
    const std::string_view why = make_reason(glob, request.decided, reason);
    return report_event(glob, record_type::schedgrp, message::scheduled,
                        {request.texts.appl_name, request.texts.auth_id, request.texts.appl_text,
                         decimal(glob->msg_token, request.decided.rule->line), why});
}

schedgrp_struct *create_schedgrp(glob_struct *glob, int32_t id, int32_t kind) {
    if (find_schedgrp(glob, id) != nullptr) {
        report_error(glob, location::schedgrp_exists, message::group_exists);
        return nullptr;
    }
    schedgrp_struct *group = nullptr;
    const int code = allocate_record(&group);
    if (code != 0) {
        report_no_record(glob, location::schedgrp_allocate, code);
        return nullptr;
    }
    group->id = id;
    group->kind = kind;
    schedgrp_struct **const place = place_of(glob, id);
    group->next = *place;
    *place = group;
    return group;
}

schedapp_struct *create_schedapp(glob_struct *glob, uint32_t agent_id, int32_t group_id) {
    schedgrp_struct *const group = find_schedgrp(glob, group_id);
    if (group == nullptr) {
        report_error(glob, location::schedapp_group, message::group_missing);
        return nullptr;
    }
    schedapp_struct *const member =
        create_record(glob, glob->sched_index, location::schedapp_allocate);
    if (member == nullptr)
        return nullptr;
    member->agent_id = agent_id;
    member->priority = no_priority_yet;
    member->old_priority = no_priority_yet;
    join_group(group, member);
    schedapp_struct *&chain = glob->sched_table[hash_bucket(agent_id)];
    member->hash_next = chain;
    chain = member;
    add_to_index(glob->sched_index, hash_words({agent_id}), member);
    return member;
}

void leave_group(schedapp_struct *member) {
    if (member->group == nullptr)
        return;
    if (member->prev != nullptr)
        member->prev->next = member->next;
    else
        member->group->members = member->next;
    if (member->next != nullptr)
        member->next->prev = member->prev;
    member->group = nullptr;
    member->prev = nullptr;
    member->next = nullptr;
}

}  // namespace ravelo
